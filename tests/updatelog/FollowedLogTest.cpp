// A log that grows, is cut and replaced: its text, and the installed program that follows it.
#include <atomic>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Background.h"
#include "GrowingLog.h"
#include "Lines.h"
#include "LogReader.h"
#include "LogTail.h"
#include "Program.h"
#include "PseudoTerminal.h"
#include "TextFile.h"

namespace {

using News = LogTail::News;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

const std::string program = "/usr/local/Brovik/qrn/bin/updatelog";
const std::string file = "/tmp/followed.log";
const std::string told = "/tmp/told";

void append(const std::string &text) {
    std::ofstream log(file, std::ios::binary | std::ios::app);
    log << text;
}

// --- what a reader gets

class Growing : public testing::Test {
protected:
    // The lines' texts that there are to be read now.
    std::vector<std::string> read() {
        std::vector<std::string> texts;
        while (const std::optional<LogEntry> entry = m_reader.next())
            texts.push_back(entry->text);
        return texts;
    }

    GrowingLog m_log;

private:
    std::istream m_stream{&m_log};
    LogReader m_reader{m_stream};
};

TEST_F(Growing, LogIsReadUpToItsLastMessageUntilNothingMoreComes) {
    m_log.add(at(1, "INFO: one") + at(2, "INFO: two"));
    EXPECT_THAT(read(), ElementsAre("INFO: one"));
    m_log.settle();
    EXPECT_THAT(read(), ElementsAre("INFO: two"));
}

TEST_F(Growing, LogGivesAMessageOfManyLinesWhole) {
    const std::string reply =
        at(1, "INFO :Tolvane Response - <productresponse>\n <error/>\n</productresponse>\n");
    for (std::size_t half = 1; half < reply.size(); ++half) {
        m_log.add(reply.substr(0, half));
        EXPECT_THAT(read(), IsEmpty()) << half;
        m_log.add(reply.substr(half) + at(2, "INFO: next"));
        EXPECT_THAT(read(), ElementsAre(HasSubstr("</productresponse>"))) << half;
        m_log.settle();
        EXPECT_THAT(read(), ElementsAre("INFO: next"));
    }
}

TEST_F(Growing, LogKeepsHalfALineUntilItsEndComesOrNothingMore) {
    m_log.add("Installed /One");
    m_log.settle();
    EXPECT_THAT(read(), IsEmpty());
    m_log.add(".pkg successfully\n Inst");
    m_log.settle();
    EXPECT_THAT(read(), ElementsAre("Installed /One.pkg successfully"));
    m_log.finish();
    EXPECT_THAT(read(), ElementsAre(" Inst"));
}

TEST_F(Growing, LogHoldsNoMoreBackThanItMay) {
    std::string lines;
    while (lines.size() <= GrowingLog::most)
        lines += "from another program\n";
    m_log.add(lines);
    EXPECT_THAT(read(), testing::Each("from another program"));
    m_log.add(std::string(GrowingLog::most + 1, 'x'));
    EXPECT_THAT(read(), testing::SizeIs(1));
}

class Tail : public testing::Test {
protected:
    void SetUp() override { std::filesystem::remove(file); }

    void expect(News news, const std::string &text) {
        const LogTail::Look look = m_tail.look();
        EXPECT_EQ(look.news, news);
        EXPECT_EQ(look.text, text);
    }

    LogTail m_tail{file};
};

TEST_F(Tail, OfALogIsWhatHasComeSinceTheLook) {
    expect(News::none, "");
    EXPECT_FALSE(m_tail.isThere());
    append("one\n");
    expect(News::isThere, "one\n");
    expect(News::none, "");
    append("two\n");
    expect(News::none, "two\n");
}

TEST_F(Tail, OfALogThatIsCutOrWrittenAnewIsAllOfIt) {
    append("one\ntwo\n");
    expect(News::isThere, "one\ntwo\n");
    writeText(file, "three\n");
    expect(News::wasCut, "three\n");
    writeText(file, "");
    expect(News::wasCut, "");
    expect(News::none, "");
    append("four\n");
    expect(News::none, "four\n");
    writeText(file, "five\n"); // of the same length
    expect(News::wasCut, "five\n");
    writeText(file, "six\nand seven\n");
    expect(News::wasCut, "six\nand seven\n");
}

TEST_F(Tail, OfALogThatIsReplacedIsFirstTheOldOnesEnd) {
    append("one\n");
    expect(News::isThere, "one\n");
    std::filesystem::rename(file, file + ".1");
    expect(News::none, "");
    std::ofstream(file + ".1", std::ios::app) << "two\n";
    append("three\n");
    expect(News::none, "two\n");
    expect(News::replaced, "three\n");
    std::filesystem::remove(file);
    expect(News::none, "");
}

TEST_F(Tail, OfALargeLogComesInParts) {
    const std::string text(LogTail::most + 1, 'x');
    append(text);
    EXPECT_FALSE(m_tail.look().isAll);
    const LogTail::Look rest = m_tail.look();
    EXPECT_TRUE(rest.isAll);
    EXPECT_EQ(rest.text, "x");
}

// --- the program

// Follows into a file.
class Followed : public testing::Test {
protected:
    void begin(const std::string &log) {
        writeText(file, log);
        begin();
    }
    void begin() {
        m_program.emplace(
            std::vector<std::string>{"bash", "-c", "exec " + program + " " + file + " --follow >" + told});
    }
    void TearDown() override {
        if (m_program) {
            m_program->send(SIGINT);
            EXPECT_EQ(m_program->wait().status, 128 + SIGINT);
        }
        std::filesystem::remove(file);
        std::filesystem::remove(told);
    }
    void expectTold(const std::string &text) {
        EXPECT_TRUE(comesTrue([&text] { return readText(told).find(text) != std::string::npos; },
                              std::chrono::seconds(20)))
            << text << "\nis not in\n"
            << readText(told);
    }

private:
    std::optional<Program> m_program;
};

TEST_F(Followed, LogIsToldFromItsNewestRunOnLineByLine) {
    begin(deafCheck() + checkStarts(5));
    expectTold("run 2  2026-11-22.07:00:05  run of no known kind of version 1.0.0.5: stops in its midst\n");
    const std::string reply = at(7, "INFO :Tolvane Response - ");
    append(asks(6) + reply.substr(0, 30));
    expectTold("2026-11-22.07:00:06  INFO: Enter sendTolvaneUpdateRequest\n");
    append(reply.substr(30) + at(7, "INFO : Processing Tolvane Response") +
           at(7, "INFO : TolvaneHandler - Update Available") + at(7, "ERROR Tolvane response"));
    expectTold("2026-11-22.07:00:07  INFO :Tolvane Response -\n");
    expectTold("2026-11-22.07:00:07  ERROR Tolvane response\n    ");
    expectTold("\n    To do: ");
    append(exits(8));
    expectTold("run 2  2026-11-22.07:00:05  check for updates of version 1.0.0.5: failed\n");
    append("from another program\n" + idleCheck());
    expectTold("                     from another program\n");
    expectTold("run 3  2026-11-22.07:00:00  check for updates of version 1.0.0.5: had nothing to do\n");
    EXPECT_THAT(readText(told), Not(HasSubstr("run 1 ")));
    EXPECT_THAT(readText(told), Not(HasSubstr("\033")));
}

TEST_F(Followed, LogMayGrowWithoutAPause) {
    writeText(file, checkStarts(0));
    std::atomic<bool> isTold{false};
    std::thread writer([&isTold] {
        while (!isTold) {
            append(at(1, "INFO: Checking HashSUM : " + packagePath));
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    });
    begin();
    expectTold("run 1  2026-11-22.07:00:00");
    expectTold("2026-11-22.07:00:01  INFO: Checking HashSUM : ");
    isTold = true;
    writer.join();
}

TEST_F(Followed, LogMayComeLater) {
    begin();
    expectTold(file + " is not there yet\n");
    append(idleCheck());
    expectTold(file + " is there\n2026-11-22.07:00:00  Product updater is started\n");
    expectTold(": had nothing to do\n");
}

TEST_F(Followed, LogMayBeCutAndReplaced) {
    begin(checkStarts(0) + asks(0));
    expectTold("run 1 ");
    writeText(file, isAnswered(1, "<productresponse status=\"1\"/>"));
    expectTold(file + " was cut; from its beginning:\n");
    expectTold("2026-11-22.07:00:01  INFO : Processing Tolvane Response\n");
    writeText(file + ".new",
              at(1, "INFO : TolvaneHandler - No Update") + at(1, "ERROR Tolvane response") + exits(1));
    std::filesystem::rename(file + ".new", file);
    expectTold(file + " was replaced; from the beginning of the new one:\n");
    expectTold("run 1  2026-11-22.07:00:00  check for updates of version 1.0.0.5: had nothing to do\n");
}

TEST(FollowedLog, ThatIsNoneOrCannotBeToldEndsWithStatus2) {
    const Ended folder = run({program, "/tmp", "--follow"});
    EXPECT_EQ(folder.status, 2);
    EXPECT_EQ(folder.err, "updatelog: /tmp: Is a directory\n");
    const Ended device = run({"timeout", "20", program, "/dev/null", "--follow"});
    EXPECT_EQ(device.status, 2);
    EXPECT_EQ(device.err, "updatelog: /dev/null is no file, so it cannot be followed\n");
    writeText(file, idleCheck());
    const Ended full = run({"bash", "-c", program + " " + file + " --follow >/dev/full"});
    EXPECT_EQ(full.status, 2);
    EXPECT_THAT(full.err, HasSubstr("No space left on device"));
    for (const char *other : {"--all", "--json", "--run=1", "--since=2026-11-22", "--html=/tmp/page.html"})
        EXPECT_EQ(run({program, file, "--follow", other}).status, 2) << other;
}

// --- in a terminal

const std::string hideCursor = "\033[?25l";
const std::string showCursor = "\033[?25h";

TEST(FollowedInATerminal, LogHasALineBelowThatSaysWhereItsRunIs) {
    writeText(file, checkStarts(0) + asks(0) + isAnswered(1) + at(2, "INFO : Start download: " + packageUrl));
    PseudoTerminal terminal({program, file, "--follow"}, 100);
    EXPECT_TRUE(terminal.shows("run 1  check for updates  0 of 1 file  last line 0:0")) << terminal.output();
    EXPECT_FALSE(terminal.echoes());
    append(at(3, "Successfully downloaded: " + packageUrl));
    EXPECT_TRUE(terminal.shows("2026-11-22.07:00:03  Successfully downloaded")) << terminal.output();
    EXPECT_TRUE(terminal.shows("run 1  check for updates  1 of 1 file  last line")) << terminal.output();
    append("\033[2J of another program\n");
    EXPECT_TRUE(terminal.shows("?[2J of another program")) << terminal.output();
    terminal.resize(30);
    EXPECT_TRUE(terminal.shows("\033[Krun 1  check for updates\033[J")) << terminal.output();
    terminal.type("\x03");
    EXPECT_EQ(terminal.end(), 128 + SIGINT);
    EXPECT_GT(terminal.output().rfind(showCursor) + 1, terminal.output().rfind(hideCursor) + 1);
}

TEST(FollowedInATerminal, LogLeavesTheTerminalAsItWasWhateverEndsIt) {
    writeText(file, idleCheck());
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        PseudoTerminal terminal(
            {"/bin/bash", "-c", "ulimit -c 0; exec " + program + " " + file + " --follow"}, 100);
        ASSERT_TRUE(terminal.shows("last line")) << terminal.output();
        EXPECT_FALSE(terminal.echoes());
        terminal.send(signal);
        EXPECT_EQ(terminal.end(), 128 + signal);
        EXPECT_TRUE(terminal.echoes());
        EXPECT_GT(terminal.output().rfind(showCursor) + 1, terminal.output().rfind(hideCursor) + 1);
    }
}

TEST(FollowedInATerminal, LogThatBecomesNoneIsToldOnALineOfItsOwn) {
    writeText(file, idleCheck());
    PseudoTerminal terminal({program, file, "--follow"}, 100);
    ASSERT_TRUE(terminal.shows("last line")) << terminal.output();
    std::filesystem::remove(file);
    std::filesystem::create_directory(file);
    EXPECT_EQ(terminal.end(), 2);
    EXPECT_TRUE(terminal.echoes());
    const std::string shown = terminal.output();
    const std::size_t cleared = shown.find("\033[K", shown.rfind("last line"));
    ASSERT_NE(cleared, std::string::npos) << shown;
    EXPECT_THAT(shown.substr(cleared), HasSubstr("updatelog: " + file + ": Is a directory"));
    std::filesystem::remove(file);
}

TEST(FollowedInATerminal, LogIsLeftThoughTheTerminalTakesNothing) {
    writeText(file, idleCheck());
    PseudoTerminal terminal({program, file, "--follow"}, 100);
    ASSERT_TRUE(terminal.shows("last line")) << terminal.output();
    terminal.fill();
    EXPECT_FALSE(terminal.echoes());
    terminal.send(SIGTERM);
    EXPECT_EQ(terminal.endsUnread(), 128 + SIGTERM);
    EXPECT_TRUE(terminal.echoes());
}

TEST(FollowedInATerminal, LogIsLeftWhileStopped) {
    writeText(file, idleCheck());
    PseudoTerminal terminal(
        {"/bin/bash", "-c", "set -m; " + program + " " + file + " --follow; stty -a; echo 'and on'; fg"},
        100);
    ASSERT_TRUE(terminal.shows("last line")) << terminal.output();
    terminal.type("\x1a");
    ASSERT_TRUE(terminal.shows(showCursor)) << terminal.output();
    ASSERT_TRUE(terminal.shows(" echo ")) << terminal.output();
    ASSERT_TRUE(terminal.shows("and on")) << terminal.output();
    ASSERT_TRUE(terminal.shows("last line")) << terminal.output();
    EXPECT_FALSE(terminal.echoes());
    terminal.type("\x03");
    EXPECT_EQ(terminal.end(), 128 + SIGINT);
}

} // namespace
