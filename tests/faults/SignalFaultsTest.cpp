// Signals, wherever a job is when they come; and starters and hosts that treat signals in ways of their own.

#include <csignal>
#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Background.h"
#include "ExpectedTrace.h"
#include "Job.h"
#include "Machine.h"
#include "Observed.h"
#include "Paths.h"
#include "Release.h"
#include "TextFile.h"
#include "TraceFile.h"
#include "Updater.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;

const std::string hanging = "#!/bin/sh\nexec sleep 1000000\n";

// Where a job is held up, and the last line of its log then.
struct Stage {
    std::string script; // of the servers
    bool hashToolHangs;
    std::string line;
};

std::vector<Stage> stagesOf(Run run) {
    const std::string package = scriptedHost + "/First.pkg";
    const std::string catalog = run == Run::check ? "core" : "First";
    std::vector<Stage> stages = {
        {"/velbrin/1.0.0.0/?reqtype=mac_update * silent\n/velbrin/1.0.0.0/?reqtype=mac_web * silent\n", false,
         "INFO :Tolvane Handler - sendTolvaneRequest\n"},
        {"/" + catalog + "_maccat.xml * stall 10\n", false,
         "INFO : Start download: " + scriptedHost + "/" + catalog + "_maccat.xml\n"},
        {"/First.pkg * stall 1000\n", false, "INFO : Start download: " + package + "\n"},
        {"", true, "INFO: Checking HashSUM : " + packagePath("First.pkg") + "\n"},
    };
    if (run == Run::freshInstall)
        stages.push_back({"HEAD:/First.pkg * silent\n", false, "INFO: Getting downloaded package URLS\n"});
    return stages;
}

// Holds every job up there while it lives.
class HeldUp {
public:
    explicit HeldUp(const Stage &stage)
        : m_tool(stage.hashToolHangs ? readText(hashToolPath) : "") {
        misbehave(stage.script);
        if (!m_tool.empty())
            replaceProgram(hashToolPath, hanging);
    }
    ~HeldUp() {
        misbehave("");
        // A shell that outlives its job may be starting it just now.
        if (!m_tool.empty())
            replaceProgram(hashToolPath, m_tool);
    }
    HeldUp(const HeldUp &) = delete;
    HeldUp &operator=(const HeldUp &) = delete;

private:
    const std::string m_tool; // in whose place another one stands; "": none
};

bool comesInTrace(const std::string &line) {
    return comesTrue([&line] { return traceText().find(line) != std::string::npos; });
}

const Job &jobOf(Run run) {
    return run == Run::check ? updateByHttps : freshInstallByHttps;
}

// Its log ends where the job was: nobody writes a last word in the engine's name.
void endAt(const Machine &machine, Run run, const Stage &stage, int signal) {
    SCOPED_TRACE(stage.line);
    {
        const HeldUp heldUp(stage);
        Program program(machine.command());
        ASSERT_TRUE(comesInTrace(stage.line)) << traceText();
        program.send(signal);
        const Ended ended = program.wait();
        EXPECT_EQ(ended.status, 128 + signal);
        EXPECT_TRUE(isRefused(jobOf(run), ended));
        EXPECT_THAT(transcript(), Not(HasSubstr("Product updater is exited")));
        EXPECT_TRUE(machine.isUnharmed());
    }
    EXPECT_TRUE(machine.endsCompleteNextTime());
    machine.restore();
}

class EndedBySignal : public testing::TestWithParam<NamedRun> {
protected:
    static void endInMidTransfer(int signal) {
        endAt(Machine(GetParam().run), GetParam().run, stagesOf(GetParam().run)[2], signal);
    }
    static void endAtEveryStage(const std::vector<int> &signals) {
        const Machine machine(GetParam().run);
        for (const int signal : signals) {
            for (const Stage &stage : stagesOf(GetParam().run))
                endAt(machine, GetParam().run, stage, signal);
        }
    }
};

TEST_P(EndedBySignal, TerminateAtEveryStage) {
    endAtEveryStage({SIGTERM});
}

TEST_P(EndedBySignal, Interrupt) {
    endInMidTransfer(SIGINT);
}

TEST_P(EndedBySignal, HangUp) {
    endInMidTransfer(SIGHUP);
}

TEST_P(EndedBySignal, Quit) {
    endInMidTransfer(SIGQUIT);
}

TEST_P(EndedBySignal, TimeLimit) {
    endInMidTransfer(SIGXCPU);
}

TEST_P(EndedBySignal, EveryOtherSignalAtEveryStageLong) {
    endAtEveryStage({SIGINT, SIGHUP, SIGQUIT, SIGXCPU});
}

INSTANTIATE_TEST_SUITE_P(Run, EndedBySignal, testing::Values(checkRun, freshInstallRun), caseName);

// --- the second run of an update

const std::string beforeScript = "INFO : Installing Packages from /usr/local/repost/installer.sh\n";

// The script stands whole and is not executed; the list is gone by then, so a check comes first.
TEST(InstallationSignalled, InItsPauseBeforeTheScript) {
    const Machine machine(Run::install);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        SCOPED_TRACE(signal);
        Program program(installCommand);
        ASSERT_TRUE(comesInTrace(beforeScript)) << traceText();
        program.send(signal);
        EXPECT_EQ(program.wait().status, 128 + signal);
        EXPECT_THAT(transcript(), Not(HasSubstr("Child process")));
        EXPECT_TRUE(machine.isUnharmed());
        EXPECT_TRUE(machine.hasLostItsList());
        EXPECT_TRUE(machine.endsCompleteNextTime());
        machine.restore();
    }
}

// The script is nobody's child then, and ends all the same.
TEST(InstallationSignalled, WhileTheScriptRuns) {
    const Machine machine(Run::install);
    const std::string tool = "/usr/local/bin/installer";
    const std::string real = readText(tool);
    const std::string go = "/tmp/go";
    writeText(tool, "#!/bin/bash\nuntil [[ -e " + go + " ]]; do sleep 0.01; done\n" + real);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        SCOPED_TRACE(signal);
        Program program(machine.command());
        ASSERT_TRUE(comesInTrace("installer.sh \n Installing "));
        program.send(signal);
        EXPECT_EQ(program.wait().status, 128 + signal);
        writeText(go, "");
        EXPECT_TRUE(machine.isUnharmed());
        EXPECT_TRUE(machine.isInstalled());
        EXPECT_THAT(transcript(), HasSubstr("Installed " + packagePath("First.pkg") + " successfully\n"));
        fs::remove(go);
        machine.restore();
    }
}

// --- signals that leave it running

class Signalled : public testing::TestWithParam<NamedRun> {};

TEST_P(Signalled, StoppedAndContinuedInMidTransfer) {
    const Machine machine(GetParam().run);
    misbehave("/First.pkg * slow 60000\n");
    Program program(machine.command());
    const std::string file = packagePath("First.pkg");
    ASSERT_TRUE(comesTrue([&file] { return fs::exists(file) && fs::file_size(file) > 0; }));
    const std::string state = "/proc/" + std::to_string(program.id()) + "/stat";
    program.send(SIGSTOP);
    EXPECT_TRUE(comesTrue([&state] { return readText(state).find(") T ") != std::string::npos; }));
    EXPECT_FALSE(program.endsWithin(std::chrono::milliseconds(300)));
    program.send(SIGCONT);
    EXPECT_TRUE(isComplete(jobOf(GetParam().run), program.wait(), machine.packages()));
    EXPECT_THAT(transcript(), HasSubstr(tracedPackage(scriptedHost + "/First.pkg", file)));
    EXPECT_TRUE(machine.isUnharmed());
}

// Neither what the engine prints of bad input nor what the host says ends it.
TEST_P(Signalled, NobodyReadsItsOutput) {
    const Machine machine(GetParam().run);
    const std::string noReader = "mkfifo /tmp/p; exec 3<>/tmp/p 4>/tmp/p 3<&-; exec \"$@\" >&4 2>&4";
    std::vector<std::string> command{"bash", "-c", noReader, "bash"};
    command.insert(command.end(), machine.command().begin(), machine.command().end());
    const Ended ended = run(command);
    if (GetParam().run == Run::check)
        EXPECT_TRUE(isComplete(updateByHttps, ended, machine.packages()));
    else // the host tells that nobody took its words; the packages are there
        EXPECT_EQ(ended.status, 128 + SIGPIPE);
    EXPECT_TRUE(machine.isUnharmed());
    EXPECT_TRUE(machine.endsCompleteNextTime());
}

TEST_P(Signalled, EverySignalIsBlockedByTheStarter) {
    const Machine machine(GetParam().run);
    std::vector<std::string> command{"env", "--block-signal"};
    command.insert(command.end(), machine.command().begin(), machine.command().end());
    EXPECT_TRUE(isComplete(jobOf(GetParam().run), run(command), machine.packages()));
}

TEST_P(Signalled, EverySignalIsIgnoredByTheStarter) {
    const Machine machine(GetParam().run);
    std::vector<std::string> command{"env", "--ignore-signal"};
    command.insert(command.end(), machine.command().begin(), machine.command().end());
    EXPECT_TRUE(isComplete(jobOf(GetParam().run), run(command), machine.packages()));
}

INSTANTIATE_TEST_SUITE_P(Run, Signalled, testing::Values(checkRun, freshInstallRun), caseName);

// --- hosts of the exports

void expectInstalledByHostThat(const std::string &how) {
    const Machine machine(Run::freshInstall);
    const Ended ended = run({SIGNAL_HOST, how});
    EXPECT_THAT(ended.out, HasSubstr("result 0, failed 0, completed 1\n"));
    EXPECT_TRUE(isComplete(freshInstallByHttps, ended, machine.packages()));
    EXPECT_TRUE(machine.isUnharmed());
}

TEST(HostSignals, ChildrensEndsAreIgnored) {
    expectInstalledByHostThat("ignores");
}

TEST(HostSignals, AHandlerReapsEveryChild) {
    expectInstalledByHostThat("reaps");
}

TEST(HostSignals, AllAreBlocked) {
    expectInstalledByHostThat("blocks");
}

} // namespace
