// The installed host program without a terminal: its lines, its statuses, its retries.
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <sstream>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "Background.h"
#include "Observed.h"
#include "Products.h"
#include "Program.h"
#include "PseudoTerminal.h"
#include "Release.h"
#include "TextFile.h"

namespace {

using Json = nlohmann::json;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

const std::string program = "/usr/local/Brovik/qrn/bin/freshinstall";
const std::string serviceTarget = "/velbrin/1.0.0.0/?reqtype=mac_web";
const std::string configuration = "/private/tmp/configuration.plist";

const Product core = {"core.pkg", someBytes(300000), "2.0.0.0", "210"};
const Product extra = {"extra.pkg", someBytes(200000), "2.1.0.0", "214"};

std::vector<std::string> linesOf(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream input(text);
    for (std::string line; std::getline(input, line);)
        lines.push_back(line);
    return lines;
}

std::vector<Json> objectsOf(const std::string &text) {
    std::vector<Json> objects;
    for (const std::string &line : linesOf(text))
        objects.push_back(Json::parse(line));
    return objects;
}

std::vector<Json> eventsNamed(const std::vector<Json> &objects, const std::string &name) {
    std::vector<Json> found;
    for (const Json &object : objects) {
        if (object["event"] == name)
            found.push_back(object);
    }
    return found;
}

// --- exit statuses

struct End {
    const char *name;
    std::string script; // of the scripted servers
    std::vector<std::string> arguments;
    int status;
    std::string outcome;
    unsigned retries = 0; // made
};

void PrintTo(const End &end, std::ostream *out) {
    *out << end.name;
}

class FreshInstallEnd : public testing::TestWithParam<End> {};

TEST_P(FreshInstallEnd, HasItsStatus) {
    publishRelease({core, extra});
    misbehave(GetParam().script);
    std::vector<std::string> command{program, "--json"};
    command.insert(command.end(), GetParam().arguments.begin(), GetParam().arguments.end());
    const Ended ended = run(command);
    EXPECT_EQ(ended.status, GetParam().status);
    EXPECT_EQ(ended.err, "");
    const std::vector<Json> objects = objectsOf(ended.out);
    ASSERT_FALSE(objects.empty());
    EXPECT_EQ(objects.front(), Json({{"event", "phase"}, {"phase", "preparing"}}));
    EXPECT_EQ(objects.back()["event"], "end");
    EXPECT_EQ(objects.back()["outcome"], GetParam().outcome);
    EXPECT_EQ(objects.back()["status"], GetParam().status);
    EXPECT_EQ(eventsNamed(objects, "retry").size(), GetParam().retries);
}

INSTANTIATE_TEST_SUITE_P(
    FreshInstall, FreshInstallEnd,
    testing::Values(
        End{"Done", "", {}, 0, "done"}, //
        End{"NoService", serviceTarget + " * drop\n", {}, 1, "failed-before-downloads"},
        End{"NoPackage", "HEAD:/extra.pkg * drop\n", {}, 1, "failed-before-downloads"},
        End{"DownloadFailed", "/core.pkg * status 404 Not here\n", {}, 2, "downloads-failed"},
        End{"AllFailWithoutAByte",
            "/core.pkg * status 503\n/extra.pkg * drop\n",
            {"--retry", "1"},
            2,
            "downloads-failed",
            1},
        End{"WrongOnEveryTry", "/core.pkg * wrong\n", {}, 2, "downloads-failed"},
        End{"BrokenOffOnEveryTry", "/core.pkg * cut 1000\n", {}, 2, "downloads-failed"},
        End{"WrongOnce", "/core.pkg 1 wrong\n", {}, 0, "done"},
        End{"BrokenOffOnce", "/core.pkg 1 cut 1000\n", {}, 0, "done"},
        End{"RetrySucceeds", "/core.pkg 1 reset 1000\n", {"--retry", "3"}, 0, "done", 1},
        End{"SecondRetrySucceeds",
            "/core.pkg 1 reset 1000\n/core.pkg 2 reset 1000\n",
            {"--retry", "3"},
            0,
            "done",
            2},
        End{"RetriesRunOut", "/core.pkg * reset 1000\n", {"--retry", "2"}, 2, "downloads-failed", 2},
        End{"RetryRepeatsAnEarlyFailure", serviceTarget + " 1 drop\n", {"--retry", "1"}, 0, "done", 1},
        End{"RetriesOfAnEarlyFailureRunOut",
            serviceTarget + " * drop\n",
            {"--retry", "2"},
            1,
            "failed-before-downloads",
            2},
        End{"NoRetryOfAPackageGivenUp", "/core.pkg * wrong\n", {"--retry", "2"}, 2, "downloads-failed"},
        End{"NoRetryOfAPackageThatKeepsBreakingOff",
            "/core.pkg * cut 1000\n",
            {"--retry", "2"},
            2,
            "downloads-failed"}),
    caseName);

TEST(FreshInstallStatus, IsUsageWhenCalledWrongly) {
    for (const std::vector<std::string> &arguments :
         std::vector<std::vector<std::string>>{{"--unknown"},
                                               {"--retry", "many"},
                                               {"--json", "--plain"},
                                               {"word"},
                                               {"--retry", ""},
                                               {"--retry", "-1"},
                                               {"--retry", "010"},
                                               {"--retry", "0x3"},
                                               {"--retry", "1.5"},
                                               {"--retry", "99999999999"}}) {
        std::vector<std::string> command{program};
        command.insert(command.end(), arguments.begin(), arguments.end());
        EXPECT_EQ(run(command).status, 64) << arguments.front() << ' ' << arguments.back();
    }
    EXPECT_THAT(run({program, "--retry", "010"}).err, HasSubstr("N must be a decimal number: 010"));
    EXPECT_THAT(run({program, "--timeout", "1m"}).err, HasSubstr("SECONDS must be a decimal number: 1m"));
}

TEST(FreshInstallStatus, IsUsageInItsOwnWordsForANumberTooLarge) {
    for (const std::string number : {"1000000000", "4294967296", "99999999999999999999"}) {
        const Ended retry = run({program, "--retry", number});
        EXPECT_EQ(retry.status, 64);
        EXPECT_THAT(retry.err, HasSubstr("N must be at most 999999999: " + number));
        const Ended timeout = run({program, "--timeout", number});
        EXPECT_EQ(timeout.status, 64);
        EXPECT_THAT(timeout.err, HasSubstr("SECONDS must be at most 999999999: " + number));
    }
}

TEST(FreshInstallStatus, TellsMissingRightsAtOnce) {
    publishRelease({core});
    // In a user namespace that maps nobody to root, so that it works wherever the sealed machine does.
    const Ended ended = run({"unshare", "--user", program, "--json"});
    EXPECT_EQ(ended.status, 77);
    EXPECT_EQ(ended.out, "");
    EXPECT_EQ(ended.err, "freshinstall: the engine needs the rights of root: run this as root, or by sudo\n");
    EXPECT_EQ(run({"unshare", "--user", program, "--help"}).status, 0);
}

struct MissingTool {
    const char *name;
    std::string removal;
    std::string words;
};

void PrintTo(const MissingTool &tool, std::ostream *out) {
    *out << tool.name;
}

class FreshInstallTool : public testing::TestWithParam<MissingTool> {};

TEST_P(FreshInstallTool, IsNamedWhenItIsMissing) {
    publishRelease({core});
    const Ended ended = run({"bash", "-c", GetParam().removal + "; " + program});
    EXPECT_EQ(ended.status, 72);
    EXPECT_EQ(ended.out, "");
    EXPECT_THAT(ended.err, HasSubstr(GetParam().words));
    EXPECT_FALSE(std::filesystem::exists("/usr/local/Brovik/TempDownload"));
}

const std::string hashTool = "/usr/local/Brovik/qrn/bin/sha1sum";

INSTANTIATE_TEST_SUITE_P(
    FreshInstall, FreshInstallTool,
    testing::Values(MissingTool{"HashTool", "rm " + hashTool, "put it at " + hashTool},
                    MissingTool{"HashToolThatIsNoProgram", "chmod -x " + hashTool, "put it at " + hashTool},
                    MissingTool{"HashToolThatIsAFolder", "rm " + hashTool + "; mkdir " + hashTool,
                                "put it at " + hashTool},
                    MissingTool{"Sudo", "mkdir /tmp/bin; cp -L $(type -P awk) /tmp/bin; PATH=/tmp/bin",
                                "the engine calls sudo"},
                    MissingTool{"Awk", "mkdir /tmp/bin; cp -L $(type -P sudo) /tmp/bin; PATH=/tmp/bin",
                                "the engine calls awk"}),
    caseName);

TEST(FreshInstallStatus, TellsOutputThatCouldNotBeWritten) {
    publishRelease({core});
    for (const std::string options : {"", "--json", "--help", "--version"}) {
        const Ended ended = run({"bash", "-c", program + " " + options + " >/dev/full"});
        EXPECT_EQ(ended.status, 74) << options;
    }
    EXPECT_EQ(run({"bash", "-c", program + " --json >/dev/full"}).err,
              "freshinstall: standard output: No space left on device\n");
}

TEST(FreshInstallStatus, TellsAReaderThatWentAwayWhereItsSignalIsIgnored) {
    publishRelease({core});
    misbehave("/core.pkg * slow 300000\n"); // so that the reader is gone before the end
    const Ended ended =
        run({"bash", "-c", "trap '' PIPE; " + program + " --json | :; exit ${PIPESTATUS[0]}"});
    EXPECT_EQ(ended.status, 74);
    EXPECT_EQ(ended.err, "freshinstall: standard output: Broken pipe\n");
}

TEST(FreshInstallStatus, TellsAFailureBeforeLostOutput) {
    publishRelease({core});
    misbehave("/core.pkg * status 404\n");
    const Ended ended = run({"bash", "-c", program + " --json >/dev/full"});
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.err, HasSubstr("No space left on device"));
}

TEST(FreshInstallStatus, TellsALibraryThatCannotBeUsed) {
    const Ended ended = run({program, "--library", "/nowhere.so"});
    EXPECT_EQ(ended.status, 69);
    EXPECT_THAT(ended.err, HasSubstr("freshinstall: /nowhere.so"));
}

TEST(FreshInstallStatus, IsDocumentedInHelpAndManual) {
    const Ended help = run({program, "--help"});
    EXPECT_EQ(help.status, 0);
    const std::string manual = readText("/usr/local/Brovik/qrn/share/man/man1/freshinstall.1");
    for (const std::string status : {"0", "1", "2", "64", "69", "70", "72", "74", "77", "124", "130"}) {
        EXPECT_THAT(help.out, HasSubstr("\n  " + status + " "));
        EXPECT_THAT(manual, HasSubstr("\n.It " + status + "\n"));
    }
    for (const std::string option : {"retry", "timeout", "json", "plain", "library", "help", "version"}) {
        EXPECT_THAT(help.out, HasSubstr("--" + option));
        EXPECT_THAT(manual, HasSubstr("\n.It Fl -" + option));
    }
}

// --- what is left behind

TEST(FreshInstall, LeavesCheckedPackagesAndTheReleaseRecorded) {
    publishRelease({core, extra});
    const Ended ended = run({program});
    EXPECT_EQ(ended.status, 0);
    EXPECT_TRUE(readText(pathOf(core)) == core.content);
    EXPECT_TRUE(readText(pathOf(extra)) == extra.content);
    const std::string recorded = readText(configuration);
    EXPECT_THAT(recorded,
                AllOf(HasSubstr("<key>BuildInfo</key>"), HasSubstr("<string>2.1.0.0</string>"),
                      HasSubstr("<string>214</string>"), HasSubstr("<string>basicmac4.0</string>")));
}

TEST(FreshInstall, RecordsNoReleaseWhenItFailed) {
    publishRelease({core, extra});
    misbehave("/core.pkg * status 404\n");
    EXPECT_EQ(run({program}).status, 2);
    EXPECT_THAT(readText(configuration), Not(HasSubstr("BuildInfo")));
}

TEST(FreshInstall, LoadsTheLibraryThatItIsTold) {
    publishRelease({core});
    std::filesystem::copy("/usr/local/Brovik/qrn/lib/libdownloadManager.so.1", "/tmp/other.so");
    std::filesystem::remove("/usr/local/Brovik/qrn/lib/libdownloadManager.so.1");
    EXPECT_EQ(run({program}).status, 69);
    EXPECT_EQ(run({program, "--library", "/tmp/other.so"}).status, 0);
}

class ClosedStream : public testing::TestWithParam<std::string> {};

TEST_P(ClosedStream, DoesNotHinderIt) {
    publishRelease({core});
    EXPECT_EQ(run({"bash", "-c", program + " " + GetParam()}).status, 0);
    EXPECT_TRUE(readText(pathOf(core)) == core.content);
}

INSTANTIATE_TEST_SUITE_P(Streams, ClosedStream, testing::Values("<&-", ">&-", "2>&-", "<&- >&- 2>&-"),
                         [](const auto &parameter) { return "Case" + std::to_string(parameter.index); });

// --- plain lines

TEST(PlainLines, TellEveryChangeOnce) {
    publishRelease({core, extra});
    misbehave("/core.pkg * slow 300000\n/extra.pkg * slow 300000\n");
    const Ended ended = run({program});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.err, "");
    const std::vector<std::string> lines = linesOf(ended.out);
    EXPECT_THAT(ended.out, AllOf(Not(HasSubstr("\033")), Not(HasSubstr("\r"))));
    EXPECT_EQ(lines.front(), "preparing");
    for (const std::string expected :
         {"downloading", "done", "finished: core.pkg, 0.3 MB, its SHA-1 is the catalog's",
          "finished: extra.pkg, 0.2 MB, its SHA-1 is the catalog's",
          "2 packages downloaded and checked, below"})
        EXPECT_EQ(std::count(lines.begin(), lines.end(), expected), 1) << expected;
    int percent = 0;
    for (const std::string &line : lines) {
        if (line.find(" %, ") == std::string::npos)
            continue;
        EXPECT_GT(std::stoi(line), percent) << line;
        percent = std::stoi(line);
    }
    EXPECT_EQ(percent, 100);
}

TEST(PlainLines, SayWhatTheyWaitForAndEndAtOnceWhenTold) {
    publishRelease({core});
    misbehave("/core.pkg * stall 150000\n");
    PseudoTerminal terminal({program, "--plain"}, 80);
    ASSERT_TRUE(terminal.shows("waiting for data from the packages' server")) << terminal.output();
    terminal.send(SIGTERM);
    EXPECT_EQ(terminal.end(), 143);
    EXPECT_THAT(terminal.output(), HasSubstr("interrupted\r\nLeft on the disk: 0 packages finished"));
    EXPECT_THAT(terminal.output(), Not(HasSubstr("\033")));
}

TEST(PlainLines, SayTruthfullyWhatFailed) {
    publishRelease({core, extra});
    misbehave("/core.pkg * reset 1000\n");
    EXPECT_THAT(run({program}).out, EndsWith("Not every package could be fetched; 1 package finished.\n"
                                             "  not finished: " +
                                             pathOf(core) +
                                             "\n"
                                             "A new run fetches all packages anew.\n"
                                             "The engine's log tells more: /var/log/DownloadManager.log\n"));
}

TEST(PlainLines, NameADestinationThatCannotBeWrittenAsACause) {
    publishRelease({core});
    std::filesystem::create_directories(pathOf(core)); // in the file's place
    const Ended ended = run({program});
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.out, HasSubstr("or could not be written; 0 packages finished.\n"));
}

// Not told as wrong bytes, wherever the last one that fitted stands.
class FullDisk : public testing::TestWithParam<std::size_t> {};

TEST_P(FullDisk, IsNamedAsTheCause) {
    const std::size_t page = 4096;
    const Product large = {"large.pkg", someBytes(GetParam() * page + 100)};
    publishRelease({large});
    // Room for the catalog and the package but for its last page.
    const std::string size = std::to_string((GetParam() + 1) * page);
    static_cast<void>(shell("mkdir -p /usr/local/Brovik/TempDownload && mount -t tmpfs -o size=" + size +
                            " tmpfs /usr/local/Brovik/TempDownload"));
    const Ended ended = run({program});
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.out, HasSubstr("The disk with /usr/local/Brovik/TempDownload/Package is full.\n"));
    EXPECT_THAT(ended.out, HasSubstr("  not finished: " + pathOf(large) + "\n"));
    EXPECT_THAT(ended.out, Not(HasSubstr("wrong")));
}

INSTANTIATE_TEST_SUITE_P(Pages, FullDisk, testing::Values(10U, 1000U),
                         [](const auto &parameter) { return std::to_string(parameter.param); });

TEST(FullDisk, IsNamedAsTheCauseOfAFailureBeforeTheDownloads) {
    publishRelease({core});
    static_cast<void>(shell("mkdir -p /usr/local/Brovik/TempDownload &&"
                            "mount -t tmpfs -o size=4k,nr_inodes=2 tmpfs /usr/local/Brovik/TempDownload"));
    const Ended ended = run({program});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.out, HasSubstr("The disk with /usr/local/Brovik/TempDownload/Package is full.\n"));
}

TEST(PlainLines, CallNoPackageWrongWhoseHashCouldNotBeHad) {
    publishRelease({core});
    static_cast<void>(shell("printf '#!/bin/sh\nexit 1\n' >" + hashTool));
    const Ended ended = run({program});
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.out, AllOf(HasSubstr("since no try brought one that passed the check of its SHA-1"),
                                 Not(HasSubstr("wrong")), Not(HasSubstr("is full"))));
}

TEST(PlainLines, SayThatNothingIsOnTheDiskWhenInterruptedEarly) {
    publishRelease({core});
    misbehave(serviceTarget + " * silent\n");
    PseudoTerminal terminal({program, "--plain"}, 80);
    ASSERT_TRUE(terminal.shows("preparing")) << terminal.output();
    terminal.send(SIGINT);
    EXPECT_EQ(terminal.end(), 130);
    EXPECT_THAT(terminal.output(), HasSubstr("interrupted\r\nNothing of the packages is on the disk.\r\n"));
}

TEST(PlainLines, AnnounceARetryAndEndAtOnceDuringItsPause) {
    publishRelease({core});
    misbehave(serviceTarget + " * drop\n");
    PseudoTerminal terminal({program, "--plain", "--retry", "9"}, 80);
    for (const std::string retry :
         {"retry 1 of 9 in 1 second\r\n", "retry 2 of 9 in 2 seconds\r\n", "retry 3 of 9 in 4 seconds\r\n"})
        ASSERT_TRUE(terminal.shows(retry)) << terminal.output();
    terminal.send(SIGTERM);
    EXPECT_EQ(terminal.end(), 143);
    EXPECT_THAT(terminal.output(), Not(HasSubstr("retry 4")));
}

// --- a time to give up

struct Timeout {
    const char *name;
    std::string script;
};

void PrintTo(const Timeout &timeout, std::ostream *out) {
    *out << timeout.name;
}

class FreshInstallTimeout : public testing::TestWithParam<Timeout> {};

TEST_P(FreshInstallTimeout, EndsTheRun) {
    publishRelease({core, extra});
    misbehave(GetParam().script);
    const Ended ended = run({program, "--json", "--retry", "9", "--timeout", "2"});
    EXPECT_EQ(ended.status, 124);
    const Json end = objectsOf(ended.out).back();
    EXPECT_EQ(end["outcome"], "timed-out");
    EXPECT_EQ(end["status"], 124);
    EXPECT_EQ(end["message"].front(), "given up after 2 seconds");
}

INSTANTIATE_TEST_SUITE_P(FreshInstall, FreshInstallTimeout,
                         testing::Values(Timeout{"BeforeTheDownloads", serviceTarget + " * silent\n"},
                                         Timeout{"InAQuestionForAPackage", "HEAD:/extra.pkg * silent\n"},
                                         Timeout{"InADownload", "/core.pkg * stall 150000\n"},
                                         Timeout{"BeforeARetry", serviceTarget + " * drop\n"}),
                         caseName);

TEST(FreshInstallTimeout, DoesNotEndARunThatIsQuicker) {
    publishRelease({core});
    EXPECT_EQ(run({program, "--timeout", "60"}).status, 0);
    EXPECT_EQ(run({program, "--timeout", "0"}).status, 0);
}

// --- what the engine's libraries find in the environment

TEST(FreshInstallProxy, IsTheEnvironments) {
    publishRelease({core});
    const std::string nobody = "http://127.0.0.1:9";
    EXPECT_EQ(run({"env", "https_proxy=" + nobody, program}).status, 1);
    EXPECT_EQ(run({"env", "ALL_PROXY=" + nobody, program}).status, 1);
    EXPECT_EQ(run({"env", "https_proxy=" + nobody, "no_proxy=brovik.example", program}).status, 0);
}

// --- a reader that does not read

// A pipe that is full.
class UnreadPipe {
public:
    UnreadPipe() {
        if (pipe2(m_ends, O_CLOEXEC) != 0 || fcntl(m_ends[1], F_SETPIPE_SZ, 4096) != 4096 ||
            write(m_ends[1], std::string(4096, ' ').data(), 4096) != 4096)
            throw std::system_error(errno, std::generic_category(), "pipe");
    }
    ~UnreadPipe() {
        static_cast<void>(close(m_ends[0])); // holds nothing that is wanted
        static_cast<void>(close(m_ends[1]));
    }
    UnreadPipe(const UnreadPipe &) = delete;
    UnreadPipe &operator=(const UnreadPipe &) = delete;

    // For a shell that this process starts.
    std::string name() const {
        return "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(m_ends[1]);
    }

private:
    int m_ends[2]{-1, -1};
};

class UnreadOutput : public testing::TestWithParam<int> {};

TEST_P(UnreadOutput, DoesNotKeepASignalFromEndingIt) {
    publishRelease({core, extra});
    misbehave("/core.pkg * stall 150000\n");
    const UnreadPipe pipe;
    PseudoTerminal host({"/bin/bash", "-c", "exec " + program + " --json >" + pipe.name()}, 80);
    ASSERT_TRUE(comesTrue([] { return std::filesystem::exists(pathOf(extra)); }));
    host.send(GetParam());
    EXPECT_EQ(host.end(), 128 + GetParam());
}

TEST_P(UnreadOutput, DoesNotKeepASignalFromEndingItWhenAllIsDone) {
    publishRelease({core});
    const UnreadPipe pipe;
    PseudoTerminal host({"/bin/bash", "-c", "exec " + program + " --json >" + pipe.name()}, 80);
    const auto isDone = [] { return readText(configuration).find("BuildInfo") != std::string::npos; };
    ASSERT_TRUE(comesTrue(isDone));
    host.send(GetParam());
    EXPECT_EQ(host.end(), 128 + GetParam());
}

TEST(UnreadOutput, DoesNotKeepTheTimeoutFromEndingIt) {
    publishRelease({core});
    const UnreadPipe pipe;
    // A slow machine may need longer for the package.
    for (int seconds = 2; seconds < 60 && readText(pathOf(core)) != core.content; seconds *= 2) {
        const std::string limit = " --json --timeout " + std::to_string(seconds);
        EXPECT_EQ(run({"bash", "-c", "exec " + program + limit + " >" + pipe.name()}).status, 124);
    }
    EXPECT_TRUE(readText(pathOf(core)) == core.content);
}

INSTANTIATE_TEST_SUITE_P(Signals, UnreadOutput, testing::Values(SIGINT, SIGTERM),
                         [](const auto &parameter) { return "Signal" + std::to_string(parameter.param); });

// --- JSON lines

TEST(JsonLines, TellTheWholeInstallation) {
    publishRelease({core, extra});
    misbehave("/core.pkg * slow 300000\n/extra.pkg * slow 300000\n");
    const std::vector<Json> objects = objectsOf(run({program, "--json"}).out);
    std::vector<std::string> phases;
    for (const Json &phase : eventsNamed(objects, "phase"))
        phases.push_back(phase["phase"]);
    // A check of small packages can be over before it is seen.
    EXPECT_THAT(phases, testing::AnyOf(ElementsAre("preparing", "downloading", "checking", "done"),
                                       ElementsAre("preparing", "downloading", "done")));
    Json before = {{"percent", 0}, {"presentKb", 0}, {"totalKb", 0}};
    const std::vector<Json> progress = eventsNamed(objects, "progress");
    ASSERT_FALSE(progress.empty());
    for (const Json &now : progress) {
        for (const char *figure : {"percent", "presentKb", "totalKb"})
            EXPECT_GE(now[figure].get<double>(), before[figure].get<double>());
        EXPECT_LE(now["percent"], 100);
        EXPECT_LE(now["presentKb"].get<double>(), now["totalKb"].get<double>());
        EXPECT_TRUE(now["secondsLeft"].is_null() || now["secondsLeft"] >= 0);
        before = now;
    }
    EXPECT_EQ(before["percent"], 100);
    EXPECT_DOUBLE_EQ(before["totalKb"].get<double>(), 500000 / 1024.0);
    EXPECT_EQ(eventsNamed(objects, "finished").size(), 2U);
    std::vector<Json> packages = objects.back()["packages"];
    EXPECT_THAT(packages,
                testing::UnorderedElementsAre(Json{{"path", pathOf(core)}, {"sha1", sha1(core.content)}},
                                              Json{{"path", pathOf(extra)}, {"sha1", sha1(extra.content)}}));
}

TEST(JsonLines, TellAFailedDownloadAndItsRetry) {
    publishRelease({core, extra});
    misbehave("/core.pkg 1 reset 1000\n/extra.pkg * slow 200000\n");
    const std::vector<Json> objects = objectsOf(run({program, "--json", "--retry", "5"}).out);
    EXPECT_EQ(eventsNamed(objects, "failed").size(), 1U);
    EXPECT_THAT(eventsNamed(objects, "retry"),
                ElementsAre(Json{{"event", "retry"}, {"attempt", 1}, {"of", 5}, {"inSeconds", 1}}));
    EXPECT_EQ(objects.back()["packages"].size(), 2U);
}

// A product's name in the path of another's package.
TEST(JsonLines, TellEveryPackagesOwnHash) {
    const Product folder = {"Package.pkg", someBytes(1000), "2.0.0.0", "210", "Package"};
    publishRelease({folder, extra});
    const Ended ended = run({program, "--json"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(objectsOf(ended.out).back()["packages"],
                Contains(Json{{"path", pathOf(extra)}, {"sha1", sha1(extra.content)}}));
}

// Of this run's packages: files of other installations lie beside them.
TEST(JsonLines, NameThePackagesThatAreNotFinished) {
    publishRelease({core, extra});
    const std::string packages = "/usr/local/Brovik/TempDownload/Package/";
    for (const std::string folder : {"1.9.0.0", "2.0.0.0"})
        std::filesystem::create_directories(packages + folder);
    writeText(packages + "1.9.0.0/core.pkg", "of an earlier release");
    writeText(packages + "2.0.0.0/other.pkg", "of an earlier run");
    misbehave("/core.pkg * reset 1000\n");
    const Json end = objectsOf(run({program, "--json"}).out).back();
    EXPECT_EQ(end["unfinished"], Json({pathOf(core)}));
    EXPECT_EQ(end["packages"].size(), 1U);
    EXPECT_EQ(end["diskFull"], false);
}

TEST(JsonLines, NameNoPackageThatIsNotFinishedWhenAllIsDone) {
    publishRelease({core, extra});
    EXPECT_EQ(objectsOf(run({program, "--json"}).out).back()["unfinished"], Json::array());
}

TEST(JsonLines, EndInWordsToo) {
    publishRelease({core});
    misbehave(serviceTarget + " * drop\n");
    const Json end = objectsOf(run({program, "--json"}).out).back();
    EXPECT_EQ(end["message"],
              Json({"Failed before the downloads: no service, no catalogs, or a package is missing.",
                    "The engine's log tells more: /var/log/DownloadManager.log"}));
}

TEST(JsonLines, TellTheNewsOfATryBeforeItsRetry) {
    publishRelease({core});
    misbehave("/core.pkg 1 status 503\n");
    const Ended ended = run({program, "--json", "--retry", "1"});
    EXPECT_EQ(ended.status, 0);
    std::vector<std::string> names;
    for (const Json &object : objectsOf(ended.out)) {
        if (object["event"] == "failed" || object["event"] == "retry")
            names.push_back(object["event"]);
    }
    EXPECT_THAT(names, ElementsAre("failed", "retry"));
}

TEST(JsonLines, ShowNeverAllOfAPackageThatFailed) {
    publishRelease({core});
    misbehave("/core.pkg 1 status 404 Not here\n/core.pkg * slow 200000\n");
    const std::vector<Json> objects = objectsOf(run({program, "--json", "--retry", "1"}).out);
    const auto retry = std::find_if(objects.begin(), objects.end(),
                                    [](const Json &object) { return object["event"] == "retry"; });
    const std::vector<Json> before(objects.begin(), retry);
    const std::vector<Json> after(retry, objects.end());
    for (const Json &progress : eventsNamed(before, "progress"))
        EXPECT_LT(progress["percent"], 100);
    ASSERT_FALSE(eventsNamed(after, "progress").empty());
    EXPECT_LT(eventsNamed(after, "progress").front()["percent"], 99);
}

// Fetches of a wrong package that each take a while.
void publishDamaged(const Product &product) {
    std::string damaged = product.content;
    damaged.back() = static_cast<char>(~damaged.back());
    publish(scriptedHost + "/damaged", damaged);
}

// A retry may mend the one that failed, though the other was given up.
TEST(JsonLines, TellARetryBesideAPackageGivenUp) {
    publishRelease({core, extra});
    publishDamaged(core);
    misbehave("/core.pkg * redirect " + scriptedHost +
              "/damaged\n/damaged * slow 600000\n/extra.pkg 1 reset 1000\n");
    const Ended ended = run({program, "--json", "--retry", "3"});
    EXPECT_EQ(ended.status, 2);
    const std::vector<Json> objects = objectsOf(ended.out);
    EXPECT_EQ(eventsNamed(objects, "given-up").size(), 1U);
    EXPECT_EQ(eventsNamed(objects, "retry").size(), 1U);
    EXPECT_THAT(objects.back()["packages"],
                Json::array({{{"path", pathOf(extra)}, {"sha1", sha1(extra.content)}}}));
}

TEST(JsonLines, TellAPackageFetchedAgain) {
    // Both copies come slowly, so that the fall of the figures is seen.
    publishRelease({core});
    publishDamaged(core);
    misbehave("/core.pkg 1 redirect " + scriptedHost +
              "/damaged\n/damaged * slow 600000\n/core.pkg * slow 600000\n");
    const Ended ended = run({program, "--json"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(objectsOf(ended.out), Contains(Json{{"event", "fetched-again"}}));
}

TEST(JsonLines, TellAPackageGivenUp) {
    publishRelease({core, extra});
    misbehave("/core.pkg * wrong\n/extra.pkg * slow 200000\n");
    const std::vector<Json> objects = objectsOf(run({program, "--json"}).out);
    EXPECT_THAT(objects, Contains(Json{{"event", "given-up"}}));
    EXPECT_THAT(objects.back()["packages"],
                Json::array({{{"path", pathOf(extra)}, {"sha1", sha1(extra.content)}}}));
}

} // namespace
