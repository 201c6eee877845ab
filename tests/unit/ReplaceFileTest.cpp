#include "ReplaceFile.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Background.h"
#include "FailingFileCall.h"
#include "FullDisk.h"
#include "TextFile.h"

namespace {

const std::string folder = "/tmp/folder/";
const std::string path = folder + "file";

struct stat statusOf(const std::string &name) {
    struct stat status {};
    EXPECT_EQ(lstat(name.c_str(), &status), 0) << name;
    return status;
}

std::size_t filesIn(const std::string &name) {
    const std::filesystem::directory_iterator entries(name);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

struct Way {
    const char *name;
    std::function<bool(const std::string &, std::string_view)> replace;
};

class EveryWay : public testing::TestWithParam<Way> {
protected:
    EveryWay() { std::filesystem::create_directory(folder); }
    static bool replace(std::string_view bytes) { return GetParam().replace(path, bytes); }
};

INSTANTIATE_TEST_SUITE_P(ReplaceFile, EveryWay,
                         testing::Values(Way{"Replace", replaceFile}, Way{"Own", replaceByOwnFile},
                                         Way{"Rewrite", rewriteFile}),
                         [](const auto &caseInfo) { return caseInfo.param.name; });

TEST_P(EveryWay, GivesTheWholeContent) {
    const std::string bytes = std::string(3'000'000, 'x') + '\0' + "end";
    EXPECT_TRUE(replace(bytes));
    EXPECT_TRUE(readText(path) == bytes);
    EXPECT_TRUE(replace(""));
    EXPECT_EQ(readText(path), "");
    EXPECT_EQ(filesIn(folder), 1U);
}

TEST_P(EveryWay, LeavesTheOldFileWhenTheNewOneDoesNotFit) {
    writeText(path, "old");
    {
        const FullDisk full(4096);
        EXPECT_FALSE(replace(std::string(100'000, 'x')));
    }
    EXPECT_EQ(readText(path), "old");
    EXPECT_EQ(filesIn(folder), 1U);
}

TEST_P(EveryWay, LeavesTheOldFileOrTheNewOneWhicheverCallFails) {
    std::size_t call = 0;
    for (bool reached = true; reached; ++call) {
        writeText(path, "old");
        bool done = false;
        {
            const FailingFileCall failing(call);
            done = replace("new");
            reached = failing.happened();
        }
        EXPECT_EQ(readText(path), done ? "new" : "old") << call;
        EXPECT_EQ(filesIn(folder), 1U) << call;
    }
    EXPECT_GT(call, 4U);
}

// A child that ends, or a timer of the host's, is no reason to lose a configuration.
TEST_P(EveryWay, IsWrittenOnWhenASignalInterrupts) {
    writeText(path, "old");
    fileCalls.clear();
    ASSERT_TRUE(replace("old"));
    const FailingFileCall interrupted(firstFileCall("write"), EINTR);
    EXPECT_TRUE(replace("new"));
    EXPECT_TRUE(interrupted.happened());
    EXPECT_EQ(readText(path), "new");
}

TEST_P(EveryWay, IsOnTheDiskBeforeItTakesTheOldOnesPlace) {
    fileCalls.clear();
    ASSERT_TRUE(replace("new"));
    std::vector<std::string> placing;
    std::copy_if(fileCalls.begin(), fileCalls.end(), std::back_inserter(placing),
                 [](const std::string &call) { return call == "fsync" || call == "rename"; });
    EXPECT_THAT(placing, testing::ElementsAre("fsync", "rename", "fsync")) << "the last is the folder's";
}

TEST_P(EveryWay, FailsWithoutTheFolder) {
    EXPECT_FALSE(GetParam().replace("/tmp/missing/file", "new"));
    EXPECT_FALSE(std::filesystem::exists("/tmp/missing"));
}

TEST_P(EveryWay, FailsOnADirectory) {
    std::filesystem::create_directory(path);
    EXPECT_FALSE(replace("new"));
    EXPECT_TRUE(std::filesystem::is_directory(path));
    EXPECT_EQ(filesIn(folder), 1U);
}

// Of every reader at any moment.
TEST_P(EveryWay, ShowsTheOldOrTheNewContentToEveryReader) {
    const std::string contents[] = {std::string(100'000, 'a'), std::string(50'000, 'b')};
    ASSERT_TRUE(replace(contents[0]));
    std::atomic<bool> ends{false};
    Background background;
    background.run([&] {
        while (!ends) {
            const std::string seen = readText(path);
            if (seen != contents[0] && seen != contents[1]) {
                ADD_FAILURE() << seen.size();
                return;
            }
        }
    });
    for (int round = 0; round < 100; ++round)
        EXPECT_TRUE(replace(contents[round % 2]));
    ends = true;
}

// --- what may be in the place

TEST(ReplaceFileMode, OfAnExistingFileStaysUnlessItIsToBeOwn) {
    writeText("/tmp/file", "old");
    for (const mode_t mode : {0600U, 0640U, 0606U}) {
        ASSERT_EQ(chown("/tmp/file", 1, 2), 0);
        ASSERT_EQ(chmod("/tmp/file", mode), 0);
        EXPECT_TRUE(replaceFile("/tmp/file", "new"));
        EXPECT_TRUE(rewriteFile("/tmp/file", "new"));
        EXPECT_EQ(statusOf("/tmp/file").st_mode & 07777U, mode);
        EXPECT_EQ(statusOf("/tmp/file").st_uid, 1U);
        EXPECT_EQ(statusOf("/tmp/file").st_gid, 2U);
    }
    EXPECT_TRUE(replaceByOwnFile("/tmp/file", "new"));
    EXPECT_EQ(statusOf("/tmp/file").st_mode & 07777U, 0644U);
    EXPECT_EQ(statusOf("/tmp/file").st_uid, 0U);
}

TEST(ReplaceFileMode, OfANewFileIsTheMasksAndInOpenFoldersForItsOwnerOnly) {
    const mode_t callersMask = umask(0);
    EXPECT_TRUE(replaceFile("/tmp/list", "new"));
    EXPECT_TRUE(replaceByOwnFile("/tmp/own", "new"));
    EXPECT_TRUE(rewriteFile("/tmp/configuration", "new"));
    umask(027);
    EXPECT_TRUE(rewriteFile("/tmp/masked", "new"));
    umask(callersMask);
    EXPECT_EQ(statusOf("/tmp/list").st_mode & 07777U, 0644U);
    EXPECT_EQ(statusOf("/tmp/own").st_mode & 07777U, 0644U);
    EXPECT_EQ(statusOf("/tmp/configuration").st_mode & 07777U, 0666U);
    EXPECT_EQ(statusOf("/tmp/masked").st_mode & 07777U, 0640U);
}

class ReplaceFileLink : public testing::Test {
protected:
    ReplaceFileLink() {
        std::filesystem::create_directory("/tmp/elsewhere");
        writeText("/tmp/elsewhere/file", "old");
        EXPECT_EQ(chmod("/tmp/elsewhere/file", 0600), 0);
        std::filesystem::create_symlink("elsewhere/file", "/tmp/link");
        std::filesystem::create_symlink("/tmp/link", "/tmp/second");
    }
};

TEST_F(ReplaceFileLink, IsReplacedInAnOpenFolder) {
    for (const auto &replace : {replaceFile, replaceByOwnFile}) {
        std::filesystem::remove("/tmp/second");
        std::filesystem::create_symlink("/tmp/link", "/tmp/second");
        EXPECT_TRUE(replace("/tmp/second", "new"));
        EXPECT_FALSE(std::filesystem::is_symlink("/tmp/second"));
        EXPECT_EQ(readText("/tmp/second"), "new");
        EXPECT_EQ(readText("/tmp/elsewhere/file"), "old");
    }
}

TEST_F(ReplaceFileLink, IsFollowedByARewrite) {
    EXPECT_TRUE(rewriteFile("/tmp/second", "new"));
    EXPECT_TRUE(std::filesystem::is_symlink("/tmp/second"));
    EXPECT_TRUE(std::filesystem::is_symlink("/tmp/link"));
    EXPECT_EQ(readText("/tmp/elsewhere/file"), "new");
    EXPECT_EQ(statusOf("/tmp/elsewhere/file").st_mode & 07777U, 0600U);
    EXPECT_EQ(filesIn("/tmp/elsewhere"), 1U);
}

TEST_F(ReplaceFileLink, IsFollowedToAFileThatIsNotThereYet) {
    std::filesystem::remove("/tmp/elsewhere/file");
    EXPECT_TRUE(rewriteFile("/tmp/second", "new"));
    EXPECT_EQ(readText("/tmp/elsewhere/file"), "new");
    EXPECT_TRUE(std::filesystem::is_symlink("/tmp/link"));
}

TEST_F(ReplaceFileLink, ToItselfIsNoFile) {
    std::filesystem::create_symlink("loop", "/tmp/loop");
    EXPECT_FALSE(rewriteFile("/tmp/loop", "new"));
    EXPECT_TRUE(std::filesystem::is_symlink("/tmp/loop"));
}

TEST(ReplaceFileDevice, IsWrittenToAndStays) {
    EXPECT_FALSE(rewriteFile("/dev/full", "new"));
    EXPECT_TRUE(rewriteFile("/dev/null", "new"));
    EXPECT_TRUE(S_ISCHR(statusOf("/dev/full").st_mode));
    EXPECT_TRUE(S_ISCHR(statusOf("/dev/null").st_mode));
}

TEST(ReplaceFileFifo, IsNotWaitedForAndReplacedInAnOpenFolder) {
    for (const auto &replace : {replaceFile, replaceByOwnFile}) {
        ASSERT_EQ(mkfifo("/tmp/fifo", 0666), 0);
        EXPECT_TRUE(replace("/tmp/fifo", "new"));
        EXPECT_EQ(readText("/tmp/fifo"), "new");
        std::filesystem::remove("/tmp/fifo");
    }
    ASSERT_EQ(mkfifo("/tmp/fifo", 0666), 0);
    EXPECT_FALSE(rewriteFile("/tmp/fifo", "new")) << "nobody reads it";
    EXPECT_TRUE(S_ISFIFO(statusOf("/tmp/fifo").st_mode));
}

TEST(ReplaceFileFifo, IsWrittenToWhenSomebodyReadsItHoweverSlowly) {
    ASSERT_EQ(mkfifo("/tmp/fifo", 0666), 0);
    const std::string bytes(1'000'000, 'x');
    std::string read;
    Background background;
    background.run([&] { read = readText("/tmp/fifo"); });
    EXPECT_TRUE(comesTrue([&] { return rewriteFile("/tmp/fifo", bytes); })); // once the reader has opened it
    background.join();
    EXPECT_TRUE(read == bytes);
}

TEST(ReplaceFileReadOnly, StaysThoughARenameWouldSucceed) {
    // Root may write to any file but one whose bytes another process executes.
    std::filesystem::copy_file("/bin/sleep", "/tmp/busy");
    const std::string before = readText("/tmp/busy");
    ASSERT_EQ(std::system("/tmp/busy 1000 &"), 0);
    ASSERT_TRUE(comesTrue([] { return std::system("pgrep -x busy >/tmp/pid") == 0; })); // it is executed
    EXPECT_FALSE(rewriteFile("/tmp/busy", "new"));
    EXPECT_TRUE(readText("/tmp/busy") == before);
}

TEST(ReplaceFileOther, OfAnUnnamedFileIsRefused) {
    const int unnamed = open("/tmp", O_TMPFILE | O_RDWR, 0600);
    if (unnamed < 0)
        GTEST_SKIP() << "this file system has none";
    EXPECT_FALSE(rewriteFile("/proc/self/fd/" + std::to_string(unnamed), "new"));
    close(unnamed);
}

// The system shows a removed file by its old name with " (deleted)" behind it, which may be another file's.
TEST(ReplaceFileOther, OfARemovedFileIsRefusedAndItsNamesakeStays) {
    const int removed = open("/tmp/file", O_CREAT | O_RDWR, 0600);
    ASSERT_EQ(unlink("/tmp/file"), 0);
    writeText("/tmp/file (deleted)", "another");
    EXPECT_FALSE(rewriteFile("/proc/self/fd/" + std::to_string(removed), "new"));
    EXPECT_EQ(readText("/tmp/file (deleted)"), "another");
    close(removed);
}

// Containers mount single files, and no other file takes a mount's place.
TEST(ReplaceFileOther, ThatIsAMountIsWrittenInPlace) {
    std::filesystem::create_directory("/tmp/mounts");
    const std::string mounted = "/tmp/mounts/file";
    writeText(mounted, "old, and longer");
    ASSERT_EQ(mount(mounted.c_str(), mounted.c_str(), nullptr, MS_BIND, nullptr), 0);
    EXPECT_TRUE(rewriteFile(mounted, "new"));
    EXPECT_EQ(readText(mounted), "new");
    EXPECT_EQ(umount(mounted.c_str()), 0);
    EXPECT_EQ(filesIn("/tmp/mounts"), 1U);
}

TEST(ReplaceFileOther, WithANameAsLongAsCanBeIsWrittenInPlace) {
    const std::string longest = "/tmp/long/" + std::string(NAME_MAX, 'x');
    std::filesystem::create_directory("/tmp/long");
    writeText(longest, "old, and longer");
    EXPECT_TRUE(rewriteFile(longest, "new"));
    EXPECT_EQ(readText(longest), "new");
    EXPECT_EQ(filesIn("/tmp/long"), 1U);
}

} // namespace
