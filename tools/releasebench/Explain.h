#pragma once

#include <filesystem>
#include <string>

#include "Format.h"
#include "Plan.h"
#include "Release.h"

// What is asked about: a machine, who it is to the service, and the job.
struct Question {
    std::filesystem::path folder;
    std::filesystem::path config; // a machine's ProductConfig.xml, for what is empty below
    std::string product;
    std::string system;
    std::string application;
    std::string affiliate;
};

struct ExplainOptions {
    Question question;
    bool fresh = false;
    Format format = Format::text;
};

// A question with its answer.
struct Explanation {
    Job job = Job::update;
    Machine machine;
    Asker asker;
    Offer offer;
    Plan plan;
};

// Completes the question from the configuration and the release, and answers it. Throws UnusableInput when
// something is missing that nothing tells.
Explanation explain(const Question &question, Job job);

// What kept a hot-fix from being chosen, or which bounds it is within, with both values compared.
std::string whySelected(const HotFixPackageInfo &hotFix, const Machine &machine, Selection selection);
// What gave a package its place.
std::string whyPlaced(const PlacedPackage &package);

std::string explanationInJson(const Explanation &explanation);

int runExplain(const ExplainOptions &options);
