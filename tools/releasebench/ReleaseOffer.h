// What a machine that asks is told of a release.
#pragma once

#include <string>
#include <vector>

#include "Offer.h"
#include "Release.h"

// A package's hash is the name of its file here. Throws std::system_error when the temporary files that the
// engine reads cannot be made.
Offer offerTo(const Asker &asker, const Release &release, Job job);

// The order of installation, as the engine reads it from the property list that the release ships. Throws as
// above.
std::vector<std::string> orderNamesOf(const Release &release);

// The first who is asked for by a release.
Asker firstAsker(const Release &release);
