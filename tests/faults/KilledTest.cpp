// Jobs that are killed, at every moment at which a file may be half there; and what their next run makes of
// it.

#include <csignal>
#include <filesystem>
#include <iostream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ExpectedTrace.h"
#include "Machine.h"
#include "Observed.h"
#include "Paths.h"
#include "TextFile.h"
#include "TracedProgram.h"
#include "Updater.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;

class Killed : public testing::TestWithParam<NamedRun> {
protected:
    void SetUp() override {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
        GTEST_SKIP() << "a sanitizer hears nothing of a killed process, and takes its time for each";
#endif
        const std::string reason = whyNotTraceable();
        if (!reason.empty())
            GTEST_SKIP() << reason;
    }

    // From a clean state. Whether there was such a moment.
    bool killAndRunAgain(const Machine &machine, const KillAt &moment) {
        const TracedEnd end = runTraced(machine.command(), moment);
        const bool was = end.wasKilledThere;
        const std::string where = std::string(moment.after ? "after " : "before ") +
                                  std::to_string(moment.number) + " " +
                                  (end.fileChanges.empty() ? "" : end.fileChanges.back());
        m_calls = end.calls;
        EXPECT_EQ(end.status, was ? 128 + SIGKILL : GetParam().run == Run::install ? 1 : 0) << where;
        EXPECT_TRUE(!was || transcript().find("Product updater is exited") == std::string::npos) << where;
        EXPECT_TRUE(machine.isUnharmed()) << where;
        m_lostLists += GetParam().run == Run::install && machine.hasLostItsList() ? 1 : 0;
        EXPECT_TRUE(machine.endsCompleteNextTime()) << where;
        machine.restore();
        return was;
    }

    std::size_t m_calls = 0; // of the last run
    int m_lostLists = 0;     // by rule: an installation removes its list before it has a script
};

bool isSampled(std::size_t number, const std::string &change) {
    return number % 10 == 0 || change.compare(0, 6, "rename") == 0 || change.compare(0, 6, "unlink") == 0;
}

// Before the call and after it; which are taken, in the order of an undisturbed run.
template <typename Take>
std::vector<KillAt> momentsOf(const std::vector<std::string> &changes, Take take) {
    std::vector<KillAt> moments;
    for (std::size_t i = 0; i < changes.size(); ++i) {
        if (take(i + 1, changes[i])) {
            moments.push_back({Calls::fileChanges, i + 1, false});
            moments.push_back({Calls::fileChanges, i + 1, true});
        }
    }
    return moments;
}

TEST_P(Killed, AtEveryFileChangeLong) {
    const Machine machine(GetParam().run);
    const TracedEnd undisturbed = runTraced(machine.command());
    machine.restore();
    int points = 0;
    for (const KillAt &moment : momentsOf(undisturbed.fileChanges, [](auto...) { return true; }))
        points += killAndRunAgain(machine, moment) ? 1 : 0;
    std::cout << points << " moments in " << undisturbed.fileChanges.size() << " changes\n";
    EXPECT_GE(points, GetParam().run == Run::install ? 10 : 20);
    EXPECT_EQ(m_lostLists > 0, GetParam().run == Run::install);
}

TEST_P(Killed, AtRenamesRemovalsAndEveryTenthChange) {
    const Machine machine(GetParam().run);
    const TracedEnd undisturbed = runTraced(machine.command());
    machine.restore();
    int points = 0;
    for (const KillAt &moment : momentsOf(undisturbed.fileChanges, isSampled))
        points += killAndRunAgain(machine, moment) ? 1 : 0;
    EXPECT_GE(points, 4);
}

// By the system calls that it makes: a run that waits is no further for it.
TEST_P(Killed, AtEveryTenthOfTheRun) {
    const Machine machine(GetParam().run);
    std::size_t calls = runTraced(machine.command()).calls;
    machine.restore();
    for (std::size_t tenth = 1; tenth < 10; ++tenth) {
        bool wasKilled = false;
        // A run that has less to wait for makes fewer calls, and may end before that one.
        for (int attempt = 0; attempt < 5 && !wasKilled; ++attempt) {
            wasKilled = killAndRunAgain(machine, {Calls::any, calls * tenth / 10, false});
            calls = wasKilled ? calls : m_calls;
        }
        EXPECT_TRUE(wasKilled) << tenth;
    }
}

INSTANTIATE_TEST_SUITE_P(Run, Killed, testing::Values(checkRun, installRun, freshInstallRun), caseName);

// --- what an installation starts

// Has a tool of the script do this in its place, and runs the installation.
void installWith(const Machine &machine, const std::string &tool, const std::string &lines) {
    const std::string path = "/usr/local/bin/" + tool;
    const bool was = fs::exists(path);
    if (was)
        fs::rename(path, path + ".real");
    writeText(path, "#!/bin/bash\n" + lines + "\n");
    fs::permissions(path, fs::perms(0755));
    EXPECT_EQ(run(machine.command()).status, 1);
    fs::remove(path);
    if (was)
        fs::rename(path + ".real", path);
}

const std::string killScript = "kill -KILL $(pgrep -f '^/bin/bash /usr/local/repost/installer.sh'); ";

TEST(KilledChild, Installer) {
    const Machine machine(Run::install);
    installWith(machine, "installer", "kill -KILL $$");
    EXPECT_THAT(transcript(), HasSubstr("\nFailed to install " + packagePath("")));
    EXPECT_THAT(transcript(), Not(HasSubstr("successfully")));
    EXPECT_TRUE(machine.isUnharmed());
    EXPECT_TRUE(machine.hasLostItsList());
    EXPECT_TRUE(machine.endsCompleteNextTime());
}

// The log ends at the package; nobody takes the old configuration's place.
TEST(KilledChild, ScriptBeforeAPackage) {
    const Machine machine(Run::install);
    installWith(machine, "installer", killScript);
    EXPECT_THAT(transcript(), HasSubstr("installer.sh \n Installing " + packagePath("")));
    EXPECT_THAT(transcript(), Not(HasSubstr("Failed")));
    EXPECT_TRUE(machine.isUnharmed());
    EXPECT_TRUE(machine.hasLostItsList());
    EXPECT_TRUE(machine.endsCompleteNextTime());
}

// Each package of which the log says so is installed.
TEST(KilledChild, ScriptAfterItsPackages) {
    const Machine machine(Run::install);
    installWith(machine, "cp", killScript);
    for (const char *name : {"First.pkg", "Second.pkg"})
        EXPECT_THAT(transcript(), HasSubstr("\nInstalled " + packagePath(name) + " successfully\n"));
    EXPECT_TRUE(machine.isUnharmed());
    EXPECT_TRUE(machine.hasLostItsList());
    EXPECT_TRUE(machine.endsCompleteNextTime());
}

// A known limit: the copy is cut, and the script goes on to remove what it was made of.
TEST(KilledChild, CopyOfTheConfiguration) {
    const Machine machine(Run::install);
    installWith(machine, "cp", ": >\"$2\"; kill -KILL $$");
    for (const char *name : {"First.pkg", "Second.pkg"})
        EXPECT_THAT(transcript(), HasSubstr("\nInstalled " + packagePath(name) + " successfully\n"));
    EXPECT_EQ(readText(prodConfigXml), "");
    EXPECT_FALSE(fs::exists(keyCoreDownloadCache));
    fs::remove(traceLogPath);
    EXPECT_EQ(checkForInstall().status, 0);
    EXPECT_THAT(transcript(), HasSubstr(">ERROR : TolvaneHandler - ERROR Getting Appid\n"));
    EXPECT_THAT(transcript(), HasSubstr("<products relname=\"legacy\" relver=\"1\">"));
    EXPECT_EQ(readText(updatedProdConfigXml), "");
}

} // namespace
