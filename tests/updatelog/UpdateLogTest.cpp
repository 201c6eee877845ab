// The installed program, observed from outside.
#include <algorithm>
#include <filesystem>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "Lines.h"
#include "Program.h"
#include "TextFile.h"

namespace {

using testing::HasSubstr;
using testing::Not;

const std::string program = "/usr/local/Brovik/qrn/bin/updatelog";
const std::string file = "/tmp/some.log";

Ended tell(const std::string &log, std::vector<std::string> arguments = {}) {
    writeText(file, log);
    std::vector<std::string> command{program, file};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return run(command);
}

TEST(UpdateLog, TellsTheNewestRunInFullAndTheOthersInALine) {
    const Ended ended = tell(idleCheck() + deafCheck());
    EXPECT_EQ(ended.err, "");
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.out,
                HasSubstr("run 1  2026-11-22.07:00:00  check for updates of version 1.0.0.5: had "
                          "nothing to do\nrun 2  2026-11-22.07:00:02  check for updates of version "
                          "1.0.0.5: failed\n"));
    EXPECT_THAT(ended.out, HasSubstr("  line 20: ERROR Tolvane response\n"));
    EXPECT_THAT(ended.out, HasSubstr("    To do: Read the lines before."));
    EXPECT_THAT(ended.out, Not(HasSubstr("line 10:")));
}

TEST(UpdateLog, EndsWithTheStatusOfTheNewestRunOrTheOneThatIsAskedFor) {
    const std::string log = deafCheck() + idleCheck();
    EXPECT_EQ(tell(log).status, 0);
    EXPECT_EQ(tell(log, {"--run", "1"}).status, 1);
    EXPECT_EQ(tell(log, {"--run", "2"}).status, 0);
    EXPECT_EQ(tell(log, {"--run", "3"}).status, 2);
}

TEST(UpdateLog, TellsARunThatIsAskedForAlone) {
    const Ended ended = tell(deafCheck() + idleCheck(), {"--run", "1"});
    EXPECT_THAT(ended.out, HasSubstr("To do:"));
    EXPECT_THAT(ended.out, Not(HasSubstr("run 2")));
}

TEST(UpdateLog, TellsTheNewestTenUnlessAllAreAskedFor) {
    std::string log;
    for (int run = 0; run < 30; ++run)
        log += idleCheck();
    EXPECT_THAT(tell(log).out, Not(HasSubstr("run 20 ")));
    EXPECT_THAT(tell(log).out, HasSubstr("run 21 "));
    EXPECT_THAT(tell(log, {"--all"}).out, HasSubstr("run 1 "));
}

TEST(UpdateLog, LeavesOutWhatIsOlderThanAskedFor) {
    const std::string log = deafCheck("2026-11-20") + idleCheck("2026-11-21");
    EXPECT_THAT(tell(log, {"--since", "2026-11-21"}).out, Not(HasSubstr("run 1 ")));
    EXPECT_THAT(tell(log, {"--since", "2026-11-20"}).out, HasSubstr("run 1 "));
    EXPECT_THAT(tell(log, {"--since", "2026-11-20.07:00:04"}).out, Not(HasSubstr("run 1 ")));
}

TEST(UpdateLog, TellsAMessageOfManyLinesOnOne) {
    EXPECT_THAT(tell(checkStarts(0) + at(1, "\n ERROR: Catalog Parsing Failed")).out,
                HasSubstr("  line 4: ERROR: Catalog Parsing Failed\n    The reply could not be read"));
}

TEST(UpdateLog, TellsTheCausesOfAFailureAndWhatHasSettledOne) {
    const std::string out =
        tell(checkStarts(0) + asks(0) + isAnswered(1) + at(2, "INFO : Start download: " + packageUrl) +
             at(3, "ERROR : Download Failed with CURL error code CURLE_PARTIAL_FILE for " + packageUrl) +
             at(3, "Resume Download: " + packageUrl) + at(4, "ERROR: Download Failed") + exits(4))
            .out;
    EXPECT_THAT(out, HasSubstr("PARTIAL_FILE for " + packageUrl +
                               "\n    The rest is asked for; nothing is lost.\n  line "));
    EXPECT_THAT(out, HasSubstr("\n    Causes: What the lines before say of a package;"));
}

TEST(UpdateLog, CountsTheUnknownLinesOfARunInOneLine) {
    EXPECT_THAT(tell("one\n" + idleCheck() + "two\n" + deafCheck()).out,
                HasSubstr("had nothing to do, 2 lines that nobody knows\nrun 2"));
    std::string many;
    for (int line = 0; line < 1001; ++line)
        many += "one\n";
    EXPECT_THAT(tell(many + idleCheck()).out, HasSubstr(", at least 1000 lines that nobody knows\n"));
}

TEST(UpdateLog, CutsALongLineBetweenCharacters) {
    std::string line = "x";
    while (line.size() < 2000)
        line += "\xC3\xA4";
    const Ended ended = tell(idleCheck() + line + "\n");
    EXPECT_THAT(ended.out, HasSubstr("\xC3\xA4 ...\n"));
}

TEST(UpdateLog, PrintsOneObjectARun) {
    const Ended ended = tell(idleCheck() + deafCheck(), {"--json"});
    std::istringstream lines(ended.out);
    std::string first;
    std::string second;
    ASSERT_TRUE(std::getline(lines, first) && std::getline(lines, second));
    EXPECT_EQ(nlohmann::json::parse(first).at("end"), "nothing to do");
    const nlohmann::json run = nlohmann::json::parse(second);
    EXPECT_EQ(run.at("run"), 2);
    EXPECT_EQ(run.at("kind"), "check");
    EXPECT_EQ(run.at("end"), "failed");
    EXPECT_EQ(run.at("well"), false);
    EXPECT_EQ(run.at("findings").at(0).at("id"), "no-reply");
}

TEST(UpdateLog, PrintsBytesThatAreNoTextAsJson) {
    const Ended ended = tell(idleCheck() + "\xff\xfe of another program\n", {"--json"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(nlohmann::json::parse(ended.out).at("unknownLines").size(), 1U);
}

TEST(UpdateLog, PrintsNothingAsJsonThatCommandsATerminal) {
    const std::string text = "\u009b2J \x7f \u202e of another program";
    const Ended ended = tell(idleCheck() + text + "\n", {"--json"});
    EXPECT_TRUE(std::all_of(ended.out.begin(), ended.out.end(), [](char byte) {
        return byte == '\n' || (byte >= ' ' && byte < '\x7f');
    })) << ended.out;
    EXPECT_EQ(nlohmann::json::parse(ended.out).at("unknownLines").front().at("text"), text);
}

TEST(UpdateLog, TellsANameThatHoldsALineEndOnOneLine) {
    const Ended ended = tell(checkStarts(0) + at(0, "INFO: Installing /One\nrun 7  ended well.pkg "));
    EXPECT_THAT(ended.out, HasSubstr("  /One run 7  ended well.pkg: not begun\n"));
}

const std::string page = "/tmp/some.html";

TEST(UpdateLog, WritesAPageOfTheRunsThatAreAskedFor) {
    std::string log;
    for (int run = 0; run < 12; ++run)
        log += idleCheck();
    const Ended ended = tell(log, {"--html", page});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.err, "");
    EXPECT_EQ(ended.out, tell(log).out);
    const std::string newest = readText(page);
    EXPECT_THAT(newest, testing::AllOf(testing::StartsWith("<!DOCTYPE html>"), HasSubstr("</html>")));
    EXPECT_THAT(newest, testing::AllOf(HasSubstr("id=\"run-12\""), HasSubstr("id=\"run-3\"")));
    EXPECT_THAT(newest, Not(HasSubstr("id=\"run-2\"")));
    EXPECT_EQ(tell(log, {"--html", page, "--run", "2"}).status, 0);
    EXPECT_THAT(readText(page), testing::AllOf(HasSubstr("id=\"run-2\""), Not(HasSubstr("id=\"run-12\""))));
    EXPECT_EQ(tell(log, {"--html", page, "--all"}).status, 0);
    EXPECT_THAT(readText(page), HasSubstr("id=\"run-1\""));
}

// No browser shows a hundred large runs with all their lines.
TEST(UpdateLog, LeavesTheLinesOfOldRunsOutOfAPageOfManyLargeOnes) {
    std::string run = checkStarts(0) + asks(0) + at(1, "INFO : Start download: " + packageUrl);
    for (int line = 0; line < 4000; ++line)
        run += "from another program, which has something to say\n";
    run += exits(2);
    std::string log;
    for (int number = 0; number < 12; ++number)
        log += run;
    EXPECT_EQ(tell(log, {"--html", page, "--all"}).status, 0);
    const std::string whole = readText(page);
    EXPECT_LT(whole.size(), std::size_t(20) << 20);
    EXPECT_THAT(whole, testing::AllOf(HasSubstr("id=\"run-1\""), Not(HasSubstr("id=\"run-1-line-1\"")),
                                      HasSubstr("id=\"run-12-line-"), HasSubstr("And 4007 lines more"),
                                      HasSubstr("And 1 more, which are too many for a page.")));
    EXPECT_EQ(tell(log, {"--html", page, "--run", "1"}).status, 0);
    EXPECT_THAT(readText(page), HasSubstr("id=\"run-1-line-1\""));
}

TEST(UpdateLog, WritesAPageWholeOrNotAtAll) {
    const std::string folder = "/tmp/pages";
    std::filesystem::create_directories(folder + "/folder");
    writeText(file, idleCheck());
    writeText(folder + "/page.html", "before");
    const Ended tooLarge = run({"bash", "-c",
                                "ulimit -f 1; trap '' XFSZ; " + program + " " + file + " --html " + folder +
                                    "/page.html >/dev/null"});
    EXPECT_EQ(tooLarge.status, 2);
    EXPECT_THAT(tooLarge.err, HasSubstr("File too large"));
    EXPECT_EQ(readText(folder + "/page.html"), "before");
    for (const std::string &place : {folder + "/folder", folder + "/nowhere/page.html", std::string()})
        EXPECT_EQ(tell(idleCheck(), {"--html", place}).status, 2) << place;
    EXPECT_EQ(tell("of another program\n", {"--html", folder + "/none.html"}).status, 2);
    EXPECT_EQ(tell(idleCheck(), {"--html", folder + "/none.html", "--run", "2"}).status, 2);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 2);
    std::filesystem::remove_all(folder);
}

TEST(UpdateLog, DoesNotPutThePageInTheLogsPlace) {
    const Ended ended = tell(idleCheck(), {"--html", "/tmp/../tmp/some.log"});
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.err, "updatelog: /tmp/../tmp/some.log is the log itself\n");
    EXPECT_EQ(readText(file), idleCheck());
}

TEST(UpdateLog, HasNoLogInWhatIsNone) {
    EXPECT_EQ(tell("").status, 2);
    EXPECT_EQ(tell("nothing of the engine's\n").status, 2);
    const Ended missing = run({program, "/tmp/no.log"});
    EXPECT_EQ(missing.status, 2);
    EXPECT_EQ(missing.err, "updatelog: /tmp/no.log: No such file or directory\n");
    const Ended folder = run({program, "/tmp"});
    EXPECT_EQ(folder.status, 2);
    EXPECT_THAT(folder.err, testing::StartsWith("updatelog: /tmp: "));
    EXPECT_THAT(folder.err, HasSubstr("Is a directory\n"));
}

TEST(UpdateLog, EndsWithStatus2WhereItCannotTell) {
    writeText(file, idleCheck());
    const std::string call = program + " " + file;
    for (const char *nowhere : {">/dev/full", "<&- >&-", "--json >/dev/full", "--html /tmp/some.html <&- >&-",
                                "--follow <&- >&-", "--follow >&-"})
        EXPECT_EQ(run({"timeout", "20", "bash", "-c", call + " " + nowhere}).status, 2) << nowhere;
    std::filesystem::remove(page);
}

TEST(UpdateLog, RefusesWrongCallsAndTellsItsUsage) {
    EXPECT_EQ(run({program, "--unknown"}).status, 2);
    EXPECT_EQ(run({program, "--run", "none"}).status, 2);
    for (const char *since :
         {"yesterday", "2026-11", "2026-11-22 07:00:00", "2026-11-22.07:00", "22-11-2026", ""})
        EXPECT_EQ(tell(idleCheck(), {"--since", since}).status, 2) << since;
    const Ended help = run({program, "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.out, HasSubstr("updatelog --since 2026-11-22"));
}

} // namespace
