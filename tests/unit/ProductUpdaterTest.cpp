#include "ProductUpdater.h"

#include <atomic>
#include <csignal>
#include <new>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <sys/resource.h>
#include <sys/stat.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DownloadController.h"
#include "FailingAllocation.h"
#include "OpenFileLimit.h"
#include "TextFile.h"
#include "Trace.h"
#include "TraceFile.h"

// The command line's main.
int productUpdaterMain(int argc, char *argv[]);

namespace {

// A system that names no highest limit and takes none above this one; 0 stands for the machine's own rules.
rlim_t highestTaken = 0;

} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the names that the linker's --wrap asks for
extern "C" {
int __real_getrlimit(int resource, rlimit *limit);
int __wrap_getrlimit(int resource, rlimit *limit);
int __wrap_getrlimit(int resource, rlimit *limit) {
    const int result = __real_getrlimit(resource, limit);
    if (highestTaken != 0)
        limit->rlim_max = RLIM_INFINITY;
    return result;
}

int __real_setrlimit(int resource, const rlimit *limit);
int __wrap_setrlimit(int resource, const rlimit *limit);
int __wrap_setrlimit(int resource, const rlimit *limit) {
    if (highestTaken == 0)
        return __real_setrlimit(resource, limit);
    if (limit->rlim_cur > highestTaken)
        return -1;
    const rlimit taken{limit->rlim_cur, highestTaken};
    return __real_setrlimit(resource, &taken);
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ExitedWithCode;
using testing::IsEmpty;
using testing::SizeIs;

using Texts = std::vector<std::string>;

const std::string started = "Product updater is started\n";
const std::string versionLine = "Product updater: CurProdVersion: 1.0.0.5 CurProdAffId: 105-1\n";
const std::string jobLine = "INFO : DownloadController - ProductUpdate\n";
const std::string exited = "Product updater is exited\n";

// Whether the controller of today is another one than when it was marked.
void markController() {
    DownloadController::getInstance()->setRelName("marked");
}
bool isMarked() {
    return DownloadController::getInstance()->getRelName() == "marked";
}

int commandLine(Texts arguments) {
    std::vector<char *> argv;
    for (std::string &argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    return productUpdaterMain(static_cast<int>(arguments.size()), argv.data());
}

int commandLineWithMode(const std::string &mode) {
    return commandLine({"productUpdater", "1.0.0.5", "105-1", mode});
}

// A starter that ignores its children hands that on; the installer script could not be waited for then.
TEST(ProductUpdaterMain, CanWaitForChildrenWhateverItsStarterSet) {
    ASSERT_NE(std::signal(SIGCHLD, SIG_IGN), SIG_ERR);
    EXPECT_EQ(commandLineWithMode("NoSuchMode"), 0);
    EXPECT_EQ(std::signal(SIGCHLD, SIG_DFL), SIG_DFL);
}

// --- the facade
// ---------------------------------------------------------------------------------------------

TEST(ProductUpdater, IsOneForAllCallers) {
    ProductUpdater *const first = ProductUpdater::getInstance();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(ProductUpdater::getInstance(), first);
}

TEST(ProductUpdater, IsCreatedOnceByManyThreads) {
    constexpr std::size_t threadCount = 16;
    std::vector<ProductUpdater *> seen(threadCount);
    std::atomic<std::size_t> ready{0};
    std::vector<std::thread> threads;
    threads.reserve(threadCount);
    for (std::size_t i = 0; i < threadCount; ++i) {
        threads.emplace_back([&seen, &ready, i] {
            ++ready;
            while (ready < threadCount)
                std::this_thread::yield();
            seen[i] = ProductUpdater::getInstance();
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_THAT(std::set<ProductUpdater *>(seen.begin(), seen.end()),
                ElementsAre(ProductUpdater::getInstance()));
}

TEST(ProductUpdater, CreatesTheControllerAndWithItTheTrace) {
    EXPECT_EQ(traceInited, 0);
    ProductUpdater::getInstance();
    EXPECT_EQ(traceInited, 1);
    trace.info("Product updater is exited\n");
    EXPECT_THAT(traceMessages(), ElementsAre("Product updater is exited\n"));
}

TEST(ProductUpdater, UsesTheControllerThatIsThere) {
    markController();
    ProductUpdater::getInstance();
    EXPECT_TRUE(isMarked());
}

TEST(ProductUpdater, ReleaseReleasesTheController) {
    ProductUpdater::getInstance();
    markController();
    ProductUpdater::releaseInstance();
    EXPECT_FALSE(isMarked());
}

TEST(ProductUpdater, IsUsableAgainAfterItsRelease) {
    ProductUpdater::getInstance();
    ProductUpdater::releaseInstance();
    EXPECT_EQ(ProductUpdater::getInstance()->updateProduct("1.0.0.5", "105", "no mode"), 0);
    EXPECT_THAT(traceMessages(), ElementsAre(jobLine));
}

TEST(ProductUpdater, ReleaseWithoutInstanceDoesNothing) {
    markController();
    ProductUpdater::releaseInstance();
    EXPECT_TRUE(isMarked());
}

TEST(ProductUpdater, DestructionReleasesTheController) {
    {
        const ProductUpdater updater;
        markController();
    }
    EXPECT_FALSE(isMarked());
}

TEST(ProductUpdater, FailedCreationLeavesNoFacadeAndNoLockBehind) {
    std::size_t failures = 0;
    for (bool failed = true; failed; ++failures) {
        const FailingAllocation failingAllocation(failures);
        try {
            ProductUpdater::getInstance();
            failed = false;
        } catch (const std::bad_alloc &) {
            failed = true;
        }
    }
    EXPECT_GT(failures, 1U);
    EXPECT_EQ(ProductUpdater::getInstance()->updateProduct("1.0.0.5", "105", "no mode"), 0);
}

TEST(ProductUpdater, UpdateIsAlwaysSaidToBeRequired) {
    const ProductUpdater *updater = ProductUpdater::getInstance();
    EXPECT_TRUE(updater->isUpdateRequired("1.0.0.5", "105"));
    EXPECT_TRUE(updater->isUpdateRequired("", ""));
}

TEST(ProductUpdater, ResultIsZeroWhenTheServiceCannotBeReached) {
    EXPECT_EQ(ProductUpdater::getInstance()->updateProduct("1.0.0.5", "105", "CheckForInstall"), 0);
    EXPECT_THAT(traceMessages(), Contains("ERROR Tolvane response\n"));
}

TEST(ProductUpdater, ResultIsZeroWhenThereIsNothingToInstall) {
    writeText("/tmp/packagelist.txt", "");
    EXPECT_EQ(ProductUpdater::getInstance()->updateProduct("1.0.0.5", "105", "Install"), 0);
    EXPECT_THAT(traceMessages(), Contains("No Updates available\n"));
}

TEST(ProductUpdater, ResultIsZeroForAnUnknownMode) {
    EXPECT_EQ(ProductUpdater::getInstance()->updateProduct("", "", ""), 0);
    EXPECT_THAT(traceMessages(), ElementsAre(jobLine));
}

// --- the command line
// ---------------------------------------------------------------------------------------

struct Arguments {
    const char *name;
    Texts arguments;
};

class WrongArguments : public testing::TestWithParam<Arguments> {};

TEST_P(WrongArguments, EndTheProcessWithStatus255) {
    EXPECT_EXIT(commandLine(GetParam().arguments), ExitedWithCode(255), "");
    EXPECT_THAT(traceMessages(), ElementsAre(started, "Product updater: Error - Arguments are missing\n"));
}

INSTANTIATE_TEST_SUITE_P(
    ProductUpdater, WrongArguments,
    testing::Values(Arguments{"NoProgramName", {}}, Arguments{"None", {"productUpdater"}},
                    Arguments{"One", {"productUpdater", "1.0.0.5"}},
                    Arguments{"Two", {"productUpdater", "1.0.0.5", "105"}},
                    Arguments{"Four", {"productUpdater", "1.0.0.5", "105", "CheckForInstall", "more"}}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

TEST(UpdaterCommandLine, ItsLinesAreInfoLines) {
    downloadManagerTraceFlagvalue = 4;
    EXPECT_EXIT(commandLine({"productUpdater"}), ExitedWithCode(255), "");
    EXPECT_EQ(commandLineWithMode("no mode"), 0);
    EXPECT_THAT(traceMessages(), IsEmpty());
}

struct Mode {
    const char *name;
    const char *mode;
};

class UnknownMode : public testing::TestWithParam<Mode> {};

TEST_P(UnknownMode, DoesNothingAndEndsWithStatusZero) {
    writeText("/tmp/packagelist.txt", "/p/A.pkg\n");
    EXPECT_EQ(commandLineWithMode(GetParam().mode), 0);
    EXPECT_THAT(traceMessages(), ElementsAre(started, versionLine, jobLine, exited));
    EXPECT_EQ(readText("/tmp/packagelist.txt"), "/p/A.pkg\n");
}

INSTANTIATE_TEST_SUITE_P(ProductUpdater, UnknownMode,
                         testing::Values(Mode{"OtherWord", "Update"}, Mode{"Empty", ""},
                                         Mode{"SmallCheckForInstall", "checkforinstall"},
                                         Mode{"CapitalCheckForInstall", "CHECKFORINSTALL"},
                                         Mode{"SmallInstall", "install"}, Mode{"CapitalInstall", "INSTALL"},
                                         Mode{"InstallWithABlank", "Install "},
                                         Mode{"BeginningOfCheckForInstall", "CheckFor"}),
                         [](const auto &caseInfo) { return caseInfo.param.name; });

TEST(UpdaterCommandLine, FailedCheckEndsWithStatusZero) {
    EXPECT_EQ(commandLineWithMode("CheckForInstall"), 0);
    const Texts messages = traceMessages();
    ASSERT_GT(messages.size(), 4U);
    EXPECT_EQ(messages[0], started);
    EXPECT_EQ(messages[1], versionLine);
    EXPECT_EQ(messages[2], jobLine);
    EXPECT_EQ(messages[messages.size() - 2], "ERROR Tolvane response\n");
    EXPECT_EQ(messages.back(), exited);
}

TEST(UpdaterCommandLine, InstallWithoutPackagesEndsWithStatusZero) {
    writeText("/tmp/packagelist.txt", "\n\n");
    EXPECT_EQ(commandLineWithMode("Install"), 0);
    EXPECT_THAT(traceMessages(),
                ElementsAre(started, versionLine, jobLine, "No Updates available\n", exited));
}

TEST(UpdaterCommandLine, ReleasesTheControllerAtItsEnd) {
    markController();
    EXPECT_EQ(commandLineWithMode("no mode"), 0);
    EXPECT_FALSE(isMarked());
}

// --- what the starter set
// -------------------------------------------------------------------------------------

// Sets the limit that a starter hands on; gives the highest one.
rlim_t startWithOpenFileLimit(rlim_t starters) {
    rlimit limit{};
    EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    limit.rlim_cur = starters;
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    return limit.rlim_max;
}

rlim_t openFileLimit() {
    rlimit limit{};
    EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    return limit.rlim_cur;
}

TEST(OpenFileLimit, IsRaisedByARunThatDownloads) {
    const rlim_t highest = startWithOpenFileLimit(128);
    EXPECT_EQ(commandLineWithMode("CheckForInstall"), 0);
    EXPECT_EQ(openFileLimit(), highest);
}

// It would be the suite's service that gets it.
TEST(OpenFileLimit, StaysInARunThatInstalls) {
    startWithOpenFileLimit(128);
    writeText("/tmp/packagelist.txt", "");
    EXPECT_EQ(commandLineWithMode("Install"), 0);
    EXPECT_EQ(openFileLimit(), 128U);
}

TEST(OpenFileLimit, IsRaisedToWhatTheSystemTakes) {
    for (const rlim_t highest : {10240U, 9000U}) {
        highestTaken = highest;
        startWithOpenFileLimit(128);
        raiseOpenFileLimit();
        EXPECT_GT(openFileLimit(), highest / 2);
        EXPECT_LE(openFileLimit(), highest);
    }
}

TEST(OpenFileLimit, StaysWhereTheSystemTakesNoHigherOne) {
    startWithOpenFileLimit(128);
    highestTaken = 128;
    raiseOpenFileLimit();
    EXPECT_EQ(openFileLimit(), 128U);
}

TEST(ProductUpdaterMain, KeepsItsFilesFromOtherWritersWhateverItsStarterSet) {
    umask(0);
    EXPECT_EQ(commandLineWithMode("NoSuchMode"), 0);
    EXPECT_EQ(umask(022), 022U);
}

TEST(ProductUpdaterMain, KeepsAStricterCreationMask) {
    umask(0077);
    EXPECT_EQ(commandLineWithMode("NoSuchMode"), 0);
    EXPECT_EQ(umask(022), 0077U);
}

TEST(ProductUpdater, LeavesTheHostsOpenFileLimitAlone) {
    startWithOpenFileLimit(128);
    ProductUpdater::getInstance()->updateProduct("1.0.0.5", "105", "CheckForInstall");
    EXPECT_EQ(openFileLimit(), 128U);
}

} // namespace
