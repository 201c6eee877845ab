// What is published of a release, told from the release alone: the documents that build writes and that the
// engine is asked about.
#pragma once

#include <functional>
#include <string>

#include "Release.h"

// Of a package's file.
struct FileFacts {
    std::string size; // bytes, decimal
    std::string hash; // SHA-1 in upper-case hex, as the engine compares it
};

// Gives the facts of a package. Whoever has none gives empty texts, and the catalog then lacks them.
using FactsOf = std::function<FileFacts(const ReleasePackage &)>;

// For whoever asks the engine only: it decides nothing by a package's size, and by its hash only whether it
// is that of another package. The name of its file will do for it.
FileFacts factsByName(const ReleasePackage &package);

std::string catalogXml(const ReleaseCatalog &catalog, const FactsOf &factsOf);
// The data of the reference service; rehearsal/README.md describes it.
std::string releasesXml(const Release &release);
// The property list with the order of installation, "DynaConfig.plist".
std::string orderList(const std::vector<std::string> &order);
