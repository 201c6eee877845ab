// releasebench on one side, the installed engine in the sealed machine on the other: the same packages,
// order, versions and script, for releases by chance.
#include <cstdlib>
#include <filesystem>

#include <gtest/gtest.h>

#include "Agreement.h"

namespace {

// Real sudo takes longer than all that it is asked to run here.
void useQuickSudo() {
    std::filesystem::create_directories("/tmp/bin");
    std::filesystem::copy_file(STAND_IN_SUDO, "/tmp/bin/sudo");
    const std::string path = std::string("/tmp/bin:") + std::getenv("PATH");
    setenv("PATH", path.c_str(), 1);
}

void expectAlike(const Done &told, const Done &done) {
    EXPECT_EQ(told.isDone, done.isDone);
    EXPECT_EQ(told.reason, done.reason);
    EXPECT_EQ(told.packages, done.packages);
    EXPECT_EQ(told.branding, done.branding);
    EXPECT_EQ(told.script, done.script);
    EXPECT_EQ(told.configuration, done.configuration);
}

void agreeOnMany(unsigned first, unsigned count) {
    useQuickSudo();
    unsigned updates = 0;
    unsigned installations = 0;
    for (unsigned seed = first; seed < first + count && !testing::Test::HasFailure(); ++seed) {
        std::mt19937 chance(seed);
        const ChanceRelease release = chanceRelease(chance);
        publishBuilt(release);
        const Done update = foretold(release);
        expectAlike(update, carriedOut(release, update));
        const Done fresh = foretoldFresh(release);
        expectAlike(fresh, carriedOutFresh(release, fresh));
        if (testing::Test::HasFailure())
            ADD_FAILURE() << "seed " << seed << "\n"
                          << release.affiliate << ' ' << release.application << ' ' << release.product << ' '
                          << release.system << '\n'
                          << release.release.dump(1);
        updates += update.isDone ? 1U : 0U;
        installations += fresh.isDone ? 1U : 0U;
    }
    // Chance has not made them all alike.
    for (const unsigned done : {updates, installations}) {
        EXPECT_GT(done, count / 4);
        EXPECT_LT(done, count);
    }
}

// Few, for they take a third of a second each.
TEST(Agreement, WithTheEngine) {
    agreeOnMany(1, 8);
}

TEST(Agreement, WithTheEngineLong) {
    agreeOnMany(1000, 2000);
}

} // namespace
