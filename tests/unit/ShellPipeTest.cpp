#include "ShellPipe.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Background.h"
#include "FailingAllocation.h"
#include "NoMoreFiles.h"
#include "TextFile.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> linesOf(const std::string &command) {
    ShellPipe pipe(command);
    std::vector<std::string> lines;
    while (std::optional<std::string> line = pipe.readLine())
        lines.push_back(*line);
    return lines;
}

TEST(ShellPipe, ReadsLineByLineWithLineEnds) {
    EXPECT_THAT(linesOf("printf 'one\\ntwo\\n\\nlast'"), ElementsAre("one\n", "two\n", "\n", "last"));
}

TEST(ShellPipe, NoOutputGivesNoLine) {
    EXPECT_THAT(linesOf("true"), IsEmpty());
}

TEST(ShellPipe, LongLineIsCutAfter99Bytes) {
    EXPECT_THAT(linesOf("printf '%0120d\\n' 0"),
                ElementsAre(std::string(99, '0'), std::string(21, '0') + "\n"));
}

TEST(ShellPipe, RunsThroughTheShell) {
    EXPECT_THAT(linesOf("name=world; echo \"hello $name\" | tr a-z A-Z"), ElementsAre("HELLO WORLD\n"));
}

TEST(ShellPipe, CloseGivesTheCommandsStatus) {
    EXPECT_EQ(ShellPipe("true").close(), 0);
    const int failed = ShellPipe("exit 3").close();
    EXPECT_TRUE(WIFEXITED(failed));
    EXPECT_EQ(WEXITSTATUS(failed), 3);
    const int killed = ShellPipe("kill -KILL $$").close();
    EXPECT_TRUE(WIFSIGNALED(killed));
}

TEST(ShellPipe, SecondCloseHasNothingToTell) {
    ShellPipe pipe("true");
    EXPECT_TRUE(pipe.isOpen());
    EXPECT_EQ(pipe.close(), 0);
    EXPECT_FALSE(pipe.isOpen());
    EXPECT_EQ(pipe.close(), -1);
    EXPECT_EQ(pipe.readLine(), std::nullopt);
}

TEST(ShellPipe, DestructionWaitsForTheCommand) {
    { const ShellPipe pipe("read -r line </etc/hosts; echo done >/tmp/outcome"); }
    EXPECT_EQ(readText("/tmp/outcome"), "done\n");
}

TEST(ShellPipe, UnknownModeOpensNothing) {
    ShellPipe pipe("true", "no such mode");
    EXPECT_FALSE(pipe.isOpen());
    EXPECT_EQ(pipe.close(), -1);
}

TEST(ShellPipe, ShellThatCannotBeStartedOpensNothing) {
    const NoMoreFiles noMoreFiles;
    ShellPipe pipe("true");
    EXPECT_FALSE(pipe.isOpen());
    EXPECT_EQ(pipe.readLine(), std::nullopt);
    EXPECT_EQ(pipe.close(), -1);
}

TEST(ShellPipe, RunShellCommandWaitsAndIgnoresTheStatus) {
    EXPECT_TRUE(runShellCommand("echo done >/tmp/outcome; exit 3"));
    EXPECT_EQ(readText("/tmp/outcome"), "done\n");
}

TEST(ShellPipe, ACommandSurvivesOutputThatNobodyReads) {
    // More than a pipe holds, written by the shell itself.
    EXPECT_TRUE(runShellCommand("i=0; while [ $i -lt 3000 ]; do echo 'installer: a warning of some length'; "
                                "i=$((i + 1)); done; echo done >/tmp/outcome"));
    EXPECT_EQ(readText("/tmp/outcome"), "done\n");
}

// A package may start a daemon, which holds the pipe as long as it lives.
TEST(ShellPipe, WhatACommandLeavesBehindIsNotWaitedFor) {
    ShellPipe pipe("sleep 1000 & echo $!");
    const std::optional<std::string> daemon = pipe.readLine();
    ASSERT_TRUE(daemon.has_value());
    EXPECT_EQ(pipe.close(), 0);
    // Alive, and the test's to end.
    EXPECT_EQ(kill(std::stoi(*daemon), SIGKILL), 0);
}

TEST(ShellPipe, ADaemonThatWritesWithoutEndIsNotWaitedForEither) {
    EXPECT_TRUE(runShellCommand("yes & echo $! >/tmp/daemon"));
    // It may have died of its output by now.
    static_cast<void>(kill(std::stoi(readText("/tmp/daemon")), SIGKILL));
}

TEST(ShellPipe, WithoutAThreadACommandSurvivesOutputThatNobodyReads) {
    // Long enough to get a thread otherwise.
    ShellPipe pipe("sleep 0.2; i=0; while [ $i -lt 3000 ]; do echo 'installer: a warning of some length'; "
                   "i=$((i + 1)); done; exit 3");
    const FailingAllocation failingAllocation(0);
    const int status = pipe.close();
    EXPECT_TRUE(failingAllocation.happened());
    EXPECT_EQ(WEXITSTATUS(status), 3);
}

TEST(ShellPipe, ACommandThatEndsSoonNeedsNoThread) {
    ShellPipe pipe("echo unread");
    const FailingAllocation failingAllocation(0);
    EXPECT_EQ(pipe.close(), 0);
    EXPECT_FALSE(failingAllocation.happened());
}

TEST(ShellPipe, LeavesNoDescriptorOpen) {
    const auto countOpen = [] {
        const std::filesystem::directory_iterator entries("/proc/self/fd");
        return std::distance(begin(entries), end(entries));
    };
    const auto before = countOpen();
    EXPECT_TRUE(runShellCommand("echo unread"));
    { const ShellPipe pipe("sleep 0.3 & echo unread"); }
    EXPECT_EQ(countOpen(), before);
}

// What this process has open, by the names of /proc.
std::set<std::string> openFiles() {
    std::set<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone; // the one of this loop
        names.insert(std::filesystem::read_symlink(entry, gone));
    }
    return names;
}

// Many commands at once, some of which end while others start.
TEST(ShellPipe, CommandsOfManyThreadsInheritNothingOfOneAnother) {
    constexpr int threadCount = 8;
    constexpr int rounds = 20;
    const std::set<std::string> starters = openFiles();
    const auto isStarters = [&starters](const std::string &line) {
        return line == "end\n" || starters.count(line.substr(0, line.size() - 1)) != 0;
    };
    Background threads;
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.run([&isStarters] {
            for (int round = 0; round < rounds; ++round) {
                ShellPipe pipe("for d in 0 2 3 4 5 6 7 8 9 10 11 12; do readlink /proc/$$/fd/$d; done; "
                               "echo end; echo unread");
                std::optional<std::string> line;
                do {
                    line = pipe.readLine();
                    ASSERT_TRUE(line.has_value());
                    EXPECT_TRUE(isStarters(*line)) << *line;
                } while (line != "end\n");
            }
        });
    }
}

TEST(ShellPipe, ChildrenOfTheHostDoNotInheritThePipe) {
    const std::set<std::string> before = openFiles();
    const ShellPipe pipe("echo unread");
    std::set<std::string> pipes;
    for (const std::string &name : openFiles()) {
        if (name.rfind("pipe:", 0) == 0 && before.count(name) == 0)
            pipes.insert(name);
    }
    ASSERT_EQ(pipes.size(), 1U);
    ASSERT_EQ(std::system("ls -l /proc/$$/fd >/tmp/inherited"), 0);
    EXPECT_THAT(readText("/tmp/inherited"), testing::Not(testing::HasSubstr(*pipes.begin())));
}

TEST(ShellPipe, RunShellCommandTellsWhenTheShellCannotBeStarted) {
    const NoMoreFiles noMoreFiles;
    EXPECT_FALSE(runShellCommand("true"));
}

} // namespace
