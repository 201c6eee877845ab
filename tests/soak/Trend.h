// Whether what a process holds stays the same from its first jobs to its last.
#pragma once

#include <cstddef>
#include <ostream>
#include <vector>

#include "Footprint.h"

struct Sample {
    std::size_t jobs; // that had ended
    Footprint held;
};

// By as much the heap in use goes up and down from job to job: a thread that ended may leave its cache a
// moment.
constexpr std::size_t heapNoise = 4096;

const char *verdict(bool good);

// Writes the figures to the stream, each with its bound. Whether all were within them.
bool isFlat(const std::vector<Sample> &samples, std::ostream &out);
