// A server that does wrong while a package is downloaded.
#pragma once

#include "Fault.h"

struct PackageFault {
    const char *name;
    Trouble trouble;
    std::string transfers; // traced from the package's first transfer on
    bool complete;
    std::string file; // what is on the disk then
};

void registerPackageFaults(const std::vector<PackageFault> &faults,
                           const std::vector<Job> &jobs = jobsByBoth());
