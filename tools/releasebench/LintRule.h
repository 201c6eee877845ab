// A rule of lint: one way in which a release can hurt the engine or a customer.
#pragma once

#include <functional>
#include <string>
#include <vector>

enum class Severity { note, warning, error };

// Where something stands. A part is what people call it there: "catalogs[0].hotFixes[1].url" in release.json,
// "hf_package[2]/url" in a catalog.
struct LintPlace {
    std::string file;
    int line = 1;
    std::string part;
};

// Takes what a rule finds: where, and what stands there and comes of it.
using Tell = std::function<void(const LintPlace &, const std::string &)>;

// A text that rules look at, with its place, which is looked up for findings only.
using WhereIs = std::function<LintPlace()>;
using VisitText = std::function<void(const std::string &, const WhereIs &)>;

// Visits texts by telling what a function finds wrong with them; "" is nothing. The tell must live longer.
VisitText tellingFaults(const Tell &tell, std::string (*faultOf)(const std::string &));

struct LintInput;

// The texts are sentences for people; docs/lint.md consists of them.
struct LintRule {
    const char *id; // stable
    Severity severity;
    const char *what;   // is found
    const char *why;    // what the engine makes of it
    const char *remedy; // for the release engineer
    const char *limit;  // how the row of docs/limits.md begins that it can set off; "" for none
    void (*check)(const LintInput &input, const Tell &tell);
};

// All rules, by theme. A new one is one entry of one of these.
std::vector<LintRule> catalogXmlRules();
std::vector<LintRule> valueRules();
std::vector<LintRule> versionRules();
std::vector<LintRule> buildRules();
std::vector<LintRule> boundRules();
std::vector<LintRule> urlRules();
std::vector<LintRule> destinationRules();
std::vector<LintRule> hashRules();
std::vector<LintRule> fullInstallRules();
std::vector<LintRule> replyRules();
std::vector<LintRule> orderRules();
std::vector<LintRule> fileRules();

const std::vector<LintRule> &lintRules();
bool isLintRule(const std::string &id);

const char *nameOf(Severity severity);

// What a rule found.
struct Finding {
    const LintRule *rule;
    LintPlace place;
    std::string text;
};

// What the rules find, without those of the given ids, by file and line; nothing stands twice.
std::vector<Finding> findingsOf(const LintInput &input, const std::vector<std::string> &disabled = {});
