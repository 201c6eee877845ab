// Which hot-fixes one machine gets together.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "LintInput.h"
#include "Plan.h"

// A machine that the hot-fix is for; none when there is no such machine.
std::optional<Machine> machineFor(const HotFixPackageInfo &hotFix);
// One that gets both.
std::optional<Machine> machineForBoth(const HotFixPackageInfo &one, const HotFixPackageInfo &other);

struct LintPair {
    LintHotFix earlier; // in the offer's order
    LintHotFix later;
    Machine machine; // that gets both
};

// For hot-fixes of one key, told by the function, another one that some machine gets with it: at most one
// pair for each. An empty key is none. Only pairs that the other function wants count. Where very many of one
// key are for the same products a pair may be missed, so that this takes n log n.
std::vector<LintPair> pairsOf(const std::vector<LintHotFix> &hotFixes,
                              const std::function<std::string(const LintHotFix &)> &keyOf,
                              const std::function<bool(const LintHotFix &, const LintHotFix &)> &isWanted);
