#pragma once

#include <filesystem>
#include <string>

#include "OutputFolder.h"
#include "Release.h"

struct BuildOptions {
    std::filesystem::path folder;
    std::filesystem::path out; // FOLDER/built when empty
};

// What is published beside the packages, all of it. The packages are hashed, with a bar on a terminal. Throws
// UnusableInput when one is missing, and std::system_error.
FolderFiles publicationOf(const Release &release);

// Writes what is published beside the packages: catalogs/NAME.xml, DynaConfig.plist and releases.xml. Gives
// the process's status; throws UnusableInput and std::system_error, and has then written nothing.
int runBuild(const BuildOptions &options);
