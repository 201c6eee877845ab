// What a job does with an offer and why, for people and for programs.
#pragma once

#include <string>

#include <nlohmann/json_fwd.hpp>

#include "Offer.h"
#include "Plan.h"

class Paper;

// A question with its answer.
struct Explanation {
    Job job = Job::update;
    Machine machine;
    Asker asker;
    Offer offer;
    Plan plan;
};

// What kept a hot-fix from being chosen, or which bounds it is within, with both values compared.
std::string whySelected(const HotFixPackageInfo &hotFix, const Machine &machine, Selection selection);
// What gave a package its place.
std::string whyPlaced(const PlacedPackage &package);

void tellExplanation(const Explanation &explanation, Paper &paper);
// The order of installation alone; nothing where there is none.
void tellOrder(const Plan &plan, Paper &paper);
nlohmann::ordered_json explanationInJson(const Explanation &explanation);
