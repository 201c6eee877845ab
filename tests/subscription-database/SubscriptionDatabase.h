// Where the tests' subscription library finds its text and leaves its notes, and how a test installs it.
#pragma once

#include <filesystem>
#include <string>

#include "Paths.h"
#include "TextFile.h"

// What the library holds and how it misbehaves: written by the test, read at every call.
constexpr const char *subscriptionDataPath = "/srv/rehearsal/subscription.txt";
// One line for every time it was loaded or unloaded: written by the library, read by the test.
constexpr const char *subscriptionLogPath = "/srv/rehearsal/subscription.log";

// Puts a build of the library where the engine looks for it.
inline void installSubscriptionDatabase(const std::string &library, const std::string &data) {
    std::filesystem::copy_file(library, subscriptionLibraryPath,
                               std::filesystem::copy_options::overwrite_existing);
    writeText(subscriptionDataPath, data);
}

inline std::string subscriptionLog() {
    return readText(subscriptionLogPath);
}
