// Limits of descriptors that the starter sets.

#include <gtest/gtest.h>

#include "JobTrace.h"
#include "Observed.h"
#include "Recovery.h"
#include "Release.h"
#include "Updater.h"

namespace {

using Words = std::vector<std::string>;

// More transfers at once than 24 descriptors are enough for; all of them last until all have begun.
Packages manyPackages() {
    Packages packages;
    for (std::size_t number = 10; number < 26; ++number)
        packages["Package" + std::to_string(number) + ".pkg"] = someBytes(30000 + number);
    return packages;
}

const std::string slowly = "* * slow 40000\n";

// These descriptors and no others, whatever the runner of the tests has open.
Words limitedTo(const std::string &softAndHard) {
    return {"bash",    "-c",      R"(for ((n = 3; n < 50; ++n)); do eval "exec $n>&-"; done; exec "$@")",
            "limited", "prlimit", "--nofile=" + softAndHard};
}

Ended runLimited(const std::string &softAndHard, const Job &job) {
    Words command = limitedTo(softAndHard);
    for (const std::string &word : commandOf(job))
        command.push_back(word);
    return run(command);
}

class LimitFault : public testing::TestWithParam<Job> {
protected:
#if defined(__SANITIZE_ADDRESS__)
    void SetUp() override {
        GTEST_SKIP()
            << "the sanitizer opens a pipe to look at an object, and takes one that it cannot have for "
               "an error";
    }
#endif
    const Job &job = GetParam();
};

TEST_P(LimitFault, SixteenDescriptors) {
    const Recovery recovery(job);
    recovery.expectComplete(tracedComplete(job), limitedTo("16:16"));
}

TEST_P(LimitFault, TooFewDescriptorsForTheService) {
    const Recovery recovery(job);
    // The host program has some of its own.
    const std::string limit = job.task == Task::update ? "8:8" : "11:11";
    recovery.expectRefused(tracedAsking(job) + tracedNoReply(job), 1, limitedTo(limit));
    recovery.expectCompleteNow();
}

// Which of them fail is the system's choice.
TEST_P(LimitFault, TooFewDescriptorsForManyPackages) {
    const Packages packages = manyPackages();
    const Recovery recovery(job, packages);
    misbehave(slowly);
    EXPECT_TRUE(isRefused(job, runLimited("24:24", job)));
    misbehave("");
    recovery.expectCompleteNow();
}

INSTANTIATE_TEST_SUITE_P(Job, LimitFault, testing::Values(updateByHttps, freshInstallByHttps), caseName);

// The command line raises it as far as it may.
TEST(SoftLimitFault, TooFewDescriptorsForManyPackages) {
    const Packages packages = manyPackages();
    offerPackages(updateByHttps, packages);
    misbehave(slowly);
    EXPECT_TRUE(isComplete(updateByHttps, runLimited("24:1024", updateByHttps), packages));
}

} // namespace
