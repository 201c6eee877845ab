// The installed host program on a terminal: what is drawn, and what its keys and its window do.
#include <algorithm>
#include <csignal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Background.h"
#include "Products.h"
#include "Program.h"
#include "PseudoTerminal.h"
#include "Recording.h"
#include "Release.h"
#include "TextFile.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

const std::string program = "/usr/local/Brovik/qrn/bin/freshinstall";
const std::string drawBegin = "\r\033[K"; // of what is drawn over
const std::string drawEnd = "\033[J\r";
const std::string hideCursor = "\033[?25l";
const std::string showCursor = "\033[?25h";

const Product core = {"core.pkg", someBytes(300000)};
const Product extra = {"extra.pkg", someBytes(200000)};

// All that was ever drawn over, and the lines that stayed, in the order in which they were written.
struct Drawn {
    std::vector<std::string> bars;
    std::vector<std::string> lines;
};

Drawn drawn(const std::string &output) {
    Drawn result;
    for (std::size_t at = output.find(drawBegin); at != std::string::npos;
         at = output.find(drawBegin, at + 1)) {
        const std::size_t first = at + drawBegin.size();
        const std::size_t last = output.find(drawEnd, first);
        const bool stays = output.compare(last, drawEnd.size() + 2, drawEnd + "\r\n") == 0;
        (stays ? result.lines : result.bars).push_back(output.substr(first, last - first));
    }
    return result;
}

// Blocks take three bytes.
std::size_t columnsOf(const std::string &text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xc0U) != 0x80U;
    }));
}

int percentOf(const std::string &bar) {
    const std::size_t sign = bar.find(" %");
    const std::size_t begin = bar.rfind(' ', sign - 1);
    return std::stoi(bar.substr(begin == std::string::npos ? 0 : begin));
}

// Half of the only package comes, and nothing more.
void publishReleaseThatStalls() {
    publishRelease({core});
    misbehave("/core.pkg * stall 150000\n");
}

TEST(TerminalBar, IsRedrawnInPlaceAndNeverRunsBackwards) {
    publishRelease({core, extra});
    misbehave("/core.pkg 1 wrong\n/core.pkg * slow 300000\n/extra.pkg * slow 300000\n");
    PseudoTerminal terminal({program}, 100);
    EXPECT_EQ(terminal.end(), 0);
    const Drawn seen = drawn(terminal.output());
    EXPECT_GT(seen.bars.size(), 5U);
    int percent = 0;
    for (const std::string &bar : seen.bars) {
        if (bar.empty())
            continue;
        EXPECT_GE(percentOf(bar), percent) << bar;
        percent = percentOf(bar);
        EXPECT_LE(percent, 100) << bar;
        EXPECT_LT(columnsOf(bar), 100U) << bar;
    }
    EXPECT_THAT(seen.lines.back(), HasSubstr("100 %  0.5 of 0.5 MB"));
    for (const std::string finished : {"finished: core.pkg, 0.3 MB, its SHA-1 is the catalog's",
                                       "finished: extra.pkg, 0.2 MB, its SHA-1 is the catalog's"})
        EXPECT_EQ(std::count(seen.lines.begin(), seen.lines.end(), finished), 1) << finished;
}

TEST(TerminalBar, IsFittedToAWindowThatIsResized) {
    publishReleaseThatStalls();
    PseudoTerminal terminal({program}, 100);
    ASSERT_TRUE(terminal.shows("50 %  0.1 of 0.3 MB")) << terminal.output();
    std::size_t before = terminal.output().size();
    terminal.resize(30);
    ASSERT_TRUE(terminal.shows("downloading")) << terminal.output();
    ASSERT_TRUE(terminal.shows("50 %")) << terminal.output();
    for (const std::string &bar : drawn(terminal.output().substr(before)).bars)
        EXPECT_LT(columnsOf(bar), 30U) << bar;
    before = terminal.output().size();
    terminal.resize(10);
    ASSERT_TRUE(terminal.shows(drawBegin + "50 %" + drawEnd)) << terminal.output();
    terminal.resize(120);
    EXPECT_TRUE(terminal.shows("50 %  0.1 of 0.3 MB")) << terminal.output();
}

TEST(TerminalBar, SaysHowLongItWaits) {
    publishReleaseThatStalls();
    PseudoTerminal terminal({program}, 100);
    EXPECT_TRUE(terminal.shows("waiting for data from the packages' server")) << terminal.output();
    EXPECT_TRUE(terminal.shows("waiting 0:02")) << terminal.output();
    EXPECT_TRUE(terminal.shows("waiting 0:03")) << terminal.output();
}

TEST(TerminalKeys, CtrlCEndsAtOnceAndRestoresTheTerminal) {
    publishRelease({core, extra});
    misbehave("/core.pkg * stall 150000\n");
    PseudoTerminal terminal({program}, 100);
    ASSERT_TRUE(terminal.shows(hideCursor)) << terminal.output();
    ASSERT_TRUE(terminal.shows("finished: extra.pkg")) << terminal.output();
    EXPECT_FALSE(terminal.echoes());
    terminal.type("\x03");
    EXPECT_EQ(terminal.end(), 130);
    EXPECT_THAT(terminal.output(),
                HasSubstr("interrupted\r\n"
                          "Left on the disk: 1 package finished, and what came of the others, below\r\n"
                          "  /usr/local/Brovik/TempDownload/Package\r\n"
                          "A new run fetches all packages anew.\r\n"));
    EXPECT_GT(terminal.output().rfind(showCursor) + 1, terminal.output().rfind(hideCursor) + 1);
    EXPECT_TRUE(readText(pathOf(extra)) == extra.content);
}

TEST(TerminalKeys, EndItThoughTheTerminalTakesNoMoreOutput) {
    publishRelease({core, extra});
    misbehave("/core.pkg * slow 20000\n/extra.pkg * slow 20000\n");
    PseudoTerminal terminal({program}, 100);
    ASSERT_TRUE(terminal.shows(hideCursor)) << terminal.output();
    terminal.fill();
    EXPECT_FALSE(terminal.echoes());
    terminal.send(SIGTERM);
    EXPECT_EQ(terminal.endsUnread(), 143);
    EXPECT_TRUE(terminal.echoes());
}

TEST(TerminalKeys, CtrlCEndsAtOnceBeforeTheDownloads) {
    publishRelease({core});
    misbehave("/velbrin/1.0.0.0/?reqtype=mac_web * silent\n");
    PseudoTerminal terminal({program}, 100);
    ASSERT_TRUE(terminal.shows("preparing")) << terminal.output();
    terminal.type("\x03");
    EXPECT_EQ(terminal.end(), 130);
}

// With job control and no settings of its own for the terminal, unlike an interactive shell.
std::vector<std::string> shellWithJobs(const std::string &script) {
    return {"/bin/bash", "-c", "set -m; " + script};
}

TEST(TerminalKeys, CtrlZGivesTheTerminalBackWhileStopped) {
    publishReleaseThatStalls();
    PseudoTerminal terminal(shellWithJobs(program + "; stty -a; echo 'and on'; fg"), 100);
    ASSERT_TRUE(terminal.shows("50 %")) << terminal.output();
    terminal.type("\x1a");
    ASSERT_TRUE(terminal.shows(showCursor)) << terminal.output();
    ASSERT_TRUE(terminal.shows(" echo ")) << terminal.output();
    ASSERT_TRUE(terminal.shows("and on")) << terminal.output();
    ASSERT_TRUE(terminal.shows(hideCursor)) << terminal.output();
    ASSERT_TRUE(terminal.shows("50 %")) << terminal.output();
    EXPECT_FALSE(terminal.echoes());
    terminal.type("\x03");
    EXPECT_EQ(terminal.end(), 130);
}

// As the leader of its session, like a terminal window's only program.
TEST(TerminalKeys, CtrlZDoesNotStopItWhereNoShellCouldContinueIt) {
    publishReleaseThatStalls();
    PseudoTerminal terminal({program}, 100);
    ASSERT_TRUE(terminal.shows("50 %")) << terminal.output();
    terminal.type("\x1a");
    ASSERT_TRUE(terminal.shows(showCursor)) << terminal.output();
    ASSERT_TRUE(terminal.shows(hideCursor)) << terminal.output();
    ASSERT_TRUE(terminal.shows("50 %")) << terminal.output();
    EXPECT_FALSE(terminal.echoes());
    terminal.type("\x03");
    EXPECT_EQ(terminal.end(), 130);
}

TEST(TerminalKeys, CtrlBackslashRestoresTheTerminalAsCtrlCDoes) {
    publishReleaseThatStalls();
    PseudoTerminal terminal({program}, 100);
    ASSERT_TRUE(terminal.shows("50 %")) << terminal.output();
    terminal.type("\x1c");
    EXPECT_EQ(terminal.end(), 131);
    EXPECT_TRUE(terminal.echoes());
    EXPECT_THAT(terminal.output(), HasSubstr("interrupted\r\n"));
}

// The earlier a signal comes, the less of the program is there to restore the terminal.
TEST(TerminalKeys, EndItWithoutHarmFromItsFirstTouchOfTheTerminalOn) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "ThreadSanitizer keeps signals back, and some of those that come this early for good";
#endif
    publishReleaseThatStalls();
    for (int i = 0; i < 20; ++i) {
        PseudoTerminal terminal({program}, 100);
        ASSERT_TRUE(comesTrue([&terminal] { return !terminal.echoes(); }));
        terminal.send(SIGINT);
        EXPECT_EQ(terminal.end(), 130);
        EXPECT_TRUE(terminal.echoes());
    }
}

TEST(TerminalJobs, InTheBackgroundItWritesLinesAndTouchesNothing) {
    publishRelease({core, extra});
    PseudoTerminal terminal(shellWithJobs(program + " & wait $!; echo status $?; stty -a"), 100);
    EXPECT_EQ(terminal.end(), 0);
    for (const std::string line : {"finished: core.pkg, 0.3 MB, its SHA-1 is the catalog's\r\n",
                                   "2 packages downloaded and checked, below\r\n", "status 0\r\n", " echo "})
        EXPECT_THAT(terminal.output(), HasSubstr(line));
    EXPECT_THAT(terminal.output(), Not(HasSubstr("\033")));
}

TEST(TerminalJobs, BackInTheForegroundItDraws) {
    publishReleaseThatStalls();
    PseudoTerminal terminal(shellWithJobs(program + " & read; fg"), 100);
    ASSERT_TRUE(terminal.shows("waiting for data from the packages' server")) << terminal.output();
    EXPECT_THAT(terminal.output(), Not(HasSubstr("\033")));
    terminal.type("\n");
    ASSERT_TRUE(terminal.shows(hideCursor)) << terminal.output();
    ASSERT_TRUE(terminal.shows("50 %")) << terminal.output();
    EXPECT_FALSE(terminal.echoes());
    terminal.type("\x03");
    EXPECT_EQ(terminal.end(), 130);
    EXPECT_TRUE(terminal.echoes());
}

TEST(TerminalJobs, StoppedItGoesOnInTheBackground) {
    publishRelease({core});
    misbehave("/core.pkg * slow 50000\n");
    PseudoTerminal terminal(shellWithJobs(program + "; echo stopped; bg; wait %1; echo status $?"), 100);
    ASSERT_TRUE(terminal.shows("downloading")) << terminal.output();
    terminal.type("\x1a");
    ASSERT_TRUE(terminal.shows("stopped\r\n")) << terminal.output();
    const std::size_t before = terminal.output().size();
    EXPECT_EQ(terminal.end(), 0);
    EXPECT_THAT(terminal.output(), HasSubstr("status 0\r\n"));
    EXPECT_THAT(terminal.output().substr(before), Not(HasSubstr("\033")));
}

// An engine that runs out of memory in the middle of its work, and gives null from then on.
struct OutOfMemory {
    const char *name;
    std::string line; // of the recording that is played
};

void PrintTo(const OutOfMemory &error, std::ostream *out) {
    *out << error.name;
}

class TerminalAfterAnError : public testing::TestWithParam<OutOfMemory> {};

TEST_P(TerminalAfterAnError, IsRestored) {
    const std::string recording = "/tmp/recording.jsonl";
    writeText(recording, recordingLine() + callLine(Function::freshInstall) + GetParam().line);
    PseudoTerminal terminal({"/usr/bin/env", "DOWNLOADMANAGER_PLAY=" + recording, program, "--library",
                             "/usr/local/Brovik/qrn/lib/downloadManager-player/libdownloadManager.so.1"},
                            100);
    EXPECT_EQ(terminal.end(), 70);
    EXPECT_TRUE(terminal.echoes());
    EXPECT_THAT(terminal.output(), HasSubstr("Cannot go on: std::bad_alloc\r\n"));
    EXPECT_THAT(terminal.output(), HasSubstr(showCursor));
}

constexpr std::chrono::milliseconds afterAMoment(200);

INSTANTIATE_TEST_SUITE_P(
    Errors, TerminalAfterAnError,
    testing::Values(OutOfMemory{"GetDownloadProgressInfo", progressLine(afterAMoment, std::nullopt)},
                    OutOfMemory{"GetDownloadedPackages", packagesLine(afterAMoment, std::nullopt)}),
    [](const auto &parameter) { return parameter.param.name; });

TEST(TerminalKeys, AreSilentlyIgnoredAndTheTerminalIsRestoredInTheEnd) {
    publishRelease({core});
    PseudoTerminal terminal({"/bin/sh", "-c", program + "; stty -a"}, 100);
    EXPECT_EQ(terminal.end(), 0);
    EXPECT_THAT(terminal.output(), HasSubstr(" echo "));
    EXPECT_GT(terminal.output().rfind(showCursor) + 1, terminal.output().rfind(hideCursor) + 1);
}

TEST(Terminal, WithoutTheNeededCommandsGetsPlainLines) {
    publishRelease({core});
    PseudoTerminal terminal({"/usr/bin/env", "TERM=dumb", program}, 100);
    EXPECT_EQ(terminal.end(), 0);
    EXPECT_THAT(terminal.output(), HasSubstr("preparing\r\n"));
    EXPECT_THAT(terminal.output(), Not(HasSubstr("\033")));
}

// A whole terminal that rearranges its lines when its window gets narrower.
TEST(Terminal, ThatRearrangesItsLinesKeepsOneBar) {
    publishRelease({core, extra});
    misbehave("/core.pkg * stall 150000\n");
    const auto tmux = [](const std::string &command) { return shell("LC_ALL=C.UTF-8 tmux " + command); };
    // With the lines that scrolled out of the window.
    const auto screen = [&tmux] { return tmux("capture-pane -p -S -"); };
    static_cast<void>(tmux("-f /dev/null new-session -d -x 110 -y 20 " + program));
    const auto stalls = [&screen] { return screen().find(" MB  waiting 0:02") != std::string::npos; };
    ASSERT_TRUE(comesTrue(stalls)) << screen();
    for (const std::string columns : {"60", "35", "100"}) {
        static_cast<void>(tmux("resize-window -x " + columns));
        const auto hasOneBar = [&screen] {
            const std::string text = screen();
            const std::size_t bar = text.find("\ndownloading  ");
            return bar != std::string::npos && bar == text.rfind("\ndownloading  ") &&
                   text.find_first_not_of('\n', text.find('\n', bar + 1)) == std::string::npos;
        };
        EXPECT_TRUE(comesTrue(hasOneBar)) << screen();
        EXPECT_THAT(screen(), HasSubstr("finished: extra.pkg"));
    }
    static_cast<void>(tmux("kill-server"));
}

} // namespace
