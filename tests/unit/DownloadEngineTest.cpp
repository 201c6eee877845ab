#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <new>

#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ControllerFixture.h"
#include "DownloadThreads.h"
#include "FailingAllocation.h"
#include "NoMoreFiles.h"
#include "RefusedLock.h"
#include "RefusedThreads.h"
#include "TextList.h"

namespace {

// Called by any thread before a worker opens its file.
std::function<void(const std::string &url)> beforeOpening;

} // namespace

// The linker leads the engine's calls here.
extern "C" {
bool __real__ZN14DownloadHelper4InitEPKcS1_15CURLSetUpConfig(DownloadHelper *worker, const char *url,
                                                             const char *file, CURLSetUpConfig config);
bool __wrap__ZN14DownloadHelper4InitEPKcS1_15CURLSetUpConfig(DownloadHelper *worker, const char *url,
                                                             const char *file, CURLSetUpConfig config);
bool __wrap__ZN14DownloadHelper4InitEPKcS1_15CURLSetUpConfig(DownloadHelper *worker, const char *url,
                                                             const char *file, CURLSetUpConfig config) {
    if (beforeOpening)
        beforeOpening(url);
    return __real__ZN14DownloadHelper4InitEPKcS1_15CURLSetUpConfig(worker, url, file, config);
}

// One of the catalogs' files is refused when so many others were opened.
static int catalogsToOpen = -1;

std::FILE *__real_fopen(const char *path, const char *mode);
std::FILE *__wrap_fopen(const char *path, const char *mode);
std::FILE *__wrap_fopen(const char *path, const char *mode) {
    if (std::strstr(path, "/Catalog/") == nullptr || catalogsToOpen-- != 0)
        return __real_fopen(path, mode);
    errno = EMFILE;
    return nullptr;
}
}

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

const std::string startLine = "INFO: Download Start\n";
const std::string threadsLine = "INFO: Creating Download thread\n";
const std::string entryLine = "INFO : DownloadController::downLoadThreadEntry\n";
const std::string retryLine = "INFO: DownloadController - Retrying Download\n";
const std::string cancelLine = "Cancel Downloading\n";
const std::string freshInstallLine = "INFO: Enter FreshInstall\n";
const std::string recordedLine = "INFO: Version and Build no Updated to plist successfully\n";
const std::string packages = "/usr/local/Brovik/TempDownload/Package";

double kilobytes(std::size_t bytes) {
    return static_cast<double>(bytes) / 1024;
}

// The five figures and the flags that are set.
std::string shown(const DownloadProgressInfo &info) {
    std::ostringstream text;
    text << info.progressPercent << "% " << info.downloadSpeed << " KB/s " << info.remainingTime << " s "
         << info.downloadedSize << " of " << info.totalSize << " KB" << (info.failed ? " failed" : "")
         << (info.completed ? " completed" : "") << (info.resumable ? " resumable" : "");
    return text.str();
}

class DownloadEngineTest : public ControllerFixture {
protected:
    DownloadProgressInfo progress() { return controller.getDownloadProgressInfo(); }
    std::string shownProgress() { return shown(progress()); }
    // The exported text.
    static std::string downloadedPackages() {
        const std::unique_ptr<char[]> text(GetDownloadedPackages());
        return text.get();
    }
    void downLoad(const std::vector<std::string> &urls, const std::string &destination) {
        std::list<const char *> texts;
        for (const std::string &url : urls)
            texts.push_back(url.c_str());
        controller.downLoad(texts, destination);
    }
    // So that a later cancel counts: the first one does until the next product update.
    void rearmCancel() { EXPECT_EQ(controller.productUpdate("", "", ""), 0); }
};

// --- destinations ----------------------------------------------------------------------------------------

struct Destination {
    const char *name;
    const char *path; // of the URL
    std::string subFolder;
};

const std::string content = fileContent(5000);

class FreshInstallDestination : public DownloadEngineTest, public testing::WithParamInterface<Destination> {};

TEST_P(FreshInstallDestination, IsNamedAfterTheProductsVersion) {
    offerProducts({{"Suite", refusedUrl("/dir/Suite.pkg"), "11AA", "2.0.1.4"}});
    EXPECT_EQ(controller.freshInstall(), -1) << "only its records are wanted";
    server.serve(GetParam().path, content);
    downLoad({server.url(GetParam().path)}, folder);
    const std::string name = std::filesystem::path(GetParam().path).filename();
    EXPECT_EQ(readText(folder + "/" + GetParam().subFolder + "/" + name), content);
}

INSTANTIATE_TEST_SUITE_P(DownloadEngine, FreshInstallDestination,
                         testing::Values(Destination{"SameFileName", "/elsewhere/Suite.pkg", "2.0.1.4"},
                                         Destination{"PartOfTheUrl", "/ite.pkg", "2.0.1.4"},
                                         Destination{"OtherName", "/Other.pkg", ""},
                                         Destination{"OtherCase", "/suite.pkg", ""}),
                         [](const auto &caseInfo) { return caseInfo.param.name; });

class UpdateDestination : public DownloadEngineTest, public testing::WithParamInterface<Destination> {};

TEST_P(UpdateDestination, IsNamedAfterTheVersionThatTheHotFixBrings) {
    const std::string maxVer = "0.0.0.1"; // not chosen, only its records are wanted
    offerHotFixes({{"One", server.url("/One.pkg"), "11AA", "1.0.1.0", "1", "", maxVer},
                   {"Post", server.url("/Post.pkg"), "11AA", "1.0.2.0", "1", "YES", maxVer},
                   {"Lower", server.url("/Lower.pkg"), "11AA", "1.0.3.0", "1", "yes", maxVer},
                   {"Again", server.url("/One.pkg"), "11AA", "9.9.9.9", "1", "YES", maxVer}});
    EXPECT_EQ(controller.productUpdate("1.0.0.5", "105", "CheckForInstall"), 0);
    server.serve(GetParam().path, content);
    downLoad({server.url(GetParam().path)}, folder);
    const std::string name = std::filesystem::path(GetParam().path).filename();
    EXPECT_EQ(readText(folder + "/" + GetParam().subFolder + "/" + name), content);
}

INSTANTIATE_TEST_SUITE_P(DownloadEngine, UpdateDestination,
                         testing::Values(Destination{"TheFirstOfItsUrl", "/One.pkg", "1.0.1.0"},
                                         Destination{"Repost", "/Post.pkg", "repost/1.0.2.0"},
                                         Destination{"RepostInLowerCaseIsNone", "/Lower.pkg", "1.0.3.0"},
                                         Destination{"OtherUrlOfTheName", "/elsewhere/One.pkg", ""},
                                         Destination{"PartOfTheUrl", "/ne.pkg", ""}),
                         [](const auto &caseInfo) { return caseInfo.param.name; });

TEST_F(DownloadEngineTest, AFileWithoutARecordGetsADoubledSlash) {
    // Where nothing can be created, the message shows the path.
    downLoad({refusedUrl("/a/file.xml")}, "/dev/null/destination");
    EXPECT_THAT(messages(),
                ElementsAre(startLine, threadsLine, entryLine,
                            "Error occurred in creating output file : /dev/null/destination//file.xml \n",
                            "ERROR: Not able to initialize download helper\n"));
}

TEST_F(DownloadEngineTest, AUrlWithoutASlashIsItsOwnFileName) {
    downLoad({"file.xml"}, "/dev/null/destination");
    EXPECT_THAT(messages(), testing::Contains("Error occurred in creating output file : "
                                              "/dev/null/destination//file.xml \n"));
}

// Stands before the real sudo and notes its calls.
void noteSudo(const std::string &closing) {
    writeText("/usr/local/bin/sudo", "#!/bin/sh\necho \"$*\" >>/tmp/sudo.log\n" + closing + "\n");
    std::filesystem::permissions("/usr/local/bin/sudo", std::filesystem::perms::owner_all);
}

TEST_F(DownloadEngineTest, TheFolderOfEachUrlIsMade) {
    noteSudo("exec \"$@\"");
    server.serve("/1.xml", content);
    server.serve("/2.xml", content);
    downLoad({server.url("/1.xml"), server.url("/2.xml")}, folder + "/new/er");
    EXPECT_EQ(readText("/tmp/sudo.log"),
              "mkdir -p " + folder + "/new/er/\n" + "mkdir -p " + folder + "/new/er/\n");
    EXPECT_EQ(readText(folder + "/new/er/1.xml"), content);
    EXPECT_EQ(readText(folder + "/new/er/2.xml"), content);
}

TEST_F(DownloadEngineTest, AFailingMkdirDoesNotStopTheRun) {
    noteSudo("exit 1");
    server.serve("/1.xml", content);
    downLoad({server.url("/1.xml")}, folder);
    EXPECT_EQ(readText(folder + "/1.xml"), content);
    EXPECT_NE(readText("/tmp/sudo.log"), "");
}

TEST_F(DownloadEngineTest, AShellThatCannotBeStartedEndsTheRun) {
    const std::string url = server.url("/1.xml");
    const std::string destination = folder;
    // Looked up before: the sanitizer opens a pipe when it looks at the test itself, or at records for the
    // first time.
    DownloadController &engine = controller;
    static_cast<void>(engine.getHashValueFromPackagePath(""));
    rlimit files{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &files), 0);
    // The lowest free descriptor is the first that the limit refuses.
    const int lowest = dup(STDOUT_FILENO);
    ASSERT_GE(lowest, 0);
    close(lowest);
    rlimit none = files;
    none.rlim_cur = static_cast<rlim_t>(lowest);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    engine.downLoad({url.c_str(), url.c_str()}, destination);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &files), 0);
    EXPECT_THAT(messages(), ElementsAre(startLine, "Error: Failed to create <folder>\n"));
    EXPECT_THAT(server.requests(), IsEmpty());
    EXPECT_TRUE(progress().failed) << "a host retries what has failed";
}

TEST_F(DownloadEngineTest, ACatalogWhoseFolderHasNoShellFailsTheJob) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer opens a pipe to look at an object";
#endif
    const std::string reply =
        "<productresponse><pkglist><package><products><product appid='quaformac'><catlist>"
        "<catalog><caturlroot>" +
        server.url("") +
        "</caturlroot><name>c</name><version>1</version></catalog></catlist></product>"
        "</products></package></pkglist></productresponse>";
    DownloadController &engine = controller;
    {
        const NoMoreFiles none;
        EXPECT_EQ(engine.getCatalogs(reply), -1);
    }
    EXPECT_THAT(server.requests(), IsEmpty());
}

TEST_F(DownloadEngineTest, WhatThereIsNoMemoryToPrepareHasFailed) {
    const std::string url = server.url("/1.pkg");
    const RefusedThreads refused(0); // what a thread allocates is another matter
    bool happened = true;
    for (std::size_t allocation = 0; happened; ++allocation) {
        DownloadController::releaseInstance();
        DownloadController &fresh = *DownloadController::getInstance();
        bool hasBegun = true;
        {
            const FailingAllocation failing(allocation);
            try {
                fresh.downLoad({url.c_str()}, folder);
            } catch (const std::bad_alloc &) { // before it began, or in the end
                hasBegun = false;
            }
            happened = failing.happened();
        }
        EXPECT_TRUE(fresh.getDownloadProgressInfo().failed || !hasBegun) << allocation;
    }
}

TEST_F(DownloadEngineTest, ACatalogThatCannotBeOpenedForAMomentFailsTheInstallation) {
    offerProducts({package("1.pkg", "1.0.0.1", content), package("2.pkg", "1.0.0.1", content)});
    // Every catalog is opened twice.
    catalogsToOpen = 3;
    EXPECT_EQ(controller.freshInstall(), -1);
    EXPECT_EQ(messages().back(), "ERROR: No products found For Fresh Install\n");
    // Repeats the whole installation.
    controller.retryDownload();
    EXPECT_TRUE(progress().completed);
    EXPECT_EQ(controller.getDownloadedPackages().size(), 2U);
}

TEST_F(DownloadEngineTest, AnExceptionBeforeTheDownloadsEndsTheRun) {
    controller.downLoad({nullptr}, folder);
    EXPECT_THAT(messages(), ElementsAre(startLine, "ERROR: Destination Creation Failed\n"));
}

// --- threads ---------------------------------------------------------------------------------------------

TEST_F(DownloadEngineTest, ADownloadTellsItsSteps) {
    server.serve("/1.xml", content);
    downLoad({server.url("/1.xml")}, folder);
    EXPECT_THAT(messages(),
                ElementsAre(startLine, threadsLine, entryLine, "INFO : Start download: <server>/1.xml\n",
                            "Successfully downloaded: <server>/1.xml\n"));
}

TEST_F(DownloadEngineTest, NoUrlsNeedNoThreads) {
    downLoad({}, folder);
    EXPECT_THAT(messages(), ElementsAre(startLine, threadsLine));
}

TEST_F(DownloadEngineTest, EveryUrlHasAThreadOfItsOwn) {
    // No request is answered before all have come.
    constexpr unsigned count = 45;
    const auto rendezvous = std::make_shared<Rendezvous>(count);
    std::vector<std::string> urls;
    for (unsigned i = 0; i < count; ++i) {
        const std::string path = "/" + std::to_string(i) + ".xml";
        server.serve(path, content, {answer::together(rendezvous, answer::whole())});
        urls.push_back(server.url(path));
    }
    downLoad(urls, folder);
    for (unsigned i = 0; i < count; ++i)
        EXPECT_EQ(readText(folder + "/" + std::to_string(i) + ".xml"), content);
    EXPECT_EQ(timesTraced(entryLine), count);
}

TEST_F(DownloadEngineTest, TheCallReturnsWhenAllDownloadsHaveEnded) {
    const Gate gate;
    server.serve("/1.xml", content, {answer::hold(10, gate)});
    server.serve("/2.xml", content);
    std::atomic<bool> returned{false};
    background.run([this, &returned] {
        downLoad({server.url("/1.xml"), server.url("/2.xml")}, folder);
        returned = true;
    });
    EXPECT_TRUE(comesTrue([this] { return timesTraced("Successfully downloaded: <server>/2.xml\n") == 1; }));
    EXPECT_FALSE(returned);
    gate.open();
    background.join();
    EXPECT_EQ(readText(folder + "/1.xml"), content);
}

TEST_F(DownloadEngineTest, AThreadThatCannotBeStartedIsReported) {
    pthread_attr_t usual{};
    ASSERT_EQ(pthread_getattr_default_np(&usual), 0);
    // More stack than there are addresses.
    pthread_attr_t huge{};
    ASSERT_EQ(pthread_attr_init(&huge), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&huge, std::size_t{1} << 47), 0);
    ASSERT_EQ(pthread_setattr_default_np(&huge), 0);
    downLoad({server.url("/1.xml")}, folder);
    ASSERT_EQ(pthread_setattr_default_np(&usual), 0);
    EXPECT_THAT(messages(), ElementsAre(startLine, threadsLine, "ERROR: Download Thread Creation Failed\n"));

    // Nothing is left counted as running.
    server.serve("/1.xml", content);
    downLoad({server.url("/1.xml")}, folder);
    EXPECT_EQ(readText(folder + "/1.xml"), content);
}

TEST_F(DownloadEngineTest, ThreadsThatWereStartedAreWaitedForWhenAnotherOneIsRefused) {
    const Gate gate;
    server.serve("/1.pkg", content, {answer::hold(10, gate)});
    std::atomic<bool> returned{false};
    background.run([&] {
        const RefusedThreads refused(1);
        downLoad({server.url("/1.pkg"), server.url("/2.pkg"), server.url("/3.pkg")}, folder);
        returned = true;
    });
    ASSERT_TRUE(comesTrue([this] { return server.requestCount() == 1; }));
    ASSERT_TRUE(comesTrue([this] { return timesTraced("ERROR: Download Thread Creation Failed\n") == 1; }));
    EXPECT_FALSE(returned);
    gate.open();
    background.join();
    EXPECT_EQ(readText(folder + "//1.pkg"), content);
    EXPECT_EQ(server.requestCount(), 1U);
}

TEST_F(DownloadEngineTest, WhatNeverHadAThreadIsNeverCompleteAndARetryFetchesIt) {
    std::vector<Offered> offered;
    for (const char *name : {"1.pkg", "2.pkg", "3.pkg"})
        offered.push_back(package(name, "1.0.0.1", content));
    offerProducts(offered);
    {
        const RefusedThreads refused(4); // three catalogs and a package
        EXPECT_EQ(controller.freshInstall(), 0);
    }
    EXPECT_FALSE(progress().completed);
    EXPECT_TRUE(progress().failed) << "a host retries what has failed";
    EXPECT_EQ(controller.getDownloadedPackages().size(), 1U);
    {
        const RefusedThreads refused(1);
        controller.retryDownload();
    }
    EXPECT_FALSE(progress().completed);
    EXPECT_EQ(controller.getDownloadedPackages().size(), 2U);
    controller.retryDownload();
    EXPECT_TRUE(progress().completed);
    EXPECT_FALSE(progress().failed);
    EXPECT_EQ(controller.getDownloadedPackages().size(), 3U);
}

// Asks without a pause, while every lock of a retry on this thread takes its time.
class DownloadEngineInSlowMotion : public DownloadEngineTest {
protected:
    void expectNeverCompleteWhile(const std::function<void()> &work, const std::function<bool()> &mayBe) {
        std::atomic<bool> stop{false};
        std::atomic<int> wrong{0};
        background.run([&] {
            while (!stop)
                wrong += progress().completed && !mayBe() ? 1 : 0;
        });
        {
            const LockWatch watch([] { std::this_thread::sleep_for(std::chrono::milliseconds(10)); });
            work();
        }
        stop = true;
        background.join();
        EXPECT_EQ(wrong, 0);
    }
};

TEST_F(DownloadEngineInSlowMotion, ARetryOfWhatNeverHadAThreadIsNotCompleteBeforeItIsThere) {
    offerProducts({package("1.pkg", "1.0.0.1", content), package("2.pkg", "1.0.0.1", content)});
    {
        const RefusedThreads refused(3); // two catalogs and a package
        EXPECT_EQ(controller.freshInstall(), 0);
    }
    const auto bothAreThere = [this] {
        return !server.ranges("/1.pkg").empty() && !server.ranges("/2.pkg").empty();
    };
    {
        const RefusedThreads refused(0);
        expectNeverCompleteWhile([this] { controller.retryDownload(); }, bothAreThere);
    }
    expectNeverCompleteWhile([this] { controller.retryDownload(); }, bothAreThere);
    EXPECT_TRUE(progress().completed);
}

// Whatever a query sees first: a job that ends meanwhile, and badly, is not complete.
TEST_F(DownloadEngineTest, AQueryBesideTheEndOfAJobDoesNotCallItComplete) {
    // Before these locks of the query the second package comes and fails; in between it holds the workers'
    // own.
    for (const int moment : {1, 2, 4}) {
        DownloadController::releaseInstance();
        DownloadController &fresh = *DownloadController::getInstance();
        const Gate second;
        beforeOpening = [second](const std::string &url) {
            if (url.find("/2.pkg") != std::string::npos)
                second.wait();
        };
        offerProducts({package("1.pkg", "1.0.0.1", content),
                       package("2.pkg", "1.0.0.1", content, {answer::reset(10)})});
        forget();
        background.run([&fresh] { static_cast<void>(fresh.freshInstall()); });
        ASSERT_TRUE(
            comesTrue([this] { return timesTraced("Successfully downloaded: <server>/1.pkg\n") == 1; }));
        int locks = 0;
        {
            const LockWatch watch([&] {
                if (locks++ != moment)
                    return;
                second.open();
                background.join();
            });
            EXPECT_FALSE(fresh.getDownloadProgressInfo().completed) << moment;
        }
        EXPECT_GT(locks, moment);
        EXPECT_EQ(timesTraced(recordedLine), 0) << moment;
        beforeOpening = nullptr;
    }
}

TEST_F(DownloadEngineTest, MemoryThatRunsOutInARetryLosesNoDownload) {
    offerProducts({package("1.pkg", "1.0.0.1", content), package("2.pkg", "1.0.0.1", content)});
    bool happened = true;
    for (std::size_t allocation = 0; happened; ++allocation) {
        ASSERT_LT(allocation, 60U);
        DownloadController::releaseInstance();
        DownloadController &fresh = *DownloadController::getInstance();
        {
            const RefusedThreads refused(3); // two catalogs and a package
            EXPECT_EQ(fresh.freshInstall(), 0);
        }
        {
            const RefusedThreads refused(0); // what a thread allocates is another matter
            const FailingAllocation failing(allocation);
            try {
                fresh.retryDownload();
            } catch (const std::exception &) { // the next one tries again
            }
            happened = failing.happened();
        }
        EXPECT_FALSE(fresh.getDownloadProgressInfo().completed) << allocation;
        fresh.retryDownload();
        EXPECT_EQ(fresh.getDownloadedPackages().size(), 2U) << allocation;
        EXPECT_TRUE(fresh.getDownloadProgressInfo().completed) << allocation;
    }
}

TEST_F(DownloadEngineTest, MemoryThatRunsOutBeforeTheThreadsLeavesTheJobFailed) {
    server.serve("/1.pkg", content);
    EXPECT_EQ(load("/1.pkg"), 0);
    const std::string url = server.url("/1.pkg");
    const std::string file = folder + "/1.pkg";
    std::list<const char *> urls{url.c_str()};
    std::list<const char *> files{file.c_str()};
    {
        const FailingAllocation failing(0);
        controller.createDownloadThreads(urls, files);
        EXPECT_TRUE(failing.happened());
    }
    EXPECT_TRUE(progress().failed);
    EXPECT_FALSE(progress().completed);
}

TEST_F(DownloadEngineTest, AnUpdateWhosePackageNeverHadAThreadHasFailed) {
    offerHotFixes({package("1.pkg", "1.0.1.0", content), package("2.pkg", "1.0.1.0", content)});
    const RefusedThreads refused(2); // the catalog and a package
    EXPECT_EQ(controller.productUpdate("1.0.0.5", "105", "CheckForInstall"), -1);
    EXPECT_EQ(messages().back(), "ERROR: Download Failed\n");
    EXPECT_FALSE(std::filesystem::exists("/tmp/packagelist.txt"));
}

TEST_F(DownloadEngineTest, ACatalogThatNeverHadAThreadFailsTheJob) {
    offerProducts({package("1.pkg", "1.0.0.1", content), package("2.pkg", "1.0.0.1", content)});
    {
        const RefusedThreads refused(1);
        EXPECT_EQ(controller.freshInstall(), -1);
    }
    EXPECT_EQ(messages().back(), "ERROR: No Cata log Found\n");
    EXPECT_FALSE(progress().completed);
    // Repeats the whole installation.
    controller.retryDownload();
    EXPECT_TRUE(progress().completed);
    EXPECT_EQ(readText(packages + "/1.0.0.1/2.pkg"), content);
}

TEST_F(DownloadEngineTest, ARetryWhoseThreadIsRefusedCanBeRepeated) {
    server.serve("/1.pkg", content, {answer::reset(10)});
    EXPECT_EQ(load("/1.pkg"), 0);
    {
        const RefusedThreads refused(0);
        controller.retryDownload();
    }
    EXPECT_TRUE(progress().failed);
    EXPECT_EQ(server.requestCount(), 1U);
    controller.retryDownload();
    EXPECT_FALSE(progress().failed);
    EXPECT_EQ(readText(folder + "/1.pkg"), content);
}

TEST_F(DownloadEngineTest, TheShorterOfTwoListsDecides) {
    server.serve("/1.xml", content);
    const std::string first = server.url("/1.xml");
    const std::string second = server.url("/2.xml");
    const std::string file = folder + "/1.xml";
    std::list<const char *> urls{first.c_str(), second.c_str()};
    std::list<const char *> files{file.c_str()};
    controller.createDownloadThreads(urls, files);
    EXPECT_EQ(readText(file), content);
    EXPECT_EQ(server.requestCount(), 1U);
    urls.pop_back();
    files.push_back("/tmp/downloads/2.xml");
    controller.createDownloadThreads(urls, files);
    EXPECT_EQ(server.requestCount(), 2U);
    EXPECT_FALSE(std::filesystem::exists("/tmp/downloads/2.xml"));
}

// --- destinations that are refused -----------------------------------------------------------------------

TEST_F(DownloadEngineTest, AVersionThatAShellActsOnIsRefusedBeforeAnyCommand) {
    Offered evil = package("A.pkg", "1.0;touch${IFS}/tmp/owned", content);
    offerHotFixes({package("B.pkg", "1.0.1.0", content), evil});
    EXPECT_EQ(controller.productUpdate("1.0.0.5", "105", "CheckForInstall"), -1);
    const Messages found = messages();
    EXPECT_EQ(Messages(found.end() - 3, found.end()),
              (Messages{startLine, "ERROR: Destination Creation Failed\n", "ERROR: Download Failed\n"}));
    EXPECT_FALSE(std::filesystem::exists("/tmp/owned"));
    EXPECT_FALSE(std::filesystem::exists(packages)) << "not even the folder of the other one is made";
    EXPECT_EQ(server.ranges("/A.pkg").size() + server.ranges("/B.pkg").size(), 0U);
}

TEST_F(DownloadEngineTest, AVersionThatLeadsOutOfTheFolderIsRefused) {
    writeText("/usr/local/Brovik/ProductConfig.xml", "the installed one");
    offerHotFixes({package("ProductConfig.xml", "../..", content)});
    EXPECT_EQ(controller.productUpdate("1.0.0.5", "105", "CheckForInstall"), -1);
    EXPECT_EQ(readText("/usr/local/Brovik/ProductConfig.xml"), "the installed one");
    EXPECT_EQ(server.ranges("/ProductConfig.xml").size(), 0U);
}

TEST_F(DownloadEngineTest, AFreshInstallWithARefusedDestinationIsNotComplete) {
    offerProducts({package("A$HOME.pkg", "1.0.0.1", content)});
    EXPECT_EQ(controller.freshInstall(), 0);
    EXPECT_EQ(messages().back(), "ERROR: Destination Creation Failed\n");
    EXPECT_FALSE(progress().completed);
}

TEST_F(DownloadEngineTest, AnEntryGivesZeroHoweverTheTransferEnds) {
    server.serve("/1.xml", content);
    EXPECT_EQ(load("/1.xml"), 0);
    EXPECT_EQ(load("/missing.xml"), 0);
    EXPECT_EQ(controller.downLoadThreadEntry(server.url("/1.xml").c_str(), "/dev/null/1.xml"), -1);
}

TEST_F(DownloadEngineTest, AStalledDownloadIsGivenUpAfterHalfAMinute) {
    server.serve("/1.xml", content, {answer::stall(10)});
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(load("/1.xml"), 0);
    const auto lasted = std::chrono::steady_clock::now() - start;
    EXPECT_GT(lasted, std::chrono::seconds(28));
    EXPECT_LT(lasted, std::chrono::seconds(60));
    EXPECT_EQ(timesTraced("Download Error: CURLE_OPERATION_TIMEDOUT URL: <server>/1.xml\n"), 1);
}

// --- averages --------------------------------------------------------------------------------------------

const std::string noProgress = "0% 0 KB/s 0 s 0 of 0 KB resumable";

TEST_F(DownloadEngineTest, WithoutAPackageThereAreNoFigures) {
    server.serve("/1.xml", content);
    EXPECT_EQ(load("/1.xml"), 0);
    EXPECT_EQ(load("/missing.xml"), 0);
    EXPECT_EQ(shownProgress(), noProgress);
    EXPECT_EQ(timesTraced(recordedLine), 0);
}

TEST_F(DownloadEngineTest, APackageAnywhereInThePathTurnsTheFiguresOn) {
    server.serve("/1.xml", content);
    std::filesystem::create_directories(folder + "/a.pkg");
    EXPECT_EQ(controller.downLoadThreadEntry(server.url("/1.xml").c_str(), (folder + "/a.pkg/1.xml").c_str()),
              0);
    EXPECT_EQ(progress().progressPercent, 100);
}

TEST_F(DownloadEngineTest, PercentIsAveragedAndSizesAreSummed) {
    server.serve("/1.pkg", fileContent(10240));
    server.serve("/2.xml", fileContent(30720));
    EXPECT_EQ(load("/1.pkg"), 0);
    EXPECT_EQ(load("/2.xml"), 0);
    DownloadProgressInfo info = progress();
    EXPECT_EQ(info.progressPercent, 100);
    EXPECT_EQ(info.downloadedSize, 40);
    EXPECT_EQ(info.totalSize, 40);
    EXPECT_FALSE(info.failed);

    server.serve("/3.xml", fileContent(20480), {answer::reset(10240), answer::reset(10240)});
    EXPECT_EQ(controller.downLoadThreadEntry(refusedUrl("/4.xml").c_str(), (folder + "/4.xml").c_str()), 0);
    info = progress();
    EXPECT_DOUBLE_EQ(info.progressPercent, 200.0 / 3);
    EXPECT_EQ(info.downloadedSize, 40);
    EXPECT_EQ(info.totalSize, 40);
    EXPECT_TRUE(info.failed);
    EXPECT_FALSE(info.completed);
}

TEST_F(DownloadEngineTest, SpeedAndRemainingTimeAreAveraged) {
    // Of a terabyte some bytes come; the figures then stay as they are.
    server.serve("/1.pkg", "", {[](const HttpRequest &, HttpConnection &connection, const std::string &) {
                     connection.send("HTTP/1.1 200 OK\r\nContent-Length: 1000000000000\r\n\r\n" + content);
                     connection.reset();
                 }});
    EXPECT_EQ(load("/1.pkg"), 0);
    const DownloadProgressInfo one = progress();
    ASSERT_GT(one.downloadSpeed, 0);
    ASSERT_GT(one.remainingTime, 0);
    for (const double workers : {2, 3}) {
        EXPECT_EQ(controller.downLoadThreadEntry(refusedUrl("/2.xml").c_str(), (folder + "/2.xml").c_str()),
                  0);
        const DownloadProgressInfo more = progress();
        EXPECT_DOUBLE_EQ(more.downloadSpeed, one.downloadSpeed / workers);
        EXPECT_DOUBLE_EQ(more.remainingTime, one.remainingTime / workers);
        EXPECT_EQ(more.totalSize, one.totalSize);
    }
}

TEST_F(DownloadEngineTest, OverNoWorkerTheFiguresStay) {
    server.serve("/1.pkg", content);
    EXPECT_EQ(load("/1.pkg"), 0);
    const std::string before = shownProgress();
    EXPECT_NE(before, noProgress);
    controller.cancelDownload();
    EXPECT_EQ(shownProgress(), before);
}

TEST_F(DownloadEngineTest, AfterAnExceptionTheFiguresStay) {
    server.serve("/1.pkg", content);
    EXPECT_EQ(load("/1.pkg"), 0);
    const std::string before = shownProgress();
    server.serve("/2.pkg", content);
    EXPECT_EQ(load("/2.pkg"), 0);
    forget();
    {
        const RefusedLock refused(0);
        controller.calculateAverageDownloadingInfo();
        EXPECT_TRUE(refused.happened());
    }
    EXPECT_THAT(messages(), ElementsAre("ERROR: Average Downloading Info Calculation Failed\n"));
    std::string after;
    {
        const RefusedLock refused(0);
        after = shownProgress();
        EXPECT_TRUE(refused.happened());
    }
    EXPECT_EQ(after, before);
    EXPECT_NE(shownProgress(), before);
}

TEST_F(DownloadEngineTest, AWorkerThatCannotOpenItsFileIsNotCounted) {
    offerProducts({package("1.pkg", "1.0.0.0", content)});
    EXPECT_EQ(controller.freshInstall(), 0);
    EXPECT_EQ(controller.downLoadThreadEntry(server.url("/1.pkg").c_str(), "/dev/null/1.pkg"), -1);
    EXPECT_TRUE(progress().completed) << "kept: the download that never began does not count";
    EXPECT_FALSE(progress().failed);
    EXPECT_EQ(progress().progressPercent, 100);
}

TEST_F(DownloadEngineTest, APackageGivenUpFreezesTheFigures) {
    Offered bad = package("2.pkg", "1.0.0.0", content);
    bad.hash = "never";
    const Gate gate;
    server.serve("/2.pkg", content, {answer::whole(), answer::hold(2500, gate)});
    offerProducts({package("1.pkg", "1.0.0.0", fileContent(10240)), bad});
    freshInstallInBackground();
    // The second fetch of the bad one stands at its half.
    EXPECT_TRUE(comesTrue([this] { return progress().downloadedSize == 10 + kilobytes(2500); }));
    const DownloadProgressInfo before = progress();
    EXPECT_EQ(before.progressPercent, 75);
    EXPECT_TRUE(before.resumable);
    gate.open();
    background.join();
    const DownloadProgressInfo after = progress();
    EXPECT_FALSE(after.resumable);
    EXPECT_EQ(after.progressPercent, before.progressPercent);
    EXPECT_EQ(after.downloadedSize, before.downloadedSize);
    EXPECT_EQ(after.totalSize, before.totalSize);
    EXPECT_FALSE(after.failed);
    EXPECT_FALSE(after.completed);
    EXPECT_EQ(downloadedPackages(), packages + "/1.0.0.0/1.pkg!:");
}

// --- all completed ---------------------------------------------------------------------------------------

TEST_F(DownloadEngineTest, EveryReadWhileCompleteRecordsTheFreshInstall) {
    offerProducts({package("1.pkg", "1.2.0.0", content)});
    EXPECT_EQ(controller.freshInstall(), 0);
    EXPECT_EQ(timesTraced(recordedLine), 0) << "nobody has asked yet";
    EXPECT_TRUE(progress().completed);
    EXPECT_EQ(timesTraced(recordedLine), 1);
    const std::string record = readText("/private/tmp/configuration.plist");
    EXPECT_THAT(record, testing::HasSubstr("<string>1.2.0.0</string>"));
    EXPECT_TRUE(progress().completed);
    EXPECT_EQ(timesTraced(recordedLine), 2);
    EXPECT_EQ(readText("/private/tmp/configuration.plist"), record);
    EXPECT_FALSE(std::filesystem::exists("/usr/local/Brovik/TempDownload/ProductConfig.xml"));
}

TEST_F(DownloadEngineTest, EveryReadWhileCompleteRecordsTheUpdate) {
    const std::string plist = readText("/private/tmp/configuration.plist");
    const std::string updated =
        "INFO: Updating Productconfig.xml with ProductVersion element and its value 1.2.0.0 .\n";
    offerHotFixes({package("1.pkg", "1.2.0.0", content)});
    EXPECT_EQ(controller.productUpdate("1.0.0.5", "105", "CheckForInstall"), 0);
    EXPECT_EQ(timesTraced(updated), 1) << "the job itself has asked";
    const std::string record = readText("/usr/local/Brovik/TempDownload/ProductConfig.xml");
    EXPECT_THAT(record, testing::HasSubstr("<ProductVersion>1.2.0.0</ProductVersion>"));
    EXPECT_TRUE(progress().completed);
    EXPECT_EQ(timesTraced(updated), 2);
    EXPECT_EQ(readText("/usr/local/Brovik/TempDownload/ProductConfig.xml"), record);
    EXPECT_EQ(readText("/private/tmp/configuration.plist"), plist);
}

TEST_F(DownloadEngineTest, NothingIsCompleteWhileOnePackageRuns) {
    const Gate gate;
    offerProducts({package("1.pkg", "1.0.0.0", content),
                   package("2.pkg", "1.0.0.0", content, {answer::hold(0, gate)})});
    freshInstallInBackground();
    EXPECT_TRUE(comesTrue([] { return !downloadedPackages().empty(); }));
    EXPECT_FALSE(progress().completed);
    EXPECT_EQ(timesTraced(recordedLine), 0);
    gate.open();
    background.join();
    EXPECT_TRUE(progress().completed);
}

TEST_F(DownloadEngineTest, NothingIsCompleteBeforeEveryDownloadHasRegistered) {
    offerProducts({package("1.pkg", "1.0.0.0", content)});
    EXPECT_EQ(controller.freshInstall(), 0);
    EXPECT_TRUE(progress().completed);
    forget();
    // While its file is not open, a download's worker is not listed.
    const Gate gate;
    beforeOpening = [gate](const std::string &) { gate.wait(); };
    server.serve("/2.xml", content);
    background.run([this] { downLoad({server.url("/2.xml")}, folder); });
    EXPECT_TRUE(comesTrue([this] { return timesTraced(entryLine) == 1; }));
    EXPECT_FALSE(progress().completed);
    gate.open();
    background.join();
    beforeOpening = nullptr;
    EXPECT_EQ(readText(folder + "/2.xml"), content);
}

TEST_F(DownloadEngineTest, ANewFreshInstallIsNotCompleteByTheLastOne) {
    offerProducts({package("1.pkg", "1.0.0.0", content)});
    EXPECT_EQ(controller.freshInstall(), 0);
    EXPECT_TRUE(progress().completed);
    forget();

    // Between the catalogs and the packages no thread runs and no worker is listed. The second reply stands
    // behind the first one in the handler, so the catalogs are those of the worker list.
    const Gate gate;
    server.answerHead("/1.pkg", [gate](const HttpRequest &, HttpConnection &connection, const std::string &) {
        connection.wait(gate);
        connection.send("HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n");
    });
    ASSERT_EQ(load("/core0.xml"), 0);
    const auto heads = [this] {
        const std::vector<HttpRequest> requests = server.requests();
        return std::count_if(requests.begin(), requests.end(),
                             [](const HttpRequest &request) { return request.method == "HEAD"; });
    };
    const auto before = heads();
    freshInstallInBackground();
    EXPECT_TRUE(comesTrue([&] { return heads() > before; }));
    EXPECT_FALSE(progress().completed);
    EXPECT_EQ(timesTraced(recordedLine), 0);
    gate.open();
    background.join();
}

TEST_F(DownloadEngineTest, ADownloadThatNeverBeganIsNotCompleteByTheLastJob) {
    offerProducts({package("1.pkg", "1.0.0.0", content)});
    EXPECT_EQ(controller.freshInstall(), 0);
    EXPECT_TRUE(progress().completed);
    // The next one cannot open its file, so that it has no worker.
    controller.cancelDownload();
    ASSERT_EQ(load("/core0.xml"), 0);
    std::filesystem::remove(packages + "/1.0.0.0/1.pkg");
    std::filesystem::create_directory(packages + "/1.0.0.0/1.pkg");
    EXPECT_EQ(controller.freshInstall(), 0);
    EXPECT_EQ(timesTraced("ERROR: Not able to initialize download helper\n"), 1);
    EXPECT_FALSE(progress().completed);
}

TEST_F(DownloadEngineTest, ANewUpdateIsNotCompleteByTheLastOne) {
    offerHotFixes({package("1.pkg", "1.2.0.0", content)});
    EXPECT_EQ(controller.productUpdate("1.0.0.5", "105", "CheckForInstall"), 0);
    EXPECT_TRUE(progress().completed);

    // The service takes its time for the second reply.
    writeText("/srv/rehearsal/service/script", "* 2 slow 100\n");
    background.run(
        [this] { static_cast<void>(controller.productUpdate("1.0.0.5", "105", "CheckForInstall")); });
    EXPECT_TRUE(comesTrue([] { return std::filesystem::exists("/srv/rehearsal/log/requests/0002"); }));
    EXPECT_FALSE(progress().completed);
    background.join();
}

// --- the downloaded packages -------------------------------------------------------------------------------

TEST_F(DownloadEngineTest, NoPackagesAreAnEmptyText) {
    EXPECT_EQ(downloadedPackages(), "");
    EXPECT_THAT(controller.getDownloadedPackages(), IsEmpty());
}

TEST_F(DownloadEngineTest, ValidatedPackagesAreListedInTheOrderOfTheWorkers) {
    offerProducts({package("1.pkg", "1.0.0.1", content), package("2.pkg", "1.0.0.2", content),
                   package("3.pkg", "1.0.0.3", content, {answer::status("404 Not Found")})});
    EXPECT_EQ(controller.freshInstall(), 0);
    const std::string first = packages + "/1.0.0.1/1.pkg";
    const std::string second = packages + "/1.0.0.2/2.pkg";
    const std::list<const char *> listed = controller.getDownloadedPackages();
    const std::vector<std::string> paths(listed.begin(), listed.end());
    EXPECT_THAT(paths, UnorderedElementsAre(first, second));
    std::string joined;
    for (const std::string &path : paths)
        joined += path + "!:";
    EXPECT_EQ(downloadedPackages(), joined);
    EXPECT_EQ(readText(first), content);
    EXPECT_EQ(readText(second), content);
}

TEST_F(DownloadEngineTest, TheExportedRecordIsTheProgress) {
    server.serve("/1.pkg", content);
    EXPECT_EQ(load("/1.pkg"), 0);
    const std::unique_ptr<DownloadProgressInfo> record(
        static_cast<DownloadProgressInfo *>(GetDownloadProgressInfo()));
    EXPECT_EQ(shown(*record), shownProgress());
    EXPECT_EQ(record->progressPercent, 100);
}

// --- retry -----------------------------------------------------------------------------------------------

TEST_F(DownloadEngineTest, ARetryWithNothingToDoStartsNothing) {
    offerProducts({package("1.pkg", "1.0.0.0", content)});
    EXPECT_EQ(controller.freshInstall(), 0);
    const std::size_t requests = server.requestCount();
    forget();
    RetryDownloadPackages();
    EXPECT_THAT(messages(), ElementsAre(retryLine));
    EXPECT_EQ(server.requestCount(), requests);
    EXPECT_TRUE(progress().completed);
}

TEST_F(DownloadEngineTest, ARetryResumesWhatFailed) {
    offerProducts({package("1.pkg", "1.0.0.0", content, {answer::reset(1000)}),
                   package("2.pkg", "1.0.0.0", fileContent(6000))});
    EXPECT_EQ(controller.freshInstall(), 0);
    EXPECT_TRUE(progress().failed);
    const std::string range =
        "bytes=" + std::to_string(std::filesystem::file_size(packages + "/1.0.0.0/1.pkg")) + "-";
    forget();
    controller.retryDownload();
    EXPECT_THAT(messages(),
                ElementsAre(retryLine, "Resume downloading of <server>/1.pkg\n",
                            "Resume Download: <server>/1.pkg\n", "INFO : Start download: <server>/1.pkg\n",
                            "INFO: Checking HashSUM : " + packages + "/1.0.0.0/1.pkg\n",
                            "INFO:Success Checking HashSUM : " + packages + "/1.0.0.0/1.pkg\n",
                            "Successfully downloaded: <server>/1.pkg\n"));
    EXPECT_THAT(server.ranges("/1.pkg"), ElementsAre("", range));
    EXPECT_EQ(server.ranges("/2.pkg").size(), 1U);
    EXPECT_EQ(readText(packages + "/1.0.0.0/1.pkg"), content);
    EXPECT_TRUE(progress().completed);
    EXPECT_FALSE(progress().failed);
}

TEST_F(DownloadEngineTest, ARetryRunsInParallel) {
    const auto rendezvous = std::make_shared<Rendezvous>(2);
    const std::vector<Answer> answers{answer::status("500 Internal Server Error"),
                                      answer::together(rendezvous, answer::whole())};
    server.serve("/1.xml", content, answers);
    server.serve("/2.xml", content, answers);
    downLoad({server.url("/1.xml"), server.url("/2.xml")}, folder);
    controller.retryDownload();
    EXPECT_EQ(readText(folder + "/1.xml"), content);
    EXPECT_EQ(readText(folder + "/2.xml"), content);
}

TEST_F(DownloadEngineTest, ARetryClearsTheFailure) {
    const Gate gate;
    server.serve("/1.pkg", content, {answer::status("500 Internal Server Error"), answer::hold(10, gate)});
    EXPECT_EQ(load("/1.pkg"), 0);
    EXPECT_TRUE(progress().failed);
    background.run([this] { controller.retryDownload(); });
    EXPECT_TRUE(comesTrue([this] { return server.requestCount() == 2; }));
    EXPECT_FALSE(progress().failed);
    gate.open();
    background.join();
}

TEST_F(DownloadEngineTest, ARetryFetchesWhatWasGivenUpAfreshAndGivesItUpAgain) {
    Offered bad = package("1.pkg", "1.0.0.0", content);
    bad.hash = "never";
    offerProducts({bad});
    EXPECT_EQ(controller.freshInstall(), 0);
    controller.retryDownload();
    EXPECT_THAT(server.ranges("/1.pkg"), ElementsAre("", "", "", ""));
    EXPECT_EQ(timesTraced("Resume downloading of <server>/1.pkg\n"), 1);
    EXPECT_FALSE(progress().resumable);
    EXPECT_EQ(downloadedPackages(), "") << "kept: a package given up never succeeds on retry";
}

TEST_F(DownloadEngineTest, ARetryLeavesWhatBrokeOffTooOften) {
    server.serve("/1.pkg", content, std::vector<Answer>(4, answer::cut(100)));
    EXPECT_EQ(load("/1.pkg"), 0);
    controller.retryDownload();
    EXPECT_EQ(server.ranges("/1.pkg").size(), 4U) << "kept: neither failed nor complete";
}

TEST_F(DownloadEngineTest, ARetryAfterAnEarlyFailureRepeatsTheFreshInstall) {
    serviceAnswers("<productresponse status=\"-1\"/>");
    EXPECT_EQ(FreshInstall(), -1);
    EXPECT_TRUE(progress().failed);
    offerProducts({package("1.pkg", "1.0.0.0", content)});
    EXPECT_EQ(controller.freshInstall(), -1) << "the handler adds the new reply to the old one";
    forget();
    RetryDownloadPackages();
    const Messages traced = messages();
    ASSERT_GE(traced.size(), 2U);
    EXPECT_EQ(traced[0], retryLine);
    EXPECT_EQ(traced[1], freshInstallLine);
    EXPECT_TRUE(progress().completed);
    EXPECT_FALSE(progress().failed);
    EXPECT_EQ(downloadedPackages(), packages + "/1.0.0.0/1.pkg!:");

    // The failure is over: now a retry looks at the workers.
    forget();
    RetryDownloadPackages();
    EXPECT_THAT(messages(), testing::Not(testing::Contains(freshInstallLine)));
}

TEST_F(DownloadEngineTest, ARetryAfterAnEarlyFailureBeginsWithANewParser) {
    offerProducts({{"old", refusedUrl("/old.pkg"), "11AA", "9.0.0.0"}});
    EXPECT_EQ(controller.freshInstall(), -1);
    // The old catalog's worker is gone, and with the new parser its product too.
    server.serve("/core0.xml", productCatalog(package("1.pkg", "1.0.0.0", content)));
    controller.retryDownload();
    EXPECT_TRUE(progress().completed);
    controller.setMaxBuildNo_ProductVerSionForFreshInstall();
    EXPECT_EQ(controller.getMaxPackageVersion(), "1.0.0.0");
}

// --- cancel ----------------------------------------------------------------------------------------------

TEST_F(DownloadEngineTest, ACancelEndsAllTransfersAndForgetsTheirWorkers) {
    const std::vector<std::string> paths{"/1.pkg", "/2.xml", "/3.xml"};
    std::vector<std::string> urls;
    for (const std::string &path : paths) {
        server.serve(path, content, {answer::hold(1000, Gate())});
        urls.push_back(server.url(path));
    }
    background.run([&] { downLoad(urls, folder); });
    EXPECT_TRUE(comesTrue([this] { return progress().downloadedSize == 3 * kilobytes(1000); }));
    const auto start = std::chrono::steady_clock::now();
    controller.cancelDownload();
    // A second is promised; the rest is for a machine that is busy.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    background.join();
    for (const std::string &path : paths)
        EXPECT_EQ(timesTraced("Download Error: CURLE_ABORTED_BY_CALLBACK URL: <server>" + path + "\n"), 1);
    EXPECT_EQ(timesTraced(cancelLine), 1);
    EXPECT_THAT(controller.getDownloadedPackages(), IsEmpty());
    controller.retryDownload();
    EXPECT_EQ(server.requestCount(), 3U) << "no worker is left to retry";
}

TEST_F(DownloadEngineTest, ASecondCancelDoesNothing) {
    controller.cancelDownload();
    server.serve("/1.pkg", content);
    EXPECT_EQ(load("/1.pkg"), 0);
    forget();
    controller.cancelDownload();
    EXPECT_THAT(messages(), IsEmpty());
    server.serve("/2.xml", content, {answer::status("404 Not Found")});
    EXPECT_EQ(load("/2.xml"), 0);
    controller.retryDownload();
    EXPECT_EQ(server.ranges("/2.xml").size(), 2U) << "the workers are still there";
}

TEST_F(DownloadEngineTest, AProductUpdateLetsCancelWorkAgain) {
    controller.cancelDownload();
    rearmCancel();
    forget();
    controller.cancelDownload();
    EXPECT_THAT(messages(), ElementsAre(cancelLine));
}

TEST_F(DownloadEngineTest, AfterACancelTheQueriesAnswerAndNewDownloadsWork) {
    offerProducts({package("1.pkg", "1.0.0.0", content), package("2.pkg", "1.0.0.0", content)});
    EXPECT_EQ(controller.freshInstall(), 0);
    const std::string before = shownProgress();
    controller.cancelDownload();
    EXPECT_EQ(shownProgress(), before) << "the last figures stay";
    EXPECT_EQ(downloadedPackages(), "");
    EXPECT_STREQ(GetHashValue(server.url("/1.pkg").c_str()), sha1Of(content).c_str());
    downLoad({server.url("/1.pkg")}, folder);
    EXPECT_EQ(downloadedPackages(), folder + "/1.0.0.0/1.pkg!:");
    EXPECT_TRUE(progress().completed);
}

TEST_F(DownloadEngineTest, ACancelDuringTheCatalogsEndsTheFreshInstall) {
    offerProducts({package("1.pkg", "1.0.0.0", content)});
    server.serve("/core0.xml", "<product_catalog/>", {answer::hold(1, Gate())});
    freshInstallInBackground();
    EXPECT_TRUE(comesTrue([this] { return server.requestCount() == 1; }));
    controller.cancelDownload();
    background.join();
    EXPECT_EQ(timesTraced("ERROR: No products found For Fresh Install\n"), 1);
    EXPECT_TRUE(progress().failed);
}

TEST_F(DownloadEngineTest, ACancelEndsANestedFetch) {
    offerProducts({package("1.pkg", "1.0.0.0", content, {answer::wrongBytes(), answer::hold(1000, Gate())})});
    freshInstallInBackground();
    EXPECT_TRUE(comesTrue([this] { return server.ranges("/1.pkg").size() == 2; }));
    controller.cancelDownload();
    background.join();
    EXPECT_EQ(downloadedPackages(), "");
}

TEST_F(DownloadEngineTest, ACancelDuringAHashCheckWaitsForTheTool) {
    offerProducts({package("1.pkg", "1.0.0.0", content)});
    // The tool answers when the test lets it.
    ASSERT_EQ(mkfifo("/tmp/tool-may-answer", 0600), 0);
    const std::string tool = "/usr/local/Brovik/qrn/bin/sha1sum";
    std::filesystem::remove(tool);
    writeText(
        tool,
        "#!/bin/sh\necho asked >/tmp/tool-asked\nread line </tmp/tool-may-answer\nexec sha1sum \"$1\"\n");
    std::filesystem::permissions(tool, std::filesystem::perms::owner_all);
    freshInstallInBackground();
    EXPECT_TRUE(comesTrue([] { return readText("/tmp/tool-asked") == "asked\n"; }));
    std::atomic<bool> returned{false};
    background.run([this, &returned] {
        controller.cancelDownload();
        returned = true;
    });
    EXPECT_TRUE(comesTrue([this] { return timesTraced(cancelLine) == 1; }));
    EXPECT_TRUE(comesTrue([] { return downloadedPackages().empty(); })) << "queries do not wait";
    EXPECT_FALSE(returned) << "a thread still uses the worker";
    writeText("/tmp/tool-may-answer", "now\n");
    background.join();
    EXPECT_EQ(downloadedPackages(), "");
}

TEST_F(DownloadEngineTest, ACancelEndsARetry) {
    server.serve("/1.pkg", content,
                 {answer::status("500 Internal Server Error"), answer::hold(1000, Gate())});
    EXPECT_EQ(load("/1.pkg"), 0);
    background.run([this] { controller.retryDownload(); });
    EXPECT_TRUE(comesTrue([this] { return server.requestCount() == 2; }));
    controller.cancelDownload();
    background.join();
    EXPECT_EQ(timesTraced("Download Error: CURLE_ABORTED_BY_CALLBACK URL: <server>/1.pkg\n"), 1);
}

// --- lists -----------------------------------------------------------------------------------------------

TEST_F(DownloadEngineTest, ClearUrlListFreesAndEmpties) {
    OwnedTexts texts;
    texts.append("http://any.example/1");
    texts.append("http://any.example/2");
    std::list<const char *> urls = texts.release();
    controller.clearUrlList(urls); // what it does not free is a leak to the sanitizer
    EXPECT_THAT(urls, IsEmpty());
    controller.clearUrlList(urls);
    EXPECT_THAT(urls, IsEmpty());
}

TEST_F(DownloadEngineTest, ClearDownloadHelperListDestroysAndEmpties) {
    auto worker = std::make_unique<DownloadHelper>();
    ASSERT_TRUE(worker->Init("http://any.example/1", (folder + "/1").c_str(), {}));
    std::list<DownloadHelper *> workers{nullptr, worker.release(), nullptr};
    controller.clearDownloadHelperList(workers);
    EXPECT_THAT(workers, IsEmpty());
    controller.clearDownloadHelperList(workers);
    EXPECT_THAT(workers, IsEmpty());
}

// --- threads
// -------------------------------------------------------------------------------------------------

TEST(DownloadThreads, LeaveWorkOverThatEndsByAnException) {
    int runs = 0;
    DownloadThreads threads;
    threads.startAll({[&runs] {
        if (++runs == 1)
            throw std::bad_alloc();
    }});
    threads.join();
    EXPECT_TRUE(threads.isWorkLeftOver());
    threads.startLeftOver();
    threads.join();
    EXPECT_FALSE(threads.isWorkOutstanding());
    EXPECT_EQ(runs, 2);
}

TEST(DownloadThreads, LeaveNothingOverOfASingleStart) {
    DownloadThreads threads;
    threads.start([] { throw std::bad_alloc(); });
    threads.join();
    EXPECT_FALSE(threads.isWorkOutstanding());
}

} // namespace
