// Why a job of the engine did what it did, by the engine's own code on what a bundle holds, and what the log
// says of the same.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Explanation.h"
#include "ReplayBundle.h"
#include "RunStory.h"

struct Replay {
    RunStory run; // the newest that asked the service
    // The newest that installed packages since then.
    std::optional<RunStory> installation;
    // None where the bundle has too little for it.
    std::optional<Explanation> explanation;
    // The order of the packages that the log or the list tells of, where nothing is explained.
    Plan order;
    std::vector<TransferStory> fetched;  // by that run, without the catalogs
    std::vector<std::string> agreements; // of what was foretold with what the log says
    std::vector<std::string> differences;
    std::vector<std::string> unanswered;
};

// Throws std::runtime_error when the bundle has no log, or one in which nobody asked the service.
Replay replayOf(const ReplayBundle &bundle);
