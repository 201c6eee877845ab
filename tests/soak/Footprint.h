// What this process holds of the machine at a moment.
#pragma once

#include <cstddef>
#include <cstdint>

struct Footprint {
    std::size_t residentKb;
    std::size_t heapBytes; // in use, of all arenas and of mappings of their own
    std::size_t descriptors;
    std::size_t threads;
    std::size_t children;  // ended and not waited for ones included
    std::size_t downloads; // files below the download root
    std::size_t temporary; // files in "/tmp", "/private/tmp" and beside the product's configuration
    std::uintmax_t logBytes;
};

// Between two jobs. A thread that was joined may be seen for a moment more: that is waited for.
Footprint footprint();
