// What a bundle says about itself and about the machine beside the files.
#pragma once

#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "Bundle.h"

// The manifest: when it was made and by which version, the versions of the system and of what the engine
// builds on, which marker files are there, and each file with its sizes and how much of it was masked.
std::string bundleManifest(const BundleContent &content, bool isMasked);

// The findings of a check of the machine, as "updatelog check" tells them to programs; none where nothing is
// checked. This is the place for them. Is called before there is another thread; whatever it throws is told,
// and the bundle is made without them.
std::optional<std::string> bundledFindings();
