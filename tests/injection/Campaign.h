// Which of a run's calls are failed, and what came of it.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "Scenario.h"

// How many of a run's points are taken: one for each of the engine's own paths to an allocation and for each
// stack of other calls; one for each stack; all.
enum class Depth { paths, stacks, every };

struct Selection {
    std::vector<FaultKind> kinds;
    Depth depth = Depth::paths;
    std::size_t part = 0; // this of so many equal parts
    std::size_t parts = 1;
    std::size_t most = 0; // evenly chosen of each kind; 0 for no limit
};

struct Finding {
    std::string run;
    FaultPoint point;
    Judgement judgement;
    std::string call;
    std::string place; // in the engine
    std::string text() const;
};

using Counts = std::map<Outcome, std::size_t>;

struct Report {
    std::map<FaultKind, Counts> counts;
    std::vector<Finding> findings; // all that did not simply succeed
};

// Fails the selected points of a run, one after the other. `tell` is called with every finding at once.
void injectInto(const std::string &run, const Selection &selection, const std::string &sanitizer,
                Report &report, const std::function<void(const Finding &)> &tell);

// Fails one point, as a finding names it, and shows its stack and the run's trace.
void showPoint(const std::string &run, const std::string &point, const std::string &sanitizer);

std::string tableOf(const Report &report);
