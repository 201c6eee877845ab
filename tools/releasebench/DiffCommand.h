#pragma once

#include <filesystem>
#include <string>

#include "MatrixCommand.h"

struct DiffOptions {
    std::filesystem::path before;
    std::filesystem::path now;
    std::string application;
    std::string affiliate;
    Format format = Format::text;
};

// Tells what becomes of machines when one release takes the place of another. Statuses::findings when a
// customer is worse off.
int runDiff(const DiffOptions &options);
