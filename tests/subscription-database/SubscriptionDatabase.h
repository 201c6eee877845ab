// How a test installs the subscription library and reads what it noted.
#pragma once

#include <filesystem>
#include <string>

#include "Paths.h"
#include "SubscriptionFiles.h"
#include "TextFile.h"

// Puts a build of the library where the engine looks for it.
inline void installSubscriptionDatabase(const std::string &library, const std::string &data) {
    std::filesystem::copy_file(library, subscriptionLibraryPath,
                               std::filesystem::copy_options::overwrite_existing);
    writeText(subscriptionDataPath, data);
}

inline std::string subscriptionLog() {
    return readText(subscriptionLogPath);
}
