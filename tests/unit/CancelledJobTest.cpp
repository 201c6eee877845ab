// A cancel ends the job that it falls into, whatever that job is doing.
#include <atomic>
#include <functional>

#include <libxml/parser.h>
#include <pthread.h>

#include "ControllerFixture.h"
#include "RefusedLock.h"

namespace {

thread_local bool waitsAreNoted = false;
std::atomic<bool> notedThreadWaits{false};
// Done once by this thread before it reads a document from a file.
thread_local std::function<void()> beforeReading;
// Done once by any thread before a worker opens its file.
std::function<void()> beforeOpening;
std::atomic<int> filesOpened{0};

} // namespace

// The linker leads the engine's calls here.
extern "C" {
int __real_pthread_cond_wait(pthread_cond_t *condition, pthread_mutex_t *mutex);
int __wrap_pthread_cond_wait(pthread_cond_t *condition, pthread_mutex_t *mutex);
int __wrap_pthread_cond_wait(pthread_cond_t *condition, pthread_mutex_t *mutex) {
    if (!waitsAreNoted)
        return __real_pthread_cond_wait(condition, mutex);
    notedThreadWaits = true;
    const int result = __real_pthread_cond_wait(condition, mutex);
    notedThreadWaits = false;
    return result;
}

xmlDocPtr __real_xmlCtxtReadIO(xmlParserCtxtPtr parser, xmlInputReadCallback read, xmlInputCloseCallback end,
                               void *source, const char *url, const char *encoding, int options);
xmlDocPtr __wrap_xmlCtxtReadIO(xmlParserCtxtPtr parser, xmlInputReadCallback read, xmlInputCloseCallback end,
                               void *source, const char *url, const char *encoding, int options);
xmlDocPtr __wrap_xmlCtxtReadIO(xmlParserCtxtPtr parser, xmlInputReadCallback read, xmlInputCloseCallback end,
                               void *source, const char *url, const char *encoding, int options) {
    if (url != nullptr) { // a file
        if (const auto now = std::exchange(beforeReading, nullptr))
            now();
    }
    return __real_xmlCtxtReadIO(parser, read, end, source, url, encoding, options);
}

bool __real__ZN14DownloadHelper4InitEPKcS1_15CURLSetUpConfig(DownloadHelper *worker, const char *url,
                                                             const char *file, CURLSetUpConfig config);
bool __wrap__ZN14DownloadHelper4InitEPKcS1_15CURLSetUpConfig(DownloadHelper *worker, const char *url,
                                                             const char *file, CURLSetUpConfig config);
bool __wrap__ZN14DownloadHelper4InitEPKcS1_15CURLSetUpConfig(DownloadHelper *worker, const char *url,
                                                             const char *file, CURLSetUpConfig config) {
    if (const auto now = std::exchange(beforeOpening, nullptr))
        now();
    const bool result = __real__ZN14DownloadHelper4InitEPKcS1_15CURLSetUpConfig(worker, url, file, config);
    ++filesOpened;
    return result;
}
}

namespace {

using testing::Contains;
using testing::IsEmpty;
using testing::Not;

class CancelledJobTest : public ControllerFixture {
protected:
    bool wasAsked(const std::string &method, const std::string &target) const {
        const std::vector<HttpRequest> requests = server.requests();
        return std::any_of(requests.begin(), requests.end(), [&](const HttpRequest &request) {
            return request.method == method && request.target == target;
        });
    }
    std::size_t timesAsked(const std::string &target) const { return server.ranges(target).size(); }
    void installInBackground() {
        background.run([this] { result = controller.freshInstall(); });
    }
    void expectNothingComplete() {
        EXPECT_FALSE(controller.getDownloadProgressInfo().completed);
        EXPECT_THAT(controller.getDownloadedPackages(), IsEmpty());
        EXPECT_THAT(messages(), Not(Contains(testing::HasSubstr("Updated to plist"))));
    }

    int result = 1;
    std::atomic<bool> installs{false};
};

TEST_F(CancelledJobTest, NoPartnerCatalogIsFetchedAfterACancelDuringTheCoreCatalogs) {
    const Offered offered = package("partner.pkg", "1.0.1.0", "content");
    server.serve("/core.xml", "a catalog that never arrives", {answer::stall(5)});
    server.serve("/partner.xml", productCatalog(offered));
    serviceAnswers(replyNaming(server.url(""), {"core"}, {"partner"}));
    installInBackground();
    ASSERT_TRUE(comesTrue([this] { return wasAsked("GET", "/core.xml"); }));
    controller.cancelDownload();
    background.join();
    EXPECT_EQ(result, -1);
    EXPECT_FALSE(wasAsked("GET", "/partner.xml"));
    expectNothingComplete();
}

TEST_F(CancelledJobTest, NoPackageIsFetchedAfterACancelBeforeTheDownloads) {
    const Offered offered = package("late.pkg", "1.0.1.0", "content");
    const Gate gate;
    server.answerHead("/late.pkg", [gate](const HttpRequest &request, HttpConnection &connection,
                                          const std::string &content) {
        connection.wait(gate);
        answer::whole()(request, connection, content);
    });
    offerProducts({offered});
    installInBackground();
    ASSERT_TRUE(comesTrue([this] { return wasAsked("HEAD", "/late.pkg"); }));
    controller.cancelDownload();
    gate.open();
    background.join();
    EXPECT_EQ(result, 0);
    EXPECT_FALSE(wasAsked("GET", "/late.pkg"));
    expectNothingComplete();
}

TEST_F(CancelledJobTest, AJobThatWaitsForAnotherIsCancelledToo) {
    // The installation waits for a check, which is held by its catalog.
    const Gate gate;
    server.serve("/core.xml", "no catalog", {answer::hold(1, gate)});
    serviceAnswers(replyNaming(server.url(""), {"core"}));
    background.run([this] { static_cast<void>(controller.productUpdate("1", "105", "CheckForInstall")); });
    ASSERT_TRUE(comesTrue([this] { return wasAsked("GET", "/core.xml"); }));
    background.run([this] {
        // Its first lock is the one that it waits for, behind its ticket.
        const LockWatch watch([this] { installs = true; });
        result = controller.freshInstall();
    });
    ASSERT_TRUE(comesTrue([this] { return installs.load(); }));
    controller.cancelDownload();
    offerProducts({package("late.pkg", "1.0.1.0", "content")});
    gate.open();
    background.join();
    EXPECT_FALSE(wasAsked("GET", "/core0.xml"));
    EXPECT_FALSE(wasAsked("GET", "/late.pkg"));
    expectNothingComplete();
}

TEST_F(CancelledJobTest, NoFileIsOpenedOnceACancelHasReturned) {
    server.serve("/1.pkg", "new content");
    std::filesystem::create_directories(folder);
    writeText(folder + "/1.pkg", "old content");
    const Gate opens;
    const Gate goesOn;
    beforeOpening = [&] {
        opens.open();
        goesOn.wait();
    };
    background.run([this] { static_cast<void>(load("/1.pkg")); });
    opens.wait();
    std::atomic<int> openedBefore{-1};
    background.run([&] {
        controller.cancelDownload();
        openedBefore = filesOpened.load();
    });
    EXPECT_TRUE(comesTrue([this] { return timesTraced("Cancel Downloading\n") == 1; }));
    goesOn.open();
    background.join();
    EXPECT_EQ(openedBefore, filesOpened);
    EXPECT_FALSE(wasAsked("GET", "/1.pkg"));
}

TEST_F(CancelledJobTest, ADownloadThatTheJobWaitsForIsEnded) {
    // A retry resumes a download just before the job forgets all of them.
    server.serve("/held.pkg", "never whole", {answer::reset(1), answer::hold(1, Gate())});
    EXPECT_EQ(load("/held.pkg"), 0);
    offerProducts({package("late.pkg", "1.0.1.0", "content")});
    const Gate reads;
    const Gate goesOn;
    background.run([&] {
        beforeReading = [&] {
            reads.open();
            goesOn.wait();
            waitsAreNoted = true;
        };
        result = controller.freshInstall();
    });
    reads.wait();
    background.run([this] { controller.retryDownload(); });
    EXPECT_TRUE(comesTrue([this] { return timesAsked("/held.pkg") == 2; }));
    goesOn.open();
    ASSERT_TRUE(comesTrue([] { return notedThreadWaits.load(); }));
    controller.cancelDownload();
    EXPECT_EQ(timesTraced("Download Error: CURLE_ABORTED_BY_CALLBACK URL: <server>/held.pkg\n"), 1);
    background.join();
    expectNothingComplete();
}

TEST_F(CancelledJobTest, ADownloadThatWaitedForItsFileLeavesTheFile) {
    const Gate gate;
    server.serve("/first.pkg", "the first content", {answer::hold(5, gate)});
    server.serve("/second.pkg", "the second content");
    const std::string file = folder + "/one.pkg";
    const auto loadTo = [&](const std::string &path) {
        return [this, path, file] {
            waitsAreNoted = true;
            static_cast<void>(controller.downLoadThreadEntry(server.url(path).c_str(), file.c_str()));
        };
    };
    background.run(loadTo("/first.pkg"));
    ASSERT_TRUE(comesTrue([this] { return controller.getDownloadProgressInfo().downloadedSize > 0; }));
    background.run(loadTo("/second.pkg"));
    ASSERT_TRUE(comesTrue([] { return notedThreadWaits.load(); }));
    controller.cancelDownload();
    background.join();
    EXPECT_FALSE(wasAsked("GET", "/second.pkg"));
    EXPECT_EQ(readText(file), "the f");
}

TEST_F(CancelledJobTest, ARetryThatWaitedForItsFileLeavesTheFile) {
    server.serve("/first.pkg", "the first content", {answer::nothing(), answer::hold(5, Gate())});
    server.serve("/second.pkg", "the second content", {answer::reset(4)});
    const std::string file = folder + "/one.pkg";
    for (const char *path : {"/first.pkg", "/second.pkg"})
        EXPECT_EQ(controller.downLoadThreadEntry(server.url(path).c_str(), file.c_str()), 0);
    background.run([this] { controller.retryDownload(); });
    // The second, with four bytes at the most, waits or had its turn before.
    constexpr double fourBytesAndAHalf = 4.5 / 1024;
    ASSERT_TRUE(comesTrue([&] {
        return timesAsked("/first.pkg") == 2 &&
               controller.getDownloadProgressInfo().downloadedSize > fourBytesAndAHalf;
    }));
    controller.cancelDownload();
    background.join();
    EXPECT_EQ(readText(file), "the f");
}

TEST_F(CancelledJobTest, TheNextJobDownloads) {
    const Offered offered = package("late.pkg", "1.0.1.0", "content");
    offerProducts({offered});
    controller.cancelDownload();
    EXPECT_EQ(controller.freshInstall(), 0);
    EXPECT_TRUE(controller.getDownloadProgressInfo().completed);
}

} // namespace
