#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

#include "HttpAsk.h"
#include "ServerCheck.h"

// A file that a release publishes.
struct PublishedFile {
    std::string url;
    std::string name; // of the file in the folder, or of what build makes
    std::uint64_t size = 0;
    std::string hash; // SHA-1 in upper-case hex
    // The bytes from an offset on, at most so many; fewer only at the end. Called by any thread. Throws
    // std::system_error.
    std::function<std::string(std::uint64_t offset, std::size_t count)> bytes;
};

// Asks for the file by HEAD, once whole by GET, and for two of its ends as a transfer that broke off does.
// The bytes of the whole are counted while they come.
ServerCheck checkFile(const PublishedFile &file, const HttpAsker &asker,
                      std::atomic<std::uintmax_t> &bytesRead);
