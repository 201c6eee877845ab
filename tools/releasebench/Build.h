#pragma once

#include <filesystem>
#include <string>

#include "Release.h"

struct BuildOptions {
    std::filesystem::path folder;
    std::filesystem::path out; // FOLDER/built when empty
};

// Writes what is published beside the packages: catalogs/NAME.xml, DynaConfig.plist and releases.xml. Gives
// the process's status; throws UnusableInput and std::system_error, and has then written nothing.
int runBuild(const BuildOptions &options);
