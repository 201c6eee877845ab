// The installed program, observed from outside.
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

TEST(UpdateLog, HasNoLogInWhatIsNone) {
    EXPECT_EQ(tell("").status, 2);
    EXPECT_EQ(tell("nothing of the engine's\n").status, 2);
    const Ended missing = run({program, "/tmp/no.log"});
    EXPECT_EQ(missing.status, 2);
    EXPECT_EQ(missing.err, "updatelog: /tmp/no.log: No such file or directory\n");
    EXPECT_EQ(run({program, "/tmp"}).status, 2);
}

TEST(UpdateLog, RefusesWrongCallsAndTellsItsUsage) {
    EXPECT_EQ(run({program, "--follow"}).status, 2);
    EXPECT_EQ(run({program, "--run", "none"}).status, 2);
    const Ended help = run({program, "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.out, HasSubstr("updatelog --since 2026-11-22"));
}

} // namespace
