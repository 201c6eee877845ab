#pragma once

#include <filesystem>
#include <system_error>

// What the system refuses to look at, for the length of its name say, is none.
inline bool isPlainFile(const std::filesystem::path &path) {
    std::error_code unknown;
    return std::filesystem::is_regular_file(path, unknown);
}
