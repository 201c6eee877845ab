// Which jobs a soak runs, and what goes wrong in them.
#pragma once

#include <cstddef>
#include <vector>

#include "Offer.h"

struct Task {
    bool isInstallation;
    Fault fault;
};

struct Plan {
    std::vector<Task> tasks;
    // As many at the beginning hold every kind once: from then on nothing is new.
    std::size_t firstOfAll;
};

// The numbers are at least those of the faults: 4 and 5. The installations are spread evenly among the
// updates, and every fifth job of either kind has a fault.
Plan planOf(std::size_t updates, std::size_t installations);
