// Interrupts that come in the midst of what must be done whole: the calls that do it are led through this
// test.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <unistd.h>

#include "Interrupts.h"
#include "Observed.h"
#include "OutputFolder.h"
#include "RunningProgram.h"
#include "TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;
using testing::IsEmpty;

const std::string work = "/tmp/interrupts";
bool interruptsCome = false;

std::ptrdiff_t entriesBelow(const std::string &folder) {
    std::error_code failed;
    return std::distance(fs::recursive_directory_iterator(folder, failed),
                         fs::recursive_directory_iterator());
}

// Goes on once the interrupt's clean-up is at work in the folder, or when it has had the time to be.
void interruptWhileAt(const std::string &folder) {
    if (!interruptsCome)
        return;
    const std::ptrdiff_t before = entriesBelow(folder);
    kill(getpid(), SIGTERM);
    for (int i = 0; i < 100 && entriesBelow(folder) == before; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
}

FolderFiles manyFiles(const std::string &content) {
    FolderFiles files;
    for (int i = 0; i < 2000; ++i)
        files["catalogs/" + std::to_string(i)] = content;
    return files;
}

bool isAnyOurs(const std::string & /*path*/) {
    return true;
}

[[noreturn]] void putUntilInterrupted(const FolderFiles &files) {
    const Interrupts interrupts;
    interruptsCome = true;
    putFolder(work + "/built", files, isAnyOurs);
    while (true)
        pause();
}

class Interrupted : public testing::Test {
protected:
    void SetUp() override {
        fs::remove_all(work);
        fs::create_directories(work);
    }
    ~Interrupted() override { fs::remove_all(work); }
};

TEST_F(Interrupted, ReplacingLeavesAWholeFolderAndNothingBeside) {
    putFolder(work + "/built", manyFiles("old"), isAnyOurs);
    EXPECT_EXIT(putUntilInterrupted(manyFiles("new")), testing::KilledBySignal(SIGTERM), "");
    const Files left = filesBelow(work + "/built");
    EXPECT_TRUE(left == manyFiles("old") || left == manyFiles("new")) << left.size() << " files";
    EXPECT_EQ(std::distance(fs::directory_iterator(work), fs::directory_iterator()), 1);
}

TEST_F(Interrupted, MakingLeavesAWholeFolderOrNone) {
    EXPECT_EXIT(putUntilInterrupted(manyFiles("new")), testing::KilledBySignal(SIGTERM), "");
    const Files left = filesBelow(work + "/built");
    EXPECT_TRUE(!fs::exists(work + "/built") || left == manyFiles("new")) << left.size() << " files";
    EXPECT_LE(std::distance(fs::directory_iterator(work), fs::directory_iterator()), 1);
}

TEST_F(Interrupted, TemporaryFolderThatWasJustMadeGoes) {
    const auto makeTemporary = [] {
        const Interrupts interrupts;
        interruptsCome = true;
        const TemporaryFolder folder(work, "temporary-");
        while (true)
            pause();
    };
    EXPECT_EXIT(makeTemporary(), testing::KilledBySignal(SIGTERM), "");
    EXPECT_THAT(filesBelow(work), IsEmpty());
    EXPECT_TRUE(fs::is_empty(work));
}

// Whoever waits for this process waits for it too, by the streams that it has.
TEST_F(Interrupted, ProgramThatWasJustStartedIsEnded) {
    const auto start = [] {
        const Interrupts interrupts;
        interruptsCome = true;
        const RunningProgram program({"sleep", "20"});
        while (true)
            pause();
    };
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EXIT(start(), testing::KilledBySignal(SIGTERM), "");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(15));
}

// It would end the watching, and nothing would end the process any more.
TEST_F(Interrupted, TheWatchersOwnSignalFromOutsideEndsTheProcessLikeOthers) {
    const auto waitForIt = [] {
        const Interrupts interrupts;
        kill(getpid(), SIGUSR2);
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        std::_Exit(0);
    };
    EXPECT_EXIT(waitForIt(), testing::KilledBySignal(SIGUSR2), "");
}

} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
extern "C" {
char *__real_mkdtemp(char *name);
int __real_rename(const char *from, const char *to);
int __real_renameat2(int fromFolder, const char *from, int toFolder, const char *to, unsigned flags);
int __real_posix_spawnp(pid_t *process, const char *program, const posix_spawn_file_actions_t *actions,
                        const posix_spawnattr_t *attributes, char *const *words, char *const *environment);

char *__wrap_mkdtemp(char *name);
int __wrap_rename(const char *from, const char *to);
int __wrap_renameat2(int fromFolder, const char *from, int toFolder, const char *to, unsigned flags);
int __wrap_posix_spawnp(pid_t *process, const char *program, const posix_spawn_file_actions_t *actions,
                        const posix_spawnattr_t *attributes, char *const *words, char *const *environment);

int __wrap_posix_spawnp(pid_t *process, const char *program, const posix_spawn_file_actions_t *actions,
                        const posix_spawnattr_t *attributes, char *const *words, char *const *environment) {
    const int result = __real_posix_spawnp(process, program, actions, attributes, words, environment);
    interruptWhileAt(work); // where nothing will change
    return result;
}
char *__wrap_mkdtemp(char *name) {
    char *made = __real_mkdtemp(name);
    // Of the last test only: there is no other clean-up to wait for.
    if (std::string(name).find("temporary-") != std::string::npos)
        interruptWhileAt(name);
    return made;
}
int __wrap_rename(const char *from, const char *to) {
    interruptWhileAt(from);
    return __real_rename(from, to);
}
int __wrap_renameat2(int fromFolder, const char *from, int toFolder, const char *to, unsigned flags) {
    interruptWhileAt(from);
    return __real_renameat2(fromFolder, from, toFolder, to, flags);
}
}
// NOLINTEND(bugprone-reserved-identifier)
