// The runs of a log as a page: how each ended, what it rests on, and a bar for each file against the time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "RunLines.h"
#include "RunStory.h"

struct RunOfPage {
    // So many files and packages are there of a run, its first ones; the rest is counted.
    static constexpr std::size_t mostFiles = 2000;
    // So much weigh the runs of a page together at most: no browser shows a page of any size.
    static constexpr std::size_t mostWeight = 10 * RunLines::mostBytes;

    RunStory story;
    RunLines lines;
    std::size_t moreFiles = 0;
    std::uint64_t moreLines = 0;
};

// With no more than the page shows of it: many of them are kept.
RunOfPage forPage(RunStory story, RunLines lines);
// About the bytes of its files and lines.
std::size_t weightOf(const RunOfPage &run);
// Leaves these out; they are counted.
void lighten(RunOfPage &run);

std::string runsPage(const std::string &log, const std::vector<RunOfPage> &runs);
