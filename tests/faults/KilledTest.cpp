// Jobs that are killed, at every moment at which a file may be half there; and what their next run makes of
// it.

#include <csignal>
#include <iostream>

#include <gtest/gtest.h>

#include "Machine.h"
#include "TracedProgram.h"

namespace {

class Killed : public testing::TestWithParam<NamedRun> {
protected:
    void SetUp() override {
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
        EXPECT_EQ(end.status, was ? 128 + SIGKILL : GetParam().run == Run::install ? 1 : 0) << where;
        EXPECT_TRUE(machine.isUnharmed()) << where;
        m_lostLists += GetParam().run == Run::install && machine.hasLostItsList() ? 1 : 0;
        EXPECT_TRUE(machine.endsCompleteNextTime()) << where;
        machine.restore();
        return was;
    }

    int m_lostLists = 0; // by rule: an installation removes its list before it has a script
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
    const std::size_t calls = runTraced(machine.command()).calls;
    machine.restore();
    int points = 0;
    for (std::size_t tenth = 1; tenth < 10; ++tenth)
        points += killAndRunAgain(machine, {Calls::any, calls * tenth / 10, false}) ? 1 : 0;
    EXPECT_GE(points, 8);
}

INSTANTIATE_TEST_SUITE_P(Run, Killed, testing::Values(checkRun, installRun, freshInstallRun), caseName);

} // namespace
