#include "ShellPipe.h"

#include <string>
#include <vector>

#include <sys/resource.h>
#include <sys/wait.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

TEST(ShellPipe, RunShellCommandTellsWhenTheShellCannotBeStarted) {
    const NoMoreFiles noMoreFiles;
    EXPECT_FALSE(runShellCommand("true"));
}

} // namespace
