// The runs of a log as a page: how each ended, what it rests on, and a bar for each file against the time.
#pragma once

#include <string>
#include <vector>

#include "RunLines.h"
#include "RunStory.h"

struct RunOfPage {
    RunStory story;
    RunLines lines;
};

std::string runsPage(const std::string &log, const std::vector<RunOfPage> &runs);
