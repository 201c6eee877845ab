#pragma once

#include <filesystem>

// Makes a folder with a small, complete and explained release. Gives the process's status; throws
// UnusableInput when something stands there already, and std::system_error.
int runInit(const std::filesystem::path &folder);
