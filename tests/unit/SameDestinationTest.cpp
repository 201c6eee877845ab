// Replies that repeat a catalog bring the same package twice; the two downloads share one file.
#include "ControllerFixture.h"

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

} // namespace
