#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "LintRule.h"

enum class LintFormat { text, json, sarif };
// Of one of these names.
LintFormat lintFormatNamed(const std::string &name);

struct LintOptions {
    std::vector<std::filesystem::path> paths; // a release folder, or catalogs
    LintFormat format = LintFormat::text;
    std::vector<std::string> disabled; // ids of rules
    bool isForRules = false;           // tell the rules and look at nothing
};

// How many findings there are of each severity.
struct LintCounts {
    std::size_t errors = 0;
    std::size_t warnings = 0;
    std::size_t notes = 0;
};
LintCounts countsOf(const std::vector<Finding> &findings);

std::string findingsInJson(const std::vector<Finding> &findings);
// SARIF 2.1.0.
std::string findingsInSarif(const std::vector<Finding> &findings);
// The table of docs/lint.md.
std::string rulesInMarkdown();

// Errors and warnings are findings, notes are not.
int runLint(const LintOptions &options);
