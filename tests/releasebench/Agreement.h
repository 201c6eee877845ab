// What releasebench foretells of a release, and what the installed engine does with it.
#pragma once

#include <list>
#include <optional>
#include <string>
#include <vector>

#include "ChanceRelease.h"

struct Done {
    bool isDone = false;               // whether packages are there to be installed
    std::string reason;                // of anything else, a line of the log
    std::vector<std::string> packages; // in the order in which they are told of or listed
    std::vector<std::string> branding; // installed at once
    std::string script;
    std::vector<std::string> configuration; // the six values of the release afterwards
};

// Puts the release where the sealed machine's servers and the engine find it.
void publishBuilt(const ChanceRelease &release);

Done foretold(const ChanceRelease &release);
// The packages are installed in the order that was foretold among those of one version: the engine lists them
// in the order in which its threads began.
Done carriedOut(const ChanceRelease &release, const Done &foretold);

// Of a fresh installation, whose packages have no order and whose script is not the engine's.
Done foretoldFresh(const ChanceRelease &release);
Done carriedOutFresh(const ChanceRelease &release, const Done &foretold);
