#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <string>

#include "Publication.h"

// How far the hashing is.
struct HashProgress {
    std::uintmax_t bytes = 0;
    std::uintmax_t of = 0;
};

// The facts of files, found by all processors at once. The watcher is told of the progress ten times a
// second, by the calling thread. Throws std::system_error, with the file's path, for one that cannot be read.
std::map<std::filesystem::path, FileFacts>
factsOfFiles(const std::vector<std::filesystem::path> &files,
             const std::function<void(const HashProgress &)> &watcher);
