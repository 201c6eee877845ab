#pragma once

#include <cstdint>

// The operating system's version, for example 10.8.5. A number the system does not tell is 0.
struct OsVersion {
    std::int32_t major;
    std::int32_t minor;
    std::int32_t bugFix;
};

OsVersion readOsVersion();
