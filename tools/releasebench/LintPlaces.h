#pragma once

#include <memory>
#include <string>

#include "LintInput.h"

// The places of a release's catalog, in release.json. Both must live longer.
std::shared_ptr<const CatalogPlaces> placesInRelease(const Release &release, const ReleaseCatalog &catalog);
// Those of a catalog alone, in its file.
std::shared_ptr<const CatalogPlaces> placesInXml(const std::string &file,
                                                 std::shared_ptr<const CatalogXml> document);
