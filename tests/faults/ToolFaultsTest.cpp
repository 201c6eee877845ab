// The tools that the engine calls: missing, failing, killed, silent, talking nonsense or without end,
// hanging.

#include <algorithm>
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

struct Fault {
    const char *name;
    std::string script; // in the tool's place; "": none
    int status;
};

// Not for the shell, which may be the tool itself.
std::string script(const std::string &lines) {
    return "#!/bin/bash\n" + lines + "\n";
}

const Fault missing = {"missing", "", 127};
const std::vector<Fault> silentFaults = {
    {"fails", script("exit 1"), 1},
    {"is killed", script("kill -KILL $$"), 137},
    {"says and does nothing", script("exit 0"), 0},
};
const std::vector<Fault> talkingFaults = {
    {"talks nonsense", script("printf '\\001\\377 %%s%%n $(id) \\n\\n'"), 0},
    {"talks for megabytes", script("head -c 5000000 /dev/zero | /usr/bin/tr '\\0' x"), 0},
};
// Says who it is, so that it can be ended.
const std::string pidFile = "/tmp/tool.pid";
const std::string hangs = script("[[ -p /tmp/never ]] || mkfifo /tmp/never; echo $$ >" + pidFile +
                                 ".new; mv " + pidFile + ".new " + pidFile + "; exec cat <>/tmp/never");

// The one that hangs, which somebody may start anew at once.
void killTool() {
    const pid_t tool = std::stoi(readText(pidFile));
    fs::remove(pidFile);
    EXPECT_EQ(kill(tool, SIGKILL), 0);
}

// Something else in a tool's place while this lives.
class ReplacedTool {
public:
    ReplacedTool(const std::string &name, const std::string &replacement)
        : m_path(pathOf(name)) {
        fs::rename(m_path, m_path + ".real");
        if (replacement.empty())
            return;
        writeText(m_path, replacement);
        fs::permissions(m_path, fs::perms(0755));
    }
    ~ReplacedTool() { fs::rename(m_path + ".real", m_path); }
    ReplacedTool(const ReplacedTool &) = delete;
    ReplacedTool &operator=(const ReplacedTool &) = delete;

private:
    static std::string pathOf(const std::string &name) {
        if (name.front() == '/')
            return name;
        const std::string found = shell("command -v " + name);
        const fs::path path(found.substr(0, found.size() - 1));
        return fs::canonical(path.parent_path()) / path.filename();
    }

    const std::string m_path;
};

// Every order that is not examined: all ways to fail look the same.
std::vector<Fault> allFaults() {
    std::vector<Fault> faults{missing};
    faults.insert(faults.end(), silentFaults.begin(), silentFaults.end());
    faults.insert(faults.end(), talkingFaults.begin(), talkingFaults.end());
    return faults;
}

const Packages packages = {{"One.pkg", someBytes(100000)}};
constexpr int toolMissing = 72; // the host program's

// --- the tools of a download

class ToolFault : public testing::TestWithParam<Job> {
protected:
    ToolFault() { offerPackages(GetParam(), packages); }

    static bool isUpdate() { return GetParam().task == Task::update; }

    // Refused with these lines, as often as one likes; and complete once the tool is back.
    static void expectRefused(const std::string &tool, const std::vector<Fault> &faults,
                              const std::string &lines) {
        for (const Fault &fault : faults) {
            SCOPED_TRACE(tool + " " + fault.name);
            const ReplacedTool replaced(tool, fault.script);
            const Ended ended = runJob(GetParam());
            EXPECT_TRUE(isRefused(GetParam(), ended));
            if (fault.script.empty() && isLookedForByTheHost(tool)) {
                EXPECT_EQ(ended.status, toolMissing);
                EXPECT_EQ(traceText(), "");
            } else {
                EXPECT_THAT(transcript(), HasSubstr(lines));
            }
            fs::remove_all(keyCoreDownloadCache);
            fs::remove(traceLogPath);
        }
        expectCompleteNow();
    }

    // Before it begins.
    static bool isLookedForByTheHost(const std::string &tool) {
        return !isUpdate() && (tool == hashToolPath || tool == "awk" || tool == "sudo");
    }

    static void expectCompleteNow() {
        const Ended second = runJob(GetParam());
        EXPECT_TRUE(isComplete(GetParam(), second, packages)) << traceText();
    }

    // Gives the job's end once somebody ended the tool.
    static Ended endWhenTheToolIsKilled(Program &program) {
        EXPECT_TRUE(comesTrue([] { return fs::exists(pidFile); })) << traceText();
        EXPECT_FALSE(program.endsWithin(std::chrono::milliseconds(200)));
        killTool();
        return program.wait();
    }

    // A first hash check that hangs is killed, and so is the second.
    static void expectRefusedOnceKilled(const std::string &tool, const std::string &lines) {
        {
            const ReplacedTool replaced(tool, hangs);
            Program program(commandOf(GetParam()));
            EXPECT_TRUE(comesTrue([] { return fs::exists(pidFile); })) << traceText();
            killTool();
            EXPECT_TRUE(isRefused(GetParam(), endWhenTheToolIsKilled(program)));
            EXPECT_THAT(transcript(), HasSubstr(lines));
        }
        expectCompleteNow();
    }
};

// Fetched three times and checked twice.
std::string tracedChecks(const std::string &outcome) {
    const std::string url = scriptedHost + "/One.pkg";
    const std::string path = packagePath("One.pkg");
    const std::string start = ">INFO : Start download: " + url + "\n";
    const std::string check = start + ">INFO: Checking HashSUM : " + path + "\n>" + outcome + path +
                              "\n>Resume Download: " + url + "\n";
    const std::string failed = ">ERROR : Download Failed: " + url + "\n";
    return check + check + start + ">ERROR: Exit maximum no of Checking HashSUM : " + path + "\n" + failed +
           failed + failed;
}

const std::string noHash = tracedChecks("Error: Failed to get Hashsum of ");
const std::string otherHash = tracedChecks("Error: Hash mismatch : ");

std::string tracedNoFolder(const Job &job) {
    const bool isUpdate = job.task == Task::update;
    const std::string catalog = isUpdate ? "core" : "One";
    return ">INFO : DownloadController::downLoadThreadEntry\n"
           ">ERROR: Not able to initialize download helper\n"
           ">Error occurred in creating output file : /usr/local/Brovik/TempDownload/Catalog/Core//" +
           catalog +
           "_maccat.xml \n"
           ">INFO: Download Start\n"
           ">INFO: Creating Download thread\n" +
           (isUpdate ? ">INFO : Getting Hotfix info\n>No products found For Update\n"
                     : ">INFO : Getting Package info\n>ERROR: No products found For Fresh Install\n");
}

TEST_P(ToolFault, HashToolGivesNoHash) {
    std::vector<Fault> faults = silentFaults;
    faults.push_back(missing);
    expectRefused(hashToolPath, faults, noHash);
}

TEST_P(ToolFault, HashToolTalksNonsense) {
    expectRefused(hashToolPath, talkingFaults, otherHash);
}

// For good: the host program alone has an end to its patience, if it is told so.
TEST_P(ToolFault, HashToolHangs) {
    {
        const ReplacedTool replaced(hashToolPath, hangs);
        std::vector<std::string> command = commandOf(GetParam());
        if (!isUpdate())
            command.insert(command.end(), {"--timeout", "3"});
        Program program(command);
        if (isUpdate()) {
            EXPECT_TRUE(comesTrue([] { return fs::exists(pidFile); })) << traceText();
            EXPECT_FALSE(program.endsWithin(std::chrono::milliseconds(200)));
            EXPECT_EQ(messagesOf(traceText()).back(),
                      "INFO: Checking HashSUM : " + packagePath("One.pkg") + "\n");
            program.send(SIGTERM);
        }
        const Ended ended = program.wait();
        EXPECT_EQ(ended.status, isUpdate() ? 128 + SIGTERM : 124);
        EXPECT_TRUE(isRefused(GetParam(), ended));
    }
    expectCompleteNow();
}

TEST_P(ToolFault, HashToolHangsUntilItIsKilled) {
    expectRefusedOnceKilled(hashToolPath, noHash);
}

TEST_P(ToolFault, AwkGivesNoHash) {
    std::vector<Fault> faults = silentFaults;
    faults.push_back(missing);
    expectRefused("awk", faults, noHash);
}

TEST_P(ToolFault, AwkTalksNonsense) {
    expectRefused("awk", talkingFaults, otherHash);
}

TEST_P(ToolFault, AwkHangsUntilItIsKilled) {
    expectRefusedOnceKilled("awk", noHash);
}

TEST_P(ToolFault, SudoMakesNoFolder) {
    expectRefused("sudo", allFaults(), tracedNoFolder(GetParam()));
}

// It has no terminal to ask at, and says so to standard error.
TEST_P(ToolFault, SudoAsksForAPassword) {
    expectRefused("sudo",
                  {{"asks for a password",
                    script("read -r -p 'Password:' word </dev/tty ||\n"
                           "{ echo 'sudo: a terminal is required to read the password' >&2; exit 1; }"),
                    1}},
                  tracedNoFolder(GetParam()));
}

TEST_P(ToolFault, MkdirMakesNoFolder) {
    expectRefused("mkdir", allFaults(), tracedNoFolder(GetParam()));
}

TEST_P(ToolFault, SudoHangs) {
    {
        const ReplacedTool replaced("sudo", hangs);
        Program program(commandOf(GetParam()));
        EXPECT_TRUE(comesTrue([] { return fs::exists(pidFile); })) << traceText();
        EXPECT_EQ(messagesOf(traceText()).back(), "INFO: Download Start\n");
        // A second one says what it waits for.
        const Program other(commandOf(GetParam()));
        EXPECT_TRUE(comesTrue([] {
            return traceText().find("INFO: Waiting for another job on this machine to end\n") !=
                   std::string::npos;
        }));
        program.send(SIGTERM);
        EXPECT_TRUE(isRefused(GetParam(), program.wait()));
    }
    fs::remove(pidFile);
    expectCompleteNow();
}

TEST_P(ToolFault, ShellIsMissing) {
    const std::string directory = keyCoreDownloadCache + "/Catalog/Core\n";
    expectRefused("sh", {missing},
                  ">INFO: Download Start\n>Error: Failed to create " + directory + ">INFO: Download Start\n");
}

TEST_P(ToolFault, ShellDoesNothing) {
    std::vector<Fault> faults = silentFaults;
    faults.insert(faults.end(), talkingFaults.begin(), talkingFaults.end());
    expectRefused("sh", faults, tracedNoFolder(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Job, ToolFault, testing::Values(updateByHttps, freshInstallByHttps), caseName);

// --- the marker of an update

// The list is whole and the log says nothing; only the suite does not learn of the update.
void expectListWithoutMarker() {
    EXPECT_FALSE(fs::exists(waitingMarker));
    EXPECT_EQ(readText(packageListPath), packagePath("One.pkg") + "\n");
    EXPECT_EQ(transcript(), tracedUntilPackages() + tracedThreads(1) +
                                tracedPackage(scriptedHost + "/One.pkg", packagePath("One.pkg")) +
                                tracedPlainConfiguration() + tracedEnd);
}

TEST(MarkerTool, TouchDoesNothing) {
    offerPackages(updateByHttps, packages);
    for (const Fault &fault : allFaults()) {
        SCOPED_TRACE(fault.name);
        const ReplacedTool replaced("touch", fault.script);
        EXPECT_EQ(checkForInstall().status, 0);
        expectListWithoutMarker();
        fs::remove(traceLogPath);
    }
    EXPECT_TRUE(isComplete(updateByHttps, checkForInstall(), packages));
}

TEST(MarkerTool, TouchHangsUntilItIsKilled) {
    offerPackages(updateByHttps, packages);
    {
        const ReplacedTool replaced("touch", hangs);
        Program program(commandOf(updateByHttps));
        EXPECT_TRUE(comesTrue([] { return fs::exists(pidFile); })) << traceText();
        EXPECT_FALSE(program.endsWithin(std::chrono::milliseconds(200)));
        killTool();
        EXPECT_EQ(program.wait().status, 0);
        expectListWithoutMarker();
    }
    EXPECT_TRUE(isComplete(updateByHttps, checkForInstall(), packages));
}

// --- the tools of an installation

const std::string scriptBegins = ">INFO : Installing Packages from /usr/local/repost/installer.sh\n"
                                 ">Child process: executing /usr/local/repost/installer.sh \n";

class InstallationTool : public testing::Test {
protected:
    // These lines, however it comes; then the tool is back and the next run installs, or the next check and
    // the next run.
    void expectNotInstalled(const std::string &tool, const std::vector<Fault> &faults,
                            const std::string &lines, bool listStays = false) const {
        for (const Fault &fault : faults) {
            SCOPED_TRACE(tool + " " + fault.name);
            EXPECT_EQ(runWithout(tool, fault).status, 1);
            EXPECT_THAT(transcript(), HasSubstr(lines));
            EXPECT_TRUE(m_machine.isUnharmed());
            EXPECT_FALSE(m_machine.isInstalled());
            EXPECT_EQ(fs::exists(packageListPath), listStays);
        }
        EXPECT_TRUE(m_machine.endsCompleteNextTime());
    }

    Ended runWithout(const std::string &tool, const Fault &fault) const {
        const ReplacedTool replaced(tool, fault.script);
        return run(m_machine.command());
    }

    const Machine m_machine{Run::install};
};

TEST_F(InstallationTool, InstallerFails) {
    for (const Fault &fault : {missing, silentFaults[0], silentFaults[1]}) {
        SCOPED_TRACE(fault.name);
        expectNotInstalled("installer", {fault}, "\nFailed to install " + packagePath(""));
        EXPECT_THAT(transcript(),
                    Not(HasSubstr(" Installing " + packagePath("First.pkg") + "\nFailed to install " +
                                  packagePath("First.pkg") + "\n Installing")));
        m_machine.restore();
    }
}

TEST_F(InstallationTool, InstallerTalksForMegabytes) {
    const ReplacedTool replaced("installer",
                                talkingFaults[1].script + "/usr/local/bin/installer.real \"$@\"\n");
    EXPECT_EQ(run(m_machine.command()).status, 1);
    EXPECT_TRUE(m_machine.isUnharmed());
    EXPECT_TRUE(m_machine.isInstalled());
}

TEST_F(InstallationTool, InstallerHangsUntilItIsKilled) {
    {
        const ReplacedTool replaced("installer", hangs);
        Program program(m_machine.command());
        EXPECT_TRUE(comesTrue([] { return fs::exists(pidFile); })) << traceText();
        EXPECT_FALSE(program.endsWithin(std::chrono::milliseconds(200)));
        killTool();
        EXPECT_EQ(program.wait().status, 1);
        EXPECT_THAT(transcript(), HasSubstr("\nFailed to install " + packagePath("")));
        EXPECT_TRUE(m_machine.isUnharmed());
    }
    EXPECT_TRUE(m_machine.endsCompleteNextTime());
}

// The list stays, and with it the update for the next run.
TEST_F(InstallationTool, SudoDoesNothing) {
    expectNotInstalled("sudo", allFaults(),
                       scriptBegins + ">ERROR: execl failed ! Error: Permission denied \n", true);
    EXPECT_THAT(transcript(), HasSubstr(scriptBegins + " Installing "));
}

TEST_F(InstallationTool, ChmodDoesNothing) {
    expectNotInstalled("chmod", {missing},
                       scriptBegins + ">ERROR: execl failed ! Error: Permission denied \n");
}

TEST_F(InstallationTool, ScriptsShellIsMissing) {
    expectNotInstalled("bash", {missing},
                       scriptBegins + ">ERROR: execl failed ! Error: No such file or directory \n");
}

// Installed all the same; what the list names is installed again, should nobody check before.
TEST_F(InstallationTool, RmLeavesTheList) {
    const auto installations = [] {
        const std::string record = readText("/srv/rehearsal/log/installer.log");
        return std::count(record.begin(), record.end(), '\n');
    };
    const auto before = installations();
    EXPECT_EQ(runWithout("rm", missing).status, 1);
    EXPECT_TRUE(m_machine.isInstalled());
    EXPECT_TRUE(fs::exists(packageListPath));
    EXPECT_TRUE(fs::exists(packagePath("First.pkg")));
    EXPECT_EQ(installations(), before + 2);
    EXPECT_EQ(run(m_machine.command()).status, 1);
    EXPECT_EQ(installations(), before + 4);
    EXPECT_TRUE(m_machine.isUnharmed());
}

// The product keeps the old version in its configuration, so that the update is offered again.
TEST_F(InstallationTool, CpDoesNothing) {
    const std::string before = readText(prodConfigXml);
    EXPECT_EQ(runWithout("cp", missing).status, 1);
    EXPECT_EQ(readText(prodConfigXml), before);
    EXPECT_FALSE(fs::exists(keyCoreDownloadCache));
    EXPECT_TRUE(m_machine.hasLostItsList());
    EXPECT_TRUE(m_machine.endsCompleteNextTime());
}

} // namespace
