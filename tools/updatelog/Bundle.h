// What a bundle holds: what support asks for when an update went wrong, as it is told and as it is archived.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "BundleMask.h"

// A file of the machine, or what is kept of it.
struct BundledFile {
    std::string path; // on the machine
    std::string content;
    std::uint64_t bytes = 0; // on the machine
    bool isEndOnly = false;  // what stands before did not fit
    MaskCount masked;
};

// One that would be of use.
struct MissingFile {
    std::string path;
    std::string why;
    bool isAbsent = false; // there is none, and so there is none for the engine
};

struct BundleContent {
    std::vector<BundledFile> files;
    std::vector<MissingFile> missing;
    std::optional<std::string> findings; // of a check of the machine
};

// So much is taken in all. Of the log, which alone may be longer than that, the newest lines.
constexpr std::size_t mostBundledBytes = std::size_t(256) << 20;
constexpr std::size_t mostBundledOfLog = std::size_t(64) << 20;
constexpr std::size_t mostBundledFiles = 2000;

// Its names within a bundle.
inline const std::string bundleManifestName = "bundle.json";
inline const std::string bundleCheckName = "check.json";
inline const std::string bundledFilesFolder = "files"; // before a path on the machine
inline constexpr int bundleFormat = 1;
