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
    const auto before = ownFiles();
    const Ended first = runJob(job);
    EXPECT_EQ(first.status, job.task == Task::update || fault.complete ? 0 : 2);
    EXPECT_EQ(tracedSinceLast(lastDownloads),
              Lines::thread + filledIn(fault.transfers, job) + tracedEndOf(job, fault.complete));
    EXPECT_TRUE(sameFiles({{"1.0.1.0/One.pkg", fault.file}}, filesBelow(packageDirectory())));
    if (fault.complete) {
        EXPECT_TRUE(isComplete(job, first, onePackage));
    } else {
        EXPECT_TRUE(isRefused(job, first));
        EXPECT_EQ(ownFiles(), before);
    }
    expectCompleteOnceItIsGone(job);
}

} // namespace

void registerPackageFaults(const std::vector<PackageFault> &faults, const std::vector<Job> &jobs) {
    for (const PackageFault &fault : faults)
        registerFault("ServerFault", fault.name, jobs,
                      [fault](const Job &job) { expectPackageFault(job, fault); });
}
