#pragma once

#include <fstream>

// Whether a file can be given to another user: in a sealed machine that was made without root's rights there
// is nobody but its root.
inline bool hasOtherUsers() {
    unsigned first = 0, outside = 0, count = 0;
    std::ifstream("/proc/self/uid_map") >> first >> outside >> count;
    return count > 1;
}

constexpr const char *noOtherUsers =
    "needs real root: without its rights the sealed machine has no user but its root";
