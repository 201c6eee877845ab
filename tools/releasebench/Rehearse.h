#pragma once

#include <filesystem>
#include <string>

#include "Explain.h"

struct RehearseOptions {
    Question question;
    bool fresh = false;
    std::string failing;           // the file name of a package that the installer refuses
    std::filesystem::path results; // a folder for the engine's log and what else it leaves; none when empty
    std::filesystem::path keep;    // a folder for all that changed in the machine; none when empty
    std::filesystem::path script;  // how the scripted hosts misbehave; properly when empty
    std::filesystem::path inside;  // in the sealed machine: what was made for it outside
};

// Builds the release, makes a sealed machine and rehearses in there. Gives the process's status: 1 as well
// when what was rehearsed is not what was foretold, or fails. Throws UnusableInput and std::system_error.
int runRehearse(const RehearseOptions &options);

// What is done in the machine.
int rehearseInside(const RehearseOptions &options);
