#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "OutputFolder.h"
#include "Publication.h"
#include "Release.h"

struct BuildOptions {
    std::filesystem::path folder;
    std::filesystem::path out; // FOLDER/built when empty
};

// Of all packages, by their files. They are hashed, with a bar on a terminal. Throws UnusableInput when one
// is missing, and std::system_error.
using PackageFacts = std::map<std::filesystem::path, FileFacts>;
PackageFacts factsOfPackages(const Release &release);

// What is published beside the packages, all of it.
FolderFiles publicationOf(const Release &release, const PackageFacts &facts);

// Writes what is published beside the packages: catalogs/NAME.xml, DynaConfig.plist and releases.xml. Gives
// the process's status; throws UnusableInput and std::system_error, and has then written nothing.
int runBuild(const BuildOptions &options);
