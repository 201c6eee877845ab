// What a host sees of the built library: the exported names, the header and the record's layout.
#include "downloadManager.h"

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include <dlfcn.h>
#include <sys/wait.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ShellPipe.h"
#include "TraceFile.h"

// The same header as a C program sees it; see ExportsInC.c.
extern "C" std::size_t progressRecordSizeInC(void);

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

using Texts = std::vector<std::string>;

static_assert(std::is_standard_layout_v<DownloadProgressInfo> &&
              std::is_trivially_copyable_v<DownloadProgressInfo>);
static_assert(offsetof(DownloadProgressInfo, progressPercent) == 0 * sizeof(double));
static_assert(offsetof(DownloadProgressInfo, downloadSpeed) == 1 * sizeof(double));
static_assert(offsetof(DownloadProgressInfo, remainingTime) == 2 * sizeof(double));
static_assert(offsetof(DownloadProgressInfo, downloadedSize) == 3 * sizeof(double));
static_assert(offsetof(DownloadProgressInfo, totalSize) == 4 * sizeof(double));
static_assert(offsetof(DownloadProgressInfo, failed) == 5 * sizeof(double) + 0);
static_assert(offsetof(DownloadProgressInfo, completed) == 5 * sizeof(double) + 1);
static_assert(offsetof(DownloadProgressInfo, resumable) == 5 * sizeof(double) + 2);

static_assert(std::is_same_v<decltype(FreshInstall), int()>);
static_assert(std::is_same_v<decltype(GetDownloadProgressInfo), void *()>);
static_assert(std::is_same_v<decltype(GetDownloadedPackages), char *()>);
static_assert(std::is_same_v<decltype(RetryDownloadPackages), void()>);
static_assert(std::is_same_v<decltype(GetHashValue), const char *(const char *)>);

Texts linesOf(const std::string &command) {
    ShellPipe pipe(command);
    Texts lines;
    while (const std::optional<std::string> line = pipe.readLine())
        lines.push_back(line->substr(0, line->find('\n')));
    EXPECT_EQ(pipe.close(), 0) << command;
    return lines;
}

Texts exportedNames() {
    return linesOf("nm --dynamic --defined-only --format=posix '" LIBRARY_FILE
                   "' | cut -d' ' -f1 | LC_ALL=C sort");
}

TEST(Exports, AreTheListedNamesAndNothingElse) {
    Texts listed;
    std::ifstream list(EXPORT_LIST_FILE);
    for (std::string name; std::getline(list, name);)
        listed.push_back(name);
    std::sort(listed.begin(), listed.end());
    EXPECT_EQ(exportedNames(), listed);
}

TEST(Exports, AreMainAndTheFiveFunctions) {
    EXPECT_THAT(exportedNames(),
                ElementsAre("FreshInstall", "GetDownloadProgressInfo", "GetDownloadedPackages",
                            "GetHashValue", "RetryDownloadPackages", "main"));
}

struct LibraryCloser {
    void operator()(void *library) const noexcept { dlclose(library); }
};

TEST(Exports, AreFoundByNameInALoadedLibrary) {
    const std::unique_ptr<void, LibraryCloser> library(dlopen(LIBRARY_FILE, RTLD_NOW | RTLD_LOCAL));
    ASSERT_NE(library, nullptr) << dlerror(); // NOLINT(concurrency-mt-unsafe): this is the only thread
    for (const char *name : {"FreshInstall", "GetDownloadProgressInfo", "GetDownloadedPackages",
                             "RetryDownloadPackages", "GetHashValue", "main"})
        EXPECT_NE(dlsym(library.get(), name), nullptr) << name;
}

// A host that unloads it all the same does not take it from under its threads.
TEST(Exports, LibraryStaysWhenItIsUnloaded) {
    void *const library = dlopen(LIBRARY_FILE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr);
    EXPECT_EQ(dlclose(library), 0);
    EXPECT_NE(dlopen(LIBRARY_FILE, RTLD_NOW | RTLD_NOLOAD), nullptr);
}

TEST(Exports, HeaderMeansTheSameToC) {
    EXPECT_EQ(progressRecordSizeInC(), sizeof(DownloadProgressInfo));
}

TEST(CommandLineProgram, HasNoCodeOfItsOwn) {
    const Texts defined =
        linesOf("nm --defined-only --format=posix '" PROGRAM_FILE "' | grep ' [Tt] ' | cut -d' ' -f1");
    EXPECT_THAT(defined, Not(Contains("main")));
    EXPECT_THAT(
        linesOf("nm --undefined-only --format=posix '" PROGRAM_FILE "' | cut -d' ' -f1 | cut -d@ -f1"),
        Contains("main"));
}

TEST(CommandLineProgram, RunsTheLibrarysMain) {
    const int status = ShellPipe("'" PROGRAM_FILE "' 1.0.0.5 105 2>&1").close();
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 255);
    EXPECT_THAT(traceMessages(), ElementsAre("Product updater is started\n",
                                             "Product updater: Error - Arguments are missing\n"));
}

TEST(CommandLineProgram, EndsWithStatusZeroWhenThereIsNothingToDo) {
    EXPECT_EQ(ShellPipe("'" PROGRAM_FILE "' 1.0.0.5 105 NoMode 2>&1").close(), 0);
    EXPECT_THAT(traceMessages(),
                ElementsAre("Product updater is started\n",
                            "Product updater: CurProdVersion: 1.0.0.5 CurProdAffId: 105\n",
                            "INFO : DownloadController - ProductUpdate\n", "Product updater is exited\n"));
}

} // namespace
