#pragma once

#include <filesystem>
#include <string>

#include "Explanation.h"
#include "Format.h"

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

// Completes the question from the configuration and the release, and answers it. Throws UnusableInput when
// something is missing that nothing tells.
Explanation explain(const Question &question, Job job);

int runExplain(const ExplainOptions &options);
