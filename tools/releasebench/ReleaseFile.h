#pragma once

#include <filesystem>

#include "Release.h"

// Reads FOLDER/release.json. Throws UnusableInput when it is not what release.schema.json describes, names a
// catalog that it does not have or one twice, or holds a character that no catalog can: with file, line, key
// and what was expected, one line a fault. The packages' files are not looked at.
Release readRelease(const std::filesystem::path &folder);
