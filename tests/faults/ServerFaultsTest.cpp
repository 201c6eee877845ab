// Servers that answer late, wrongly, in part or not at all.

#include <gtest/gtest.h>

#include "Job.h"
#include "Observed.h"
#include "Release.h"

namespace {

const Packages packages = {{"One.pkg", someBytes(100000)}};

class ServerFault : public testing::TestWithParam<Job> {};

TEST_P(ServerFault, ClosedInMidBodyOnce) {
    const Job &job = GetParam();
    offerPackages(job, packages);
    misbehave("/One.pkg 1 cut 40000\n");
    const Ended first = runJob(job);
    EXPECT_TRUE(isComplete(job, first, packages));
}

INSTANTIATE_TEST_SUITE_P(Job, ServerFault, testing::Values(updateByHttps, freshInstallByHttps), caseName);

} // namespace
