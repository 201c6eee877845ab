// The installed releasebench's matrix and diff, run and observed from outside.
#include <filesystem>
#include <functional>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "Observed.h"
#include "Program.h"
#include "PseudoTerminal.h"
#include "TextFile.h"

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;
using testing::AllOf;
using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

const std::string bench = "/usr/local/Brovik/qrn/bin/releasebench";
const std::string work = "/tmp/matrix-work";
const std::string folder = work + "/release";
const std::string other = work + "/other";
const std::string page = work + "/matrix.html";

Ended benchWith(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), bench);
    return run(arguments);
}

// A new release and a copy of it.
class MatrixCommand : public testing::Test {
protected:
    void SetUp() override {
        fs::remove_all(work);
        fs::create_directories(work);
        ASSERT_EQ(benchWith({"init", folder}).status, 0);
        fs::copy(folder, other, fs::copy_options::recursive);
    }
    ~MatrixCommand() override {
        for (const fs::directory_entry &entry : fs::directory_iterator(work))
            EXPECT_THAT(entry.path().filename().string(), Not(StartsWith("."))) << entry;
    }

    static void changeOther(const std::function<void(Json &)> &changing) {
        Json release = Json::parse(readText(other + "/release.json"));
        changing(release);
        writeText(other + "/release.json", release.dump(1));
    }
};

TEST_F(MatrixCommand, TellsTheMatrixAndTheWaysInTables) {
    EXPECT_EQ(benchWith({"matrix", folder}).out,
              R"(What an update installs, affiliate 105, application quaformac
product \ system                below 10.6.0           10.6.0 to 10.8.9       above 10.8.9
below 1.0.0.0                   -                      -                      -
1.0.0.0 to 1.0.0.9              a: 2 -> 1.0.1.0 (129)  b: 3 -> 1.0.1.0 (130)  a: 2 -> 1.0.1.0 (129)
above 1.0.0.9 to below 1.0.1.0  -                      -                      -
from 1.0.1.0                    -                      -                      -
  2 -> 1.2.3.4 (56): 2 packages are installed, and version 1.2.3.4, build 56, is recorded
  -: nothing is offered
  a: repost/1.0.1.0/services.pkg, 1.0.1.0/toolbar.pkg
  b: repost/1.0.1.0/services.pkg, 1.0.1.0/platform.pkg, 1.0.1.0/toolbar.pkg

The way to the newest version, 1.0.1.0
product \ system                below 10.6.0  10.6.0 to 10.8.9  above 10.8.9
below 1.0.0.0                   never         never             never
1.0.0.0 to 1.0.0.9              1 update      1 update          1 update
above 1.0.0.9 to below 1.0.1.0  never         never             never
from 1.0.1.0                    there         there             there

product below 1.0.0.0 on every system: never reaches 1.0.1.0: nothing is offered
product above 1.0.0.9 to below 1.0.1.0 on every system: never reaches 1.0.1.0: nothing is offered
)");
}

TEST_F(MatrixCommand, TellsProgramsTheSame) {
    const Json told = Json::parse(benchWith({"matrix", folder, "--format", "json"}).out);
    EXPECT_EQ(told["newest"], "1.0.1.0");
    EXPECT_EQ(told["products"][1], Json::parse(R"({"label": "1.0.0.0 to 1.0.0.9", "tried": "1.0.0.0",
        "from": "1.0.0.0", "to": "1.0.0.9"})"));
    EXPECT_EQ(told["systems"][2]["above"], "10.8.9");
    EXPECT_EQ(told["cells"][1][2], Json::parse(R"({"outcome": "done", "reason": "", "packages": 2, "set": 0,
        "version": "1.0.1.0", "build": "129", "raised": true,
        "way": {"newest": true, "updates": 1, "version": "1.0.1.0", "end": "nothing-offered"}})"));
    EXPECT_EQ(told["sets"][0]["installed"],
              Json::parse(R"(["repost/1.0.1.0/services.pkg", "1.0.1.0/toolbar.pkg"])"));
    EXPECT_THAT(told["findings"], SizeIs(2));
}

TEST_F(MatrixCommand, FollowsATerminalsWidthInBlocksOfColumns) {
    PseudoTerminal terminal({bench, "matrix", folder}, 70);
    EXPECT_EQ(terminal.end(), 0);
    std::istringstream lines(terminal.output());
    int heads = 0;
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(line.size() - (line.find('\x1b') != std::string::npos ? 20U : 1U), 70U) << line;
        heads += line.find("product \\ system") == 0 ? 1 : 0;
    }
    EXPECT_EQ(heads, 5); // three columns of packages, two blocks of ways
}

TEST_F(MatrixCommand, WritesAPageWholeOrNotAtAll) {
    writeText(page, "before");
    ASSERT_EQ(benchWith({"matrix", folder, "--html", page}).status, 0);
    EXPECT_THAT(readText(page), AllOf(StartsWith("<!DOCTYPE html>"), HasSubstr("</html>")));

    writeText(page, "before");
    fs::create_directories(work + "/none.html");
    EXPECT_EQ(benchWith({"matrix", folder, "--html", work + "/none.html"}).status, 2);
    EXPECT_EQ(
        run({"bash", "-c", "ulimit -f 1; trap '' XFSZ; " + bench + " matrix " + folder + " --html " + page})
            .status,
        2);
    EXPECT_EQ(readText(page), "before");
}

TEST_F(MatrixCommand, AsksAsWhomItIsTold) {
    const Ended nobody = benchWith({"matrix", folder, "--affiliate", "7"});
    EXPECT_EQ(nobody.status, 0);
    EXPECT_THAT(nobody.out, HasSubstr("affiliate 7, application quaformac"));
    EXPECT_THAT(nobody.out, Not(HasSubstr("-> 1.0.1.0")));
    EXPECT_EQ(benchWith({"matrix", work}).status, 2);
    EXPECT_EQ(benchWith({"matrix", folder, "--format", "yaml"}).status, 2);
}

TEST_F(MatrixCommand, DiffOfTheSameReleaseTellsNothing) {
    const Ended ended = benchWith({"diff", folder, other});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(
        ended.out,
        "Affiliate 105, application quaformac; before: newest version 1.0.1.0; now: newest version 1.0.1.0\n"
        "Nothing changes for any machine.\n");
}

TEST_F(MatrixCommand, DiffEndsWellWhereNobodyIsWorseOff) {
    changeOther([](Json &release) { release["catalogs"][0]["hotFixes"][0].erase("maxSystem"); });
    const Ended ended = benchWith({"diff", folder, other});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(
        ended.out,
        R"(Affiliate 105, application quaformac; before: newest version 1.0.1.0; now: newest version 1.0.1.0
product 1.0.0.0 to 1.0.0.9 on system above 10.8.9
  before: 2 -> 1.0.1.0 (129); newest: 1 update
  now:    3 -> 1.0.1.0 (130); newest: 1 update
  + 1.0.1.0/platform.pkg
1 changes, 0 of them for the worse
)");
}

TEST_F(MatrixCommand, DiffTellsWhoIsWorseOffByItsStatusToo) {
    changeOther([](Json &release) { release["catalogs"][0]["hotFixes"][0]["maxSystem"] = "10.8.0"; });
    const Ended ended = benchWith({"diff", folder, other});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.out, HasSubstr("product 1.0.0.0 to 1.0.0.9 on system above 10.8.0 to 10.8.9\n"));
    EXPECT_THAT(ended.out, HasSubstr("  worse (lower-build): gets build 129, before 130\n"));
    const Json told = Json::parse(benchWith({"diff", folder, other, "--format", "json"}).out);
    ASSERT_THAT(told["changes"], SizeIs(1));
    EXPECT_EQ(told["changes"][0]["systems"][0]["to"], "10.8.9");
    EXPECT_EQ(told["changes"][0]["worse"][0]["rule"], "lower-build");
    EXPECT_EQ(told["changes"][0]["worse"][1]["rule"], "package-lost");
    EXPECT_EQ(benchWith({"diff", folder, work}).status, 2);
}

} // namespace
