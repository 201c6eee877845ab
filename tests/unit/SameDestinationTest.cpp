// Replies that repeat a catalog bring the same package twice; the two downloads share one file.
#include "ControllerFixture.h"
#include "NoMoreFiles.h"

namespace {

class SameDestinationTest : public ControllerFixture {};

TEST_F(SameDestinationTest, TheSecondDownloadWaitsForTheFirst) {
    const Gate gate;
    const Offered offered =
        package("twice.pkg", "1.0.1.0", std::string(100000, 'x'), {answer::hold(50000, gate)});
    offerHotFixes({offered, offered});
    int result = 1;
    background.run([&] { result = controller.productUpdate("1.0.0.0", "105", "CheckForInstall"); });
    // The catalog's own thread is the first of the three.
    ASSERT_TRUE(
        comesTrue([this] { return timesTraced("INFO : DownloadController::downLoadThreadEntry\n") == 3; }));
    gate.open();
    background.join();
    EXPECT_EQ(result, 0);

    Messages steps;
    for (const std::string &message : messages()) {
        if (message.find("twice.pkg") != std::string::npos &&
            (message.find("Start download") != std::string::npos ||
             message.find("Successfully downloaded") != std::string::npos))
            steps.push_back(message);
    }
    const std::string started = "INFO : Start download: <server>/twice.pkg\n";
    const std::string done = "Successfully downloaded: <server>/twice.pkg\n";
    EXPECT_EQ(steps, (Messages{started, done, started, done}));
    const std::string path = "/usr/local/Brovik/TempDownload/Package/1.0.1.0/twice.pkg\n";
    EXPECT_EQ(readText("/tmp/packagelist.txt"), path + path);
}

// The first one's file is gone as soon as the second one opens it, and is there again once that is checked.
TEST_F(SameDestinationTest, APathIsListedOnlyWhileItsFileIsTheCheckedOne) {
    const std::string content(100000, 'x');
    const Gate ends;
    const Offered offered =
        package("twice.pkg", "1.0.1.0", content, {answer::whole(), answer::hold(50000, ends)});
    offerHotFixes({offered});
    ASSERT_EQ(controller.productUpdate("1.0.0.5", "105", "CheckForInstall"), 0);
    const std::string file = "/usr/local/Brovik/TempDownload/Package/1.0.1.0/twice.pkg";
    EXPECT_EQ(controller.copyDownloadedPackages(), std::list<std::string>{file});
    background.run([&] { EXPECT_EQ(controller.downLoadThreadEntry(offered.url.c_str(), file.c_str()), 0); });
    ASSERT_TRUE(comesTrue([this] { return server.ranges("/twice.pkg").size() == 2; }));
    EXPECT_THAT(controller.copyDownloadedPackages(), testing::IsEmpty());
    EXPECT_THAT(controller.getDownloadedPackages(), testing::IsEmpty());
    ends.open();
    background.join();
    EXPECT_EQ(controller.copyDownloadedPackages(), (std::list<std::string>{file, file}));
}

TEST_F(SameDestinationTest, ASecondDownloadThatFailsTakesTheFirstOnesFileAway) {
    const Offered offered =
        package("twice.pkg", "1.0.1.0", std::string(1000, 'x'), {answer::whole(), answer::reset(10)});
    offerHotFixes({offered});
    ASSERT_EQ(controller.productUpdate("1.0.0.5", "105", "CheckForInstall"), 0);
    const std::string file = "/usr/local/Brovik/TempDownload/Package/1.0.1.0/twice.pkg";
    EXPECT_EQ(controller.downLoadThreadEntry(offered.url.c_str(), file.c_str()), 0);
    EXPECT_THAT(controller.copyDownloadedPackages(), testing::IsEmpty());
    // Repaired by the retry of the second.
    controller.retryDownload();
    EXPECT_EQ(controller.copyDownloadedPackages(), (std::list<std::string>{file, file}));
}

TEST_F(SameDestinationTest, ASecondDownloadThatCannotOpenTheFileLeavesItAsItWas) {
    const Offered offered = package("twice.pkg", "1.0.1.0", std::string(1000, 'x'));
    offerHotFixes({offered});
    ASSERT_EQ(controller.productUpdate("1.0.0.5", "105", "CheckForInstall"), 0);
    const std::string file = "/usr/local/Brovik/TempDownload/Package/1.0.1.0/twice.pkg";
    {
        const NoMoreFiles none;
        EXPECT_EQ(controller.downLoadThreadEntry(offered.url.c_str(), file.c_str()), -1);
    }
    EXPECT_EQ(controller.copyDownloadedPackages(), std::list<std::string>{file});
}

} // namespace
