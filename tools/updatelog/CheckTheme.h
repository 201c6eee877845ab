// What a run on this machine may trip over, field by field.
#pragma once

#include <functional>
#include <string>
#include <vector>

enum class CheckDocument { limits, faults };

// One way in which a machine can be unfit. The texts are sentences for people.
struct CheckRule {
    const char *id;          // stable
    const char *consequence; // what a run makes of it
    const char *remedy;
    CheckDocument document; // docs/limits.md or docs/faults.md, and its row:
    const char *row;        // how the first begins, or the scenario of the second
};

// Takes what is found: by which rule, and what stands there.
using TellCheck = std::function<void(const CheckRule &rule, const std::string &text)>;

// Looks at the machine and changes nothing of it. Throws std::system_error when the system does not let it.
struct CheckTheme {
    std::vector<const CheckRule *> rules; // all that it may tell
    void (*look)(const TellCheck &tell);
};

CheckTheme checkedEnvironment();
CheckTheme checkedFolders();
CheckTheme checkedTools();
CheckTheme checkedLeftovers();
CheckTheme checkedDisks();
CheckTheme checkedLimits();
CheckTheme checkedConfigurations();
// Asks the service, within a minute or two.
CheckTheme checkedNetwork();
