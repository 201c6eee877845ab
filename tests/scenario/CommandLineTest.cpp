// What the command line makes of its arguments and of its log.

#include <filesystem>
#include <vector>

#include <gtest/gtest.h>

#include "ExpectedTrace.h"
#include "Observed.h"
#include "Paths.h"
#include "Release.h"
#include "TextFile.h"
#include "Updater.h"

namespace {

struct NamedArguments {
    const char *name;
    std::vector<std::string> arguments;
};

void expectNothingWasDone() {
    EXPECT_EQ(scriptedAnswers(), std::vector<std::string>());
    EXPECT_FALSE(std::filesystem::exists(keyCoreDownloadCache));
    EXPECT_FALSE(std::filesystem::exists(waitingMarker));
    EXPECT_FALSE(std::filesystem::exists(installerScriptPath));
    EXPECT_EQ(readText(packageListPath), "/tmp/waiting.pkg\n");
}

class WrongArgumentCount : public testing::TestWithParam<NamedArguments> {};

TEST_P(WrongArgumentCount, IsTracedAndEndsTheRunWith255) {
    writeText(packageListPath, "/tmp/waiting.pkg\n");
    const Ended ended = run(updaterWith(GetParam().arguments));
    EXPECT_EQ(ended.status, 255);
    EXPECT_EQ(ended.out, "");
    EXPECT_EQ(ended.err, "");
    EXPECT_EQ(transcript(), ">Product updater is started\n"
                            ">Product updater: Error - Arguments are missing\n");
    expectNothingWasDone();
}

INSTANTIATE_TEST_SUITE_P(
    CommandLine, WrongArgumentCount,
    testing::Values(NamedArguments{"None", {}}, NamedArguments{"One", {"1.0.0.5"}},
                    NamedArguments{"Two", {"1.0.0.5", "105-1"}},
                    NamedArguments{"Four", {"1.0.0.5", "105-1", "Install", "now"}},
                    NamedArguments{"FourWithAnEmptyOne", {"1.0.0.5", "105-1", "Install", ""}},
                    NamedArguments{"Five", {"1.0.0.5", "105-1", "CheckForInstall", "right", "now"}}),
    caseName);

class UnknownMode : public testing::TestWithParam<NamedArguments> {};

TEST_P(UnknownMode, DoesNothingAndEndsWith0) {
    writeText(packageListPath, "/tmp/waiting.pkg\n");
    const std::vector<std::string> &arguments = GetParam().arguments;
    const Ended ended = run(updaterWith(arguments));
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.out, "");
    EXPECT_EQ(ended.err, "");
    EXPECT_EQ(transcript(), ">Product updater is started\n"
                            ">Product updater: CurProdVersion: " +
                                arguments[0] + " CurProdAffId: " + arguments[1] +
                                "\n"
                                ">INFO : DownloadController - ProductUpdate\n"
                                ">Product updater is exited\n");
    expectNothingWasDone();
}

INSTANTIATE_TEST_SUITE_P(
    CommandLine, UnknownMode,
    testing::Values(NamedArguments{"LowerCaseCheck", {"1.0.0.5", "105-1", "checkforinstall"}},
                    NamedArguments{"UpperCaseInstall", {"1.0.0.5", "105-1", "INSTALL"}},
                    NamedArguments{"LowerCaseInstall", {"1.0.0.5", "105-1", "install"}},
                    NamedArguments{"TrailingBlank", {"1.0.0.5", "105-1", "Install "}},
                    NamedArguments{"BeginningOfAMode", {"1.0.0.5", "105-1", "Check"}},
                    NamedArguments{"MoreThanAMode", {"1.0.0.5", "105-1", "InstallNow"}},
                    NamedArguments{"Empty", {"1.0.0.5", "105-1", ""}},
                    NamedArguments{"EverythingEmpty", {"", "", ""}},
                    NamedArguments{"Percent", {"%s%n%d", "100%", "%s"}},
                    NamedArguments{"NoUtf8", {"\xff\xfe", "\xc3\x28\x80", "Caf\xe9"}},
                    NamedArguments{"VeryLong",
                                   {std::string(120000, '1'), std::string(120000, '2'), "other"}}),
    caseName);

TEST(CommandLine, SendsTheAffiliateIdUpToItsFirstDash) {
    answerWith("<productresponse status=\"1\"/>");
    const std::vector<std::string> ids = {"105-1", "105-1-2", "105", "-7", ""};
    for (const std::string &id : ids)
        EXPECT_EQ(run(updaterWith({"1.0.0.5", id, "CheckForInstall"})).status, 0);
    const std::vector<std::string> requests = updateRequests();
    ASSERT_EQ(requests.size(), ids.size());
    const std::vector<std::string> sent = {"105", "105", "105", "", ""};
    for (std::size_t i = 0; i < ids.size(); ++i) {
        EXPECT_NE(requests[i].find("<affid>" + sent[i] + "</affid>"), std::string::npos) << requests[i];
        EXPECT_NE(requests[i].find("<partner affid=\"" + sent[i] + "\""), std::string::npos) << requests[i];
    }
}

// --- what the starter hands on

// A check, started by a shell that does something first.
Ended checkStartedBy(const std::string &starter) {
    return run({"bash", "-c", starter, "bash", updater, "1.0.0.5", "105-1", "CheckForInstall"});
}

struct NamedStarter {
    const char *name;
    const char *starter;
};

class ClosedStream : public testing::TestWithParam<NamedStarter> {};

TEST_P(ClosedStream, LeadsNothingIntoTheLog) {
    offer({publishPackage(scriptedHost + "/One.pkg", someBytes(1000))});
    EXPECT_EQ(checkStartedBy(GetParam().starter).status, 0);
    EXPECT_EQ(transcript(), tracedUntilPackages() + tracedThreads(1) +
                                tracedPackage(scriptedHost + "/One.pkg", packagePath("One.pkg")) +
                                tracedPlainConfiguration() + tracedEnd);
    EXPECT_EQ(readText(packagePath("One.pkg")), someBytes(1000));
}

INSTANTIATE_TEST_SUITE_P(CommandLine, ClosedStream,
                         testing::Values(NamedStarter{"Input", "exec \"$@\" <&-"},
                                         NamedStarter{"Output", "exec \"$@\" >&-"},
                                         NamedStarter{"Error", "exec \"$@\" 2>&-"},
                                         NamedStarter{"All", "exec \"$@\" <&- >&- 2>&-"}),
                         caseName);

TEST(CommandLine, LetsNobodyElseWriteItsFiles) {
    offer({publishPackage(scriptedHost + "/One.pkg", someBytes(1000))});
    EXPECT_EQ(checkStartedBy("umask 0; exec \"$@\"").status, 0);
    EXPECT_TRUE(std::filesystem::exists(packagePath("One.pkg")));
    EXPECT_EQ(
        shell("find " + keyCoreDownloadCache + " " + traceLogPath + " " + packageListPath + " -perm /022"),
        "");
}

TEST(Log, GrowsFromRunToRun) {
    writeText(traceLogPath, "2001-01-01.00:00:00 : Product updater is exited\n");
    EXPECT_EQ(run(updaterWith({"1.0.0.5"})).status, 255);
    EXPECT_EQ(run(updaterWith({"1.0.0.5", "105-1", "other"})).status, 0);
    EXPECT_EQ(transcript(), ">Product updater is exited\n"
                            ">Product updater is started\n"
                            ">Product updater: Error - Arguments are missing\n"
                            ">Product updater is started\n"
                            ">Product updater: CurProdVersion: 1.0.0.5 CurProdAffId: 105-1\n"
                            ">INFO : DownloadController - ProductUpdate\n"
                            ">Product updater is exited\n");
}

TEST(Log, ThatCannotBeOpenedChangesNothingElse) {
    std::filesystem::create_directory(traceLogPath);
    offer({publishPackage(scriptedHost + "/One.pkg", someBytes(1000))});

    const Ended wrong = run(updaterWith({"1.0.0.5"}));
    EXPECT_EQ(wrong.status, 255);
    EXPECT_EQ(wrong.out + wrong.err, "");

    const Ended check = checkForInstall();
    EXPECT_EQ(check.status, 0);
    EXPECT_EQ(check.out, "value is === >>> " + plainProduct + "\n");
    EXPECT_EQ(check.err, "No result\n");
    EXPECT_EQ(readText(packageListPath), packagePath("One.pkg") + "\n");
    EXPECT_TRUE(std::filesystem::exists(waitingMarker));
    EXPECT_EQ(readText(packagePath("One.pkg")), someBytes(1000));
    EXPECT_TRUE(std::filesystem::is_empty(traceLogPath));
}

} // namespace
