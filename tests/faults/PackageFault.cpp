#include "PackageFault.h"

#include <gtest/gtest.h>

#include "Observed.h"
#include "Paths.h"
#include "TextFile.h"

namespace {

const std::string lastDownloads = ">INFO: Creating Download thread\n";

void expectPackageFault(const Job &job, const PackageFault &fault) {
    offerPackages(job, onePackage);
    makeTrouble(job, fault.trouble);
    const InstalledFiles installed;
    const Ended first = runJob(job);
    EXPECT_EQ(first.status, job.task == Task::update || fault.complete ? 0 : 2);
    EXPECT_EQ(tracedSinceLast(lastDownloads),
              Lines::thread + filledIn(fault.transfers, job) + tracedOutcome(job, fault.complete));
    EXPECT_TRUE(sameFiles({{"1.0.1.0/One.pkg", fault.file}}, filesBelow(packageDirectory())));
    if (fault.complete) {
        EXPECT_TRUE(isComplete(job, first, onePackage));
        EXPECT_TRUE(installed.areUnchanged(configurationPlistPath));
    } else {
        EXPECT_TRUE(isRefused(job, first));
        EXPECT_TRUE(installed.areUnchanged());
    }
    expectCompleteOnceItIsGone(job);
}

} // namespace

void registerPackageFaults(const std::vector<PackageFault> &faults, const std::vector<Job> &jobs) {
    for (const PackageFault &fault : faults)
        registerFault("ServerFault", fault.name, jobs,
                      [fault](const Job &job) { expectPackageFault(job, fault); });
}
