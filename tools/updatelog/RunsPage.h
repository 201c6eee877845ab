// The runs of a log as a page: how each ended, what it rests on, and a bar for each file against the time.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "RunLines.h"
#include "RunStory.h"

struct RunOfPage {
    // So many files and packages are there of a run, its first ones; the rest is counted.
    static constexpr std::size_t mostFiles = 2000;

    RunStory story;
    RunLines lines;
    std::size_t moreFiles = 0;
};

// With no more than the page shows of it: many of them are kept.
RunOfPage forPage(RunStory story, RunLines lines);

std::string runsPage(const std::string &log, const std::vector<RunOfPage> &runs);
