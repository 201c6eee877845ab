#pragma once

#include <filesystem>
#include <string>

// Gives a file its content as a whole or not at all. Throws
// UnusableInput when something other than a file stands there, and std::system_error.
void putFile(const std::filesystem::path &file, const std::string &content);
