// The engine as a host sees it: the five functions of the library, found by name, and owners for what they
// return.
//
// The library is loaded in the constructor and never unloaded, since the engine lives as long as the process.
// The constructor also makes the engine's first call, which must be alone; from then on any operation may be
// called from any thread.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "downloadManager.h"

class EngineUnusable : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class Engine {
public:
    // A file's path, or a bare name to be looked for where the system and this program's run path say. Throws
    // EngineUnusable when it can't be loaded or lacks a function.
    explicit Engine(const std::string &library);

    // Both block until the downloads have ended.
    bool freshInstall();
    void retry();

    DownloadProgressInfo progress() const;
    std::vector<std::string> packages() const;
    // The catalog's SHA-1 of a package. The engine looks for its name in the text that it is given, so the
    // folders of the path would only mislead it.
    std::string expectedHash(const std::string &path) const;

private:
    decltype(&FreshInstall) m_freshInstall = nullptr;
    decltype(&GetDownloadProgressInfo) m_getDownloadProgressInfo = nullptr;
    decltype(&GetDownloadedPackages) m_getDownloadedPackages = nullptr;
    decltype(&RetryDownloadPackages) m_retryDownloadPackages = nullptr;
    decltype(&GetHashValue) m_getHashValue = nullptr;
};

std::string fileName(const std::string &path);

// The engine's text of paths, each followed by "!:", taken apart.
std::vector<std::string> splitPackages(const std::string &text);
