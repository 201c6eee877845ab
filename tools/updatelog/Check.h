// Tells what a run of the engine on this machine will trip over, and changes nothing.
#pragma once

#include <string>
#include <vector>

#include "CheckTheme.h"

struct CheckOptions {
    bool asksNetwork = false;
    bool json = false;
};

struct CheckFinding {
    const CheckRule *rule;
    std::string text;
};

// All that may be found.
std::vector<const CheckRule *> checkRules();

// Throws std::runtime_error (std::system_error too) where it could not look: without root's rights, and when
// the system refuses what is needed. Starts processes of its own, so no thread should be in the midst of
// anything that they need.
std::vector<CheckFinding> findingsOfMachine(bool asksNetwork);

// One line.
std::string checkFindingsInJson(const std::vector<CheckFinding> &findings);

// Gives the process's status.
int runCheck(const CheckOptions &options);
