// What a bundle says about itself and about the machine beside the files.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include "Bundle.h"

// The manifest: when it was made and by which version, the versions of the system and of what the engine
// builds on, which marker files are there, and each file with its sizes and how much of it was masked.
std::string bundleManifest(const BundleContent &content, bool isMasked);
