// A sample of what scripts/inject-faults does: the points are the same in every run of a build.
#include <utility>

#include <gtest/gtest.h>

#include "Campaign.h"
#include "KnownMessages.h"

namespace {

// Where a write of the trace itself is made to fail, a message may stand there without its time.
[[maybe_unused]] const bool linesMayBeHalf = allowUnknownMessages();

void inject(const std::string &run, std::vector<FaultKind> kinds, std::size_t most) {
    Selection selection;
    selection.kinds = std::move(kinds);
    selection.most = most;
    Report report;
    injectInto(run, selection, "", report, [](const Finding &finding) {
        if (finding.judgement.outcome == Outcome::found)
            ADD_FAILURE() << finding.text();
    });
    EXPECT_FALSE(report.counts.empty());
}

constexpr std::size_t all = 0;

TEST(FaultInjection, ACheckSurvivesEveryProcessThatIsRefused) {
    inject("check", {FaultKind::processes}, all);
}

TEST(FaultInjection, ACheckSurvivesThreadsThatAreRefused) {
    inject("check", {FaultKind::threads}, 8);
}

TEST(FaultInjection, ACheckSurvivesMemoryThatRunsOut) {
    inject("check", {FaultKind::memory}, 12);
}

TEST(FaultInjection, ACheckSurvivesFilesAndConnectionsThatFail) {
    inject("check", {FaultKind::files, FaultKind::network}, 8);
}

TEST(FaultInjection, ACheckSurvivesItsLibraries) {
    inject("check", {FaultKind::curl, FaultKind::xml, FaultKind::plist}, 5);
}

TEST(FaultInjection, AnInstallationSurvivesEveryProcessAndThreadThatIsRefused) {
    inject("install", {FaultKind::processes, FaultKind::threads}, all);
}

TEST(FaultInjection, AnInstallationSurvivesMemoryAndFilesThatFail) {
    inject("install", {FaultKind::memory, FaultKind::files}, 8);
}

TEST(FaultInjection, AFreshInstallationSurvivesEveryProcessThatIsRefused) {
    inject("fresh", {FaultKind::processes}, all);
}

TEST(FaultInjection, AFreshInstallationSurvivesThreadsThatAreRefused) {
    inject("fresh", {FaultKind::threads}, 8);
}

TEST(FaultInjection, AFreshInstallationSurvivesMemoryAndFilesThatFail) {
    inject("fresh", {FaultKind::memory, FaultKind::files}, 10);
}

TEST(FaultInjection, AFreshInstallationSurvivesItsLibraries) {
    inject("fresh", {FaultKind::network, FaultKind::curl, FaultKind::xml, FaultKind::plist}, 3);
}

} // namespace
