#pragma once

#include <filesystem>

// What a rehearsal needs beside this program: the sealed machine, its servers and the engine.
struct RehearsalPlace {
    std::filesystem::path seal;
    std::filesystem::path service; // the reference service
    std::filesystem::path engine;  // an installed tree
};

// Of the tree that this program is installed in or, for one that runs in its build, of the build, which is
// installed into the folder for it. Throws UnusableInput when there is no sealed machine there.
RehearsalPlace findRehearsalPlace(const std::filesystem::path &folder);
