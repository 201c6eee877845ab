#pragma once

#include <string>
#include <vector>

#include "Paper.h"

// A table in text. Where a terminal's line is too short for all columns they follow one another in blocks,
// each with the first column before it.
struct Table {
    std::vector<std::string> head;
    std::vector<std::vector<std::string>> rows; // each as long as the head

    void write(Paper &paper) const;
};
