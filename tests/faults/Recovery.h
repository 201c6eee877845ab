// What holds for every job that meets a fault: nothing installed is harmed, and the next one without it is
// complete.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Job.h"
#include "Observed.h"

// One package, as the traces of JobTrace.h have it.
extern const Packages plainPackage;

// The files of the installed product as they were when it was made.
class InstalledFiles {
public:
    InstalledFiles();

    // A fresh installation that is complete adds its record to the property list, and changes nothing else.
    testing::AssertionResult areUnchanged(const std::string &but = "") const;

private:
    static Files read();

    Files m_before = read();
};

// A job without a fault, once nothing of an earlier one's success is left.
void expectCompleteNow(const Job &job, const Packages &packages);

// Before and after a fault.
class Recovery {
public:
    explicit Recovery(const Job &job, const Packages &packages = plainPackage);

    // The job in the fault, run by these words before its command: the trace is this one, a fresh
    // installation ends with this status, nothing is left that a later installation would take, and nothing
    // installed is changed. The reader of logs tells so.
    void expectRefused(const std::string &trace, int freshInstallStatus,
                       const std::vector<std::string> &runBy = {}) const;
    // The job brings all that there is, whatever the fault. No trace where none can be read.
    void expectComplete(const std::optional<std::string> &trace,
                        const std::vector<std::string> &runBy = {}) const;
    // Another job, once the fault is gone.
    void expectCompleteNow() const;

private:
    Ended run(const std::vector<std::string> &runBy) const;

    const Job &m_job;
    const Packages &m_packages;
    InstalledFiles m_installed;
};
