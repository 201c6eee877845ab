#include "ScriptCommand.h"

#include <iostream>
#include <utility>

#include "ChildProcess.h"
#include "InstallerScript.h"
#include "Paper.h"
#include "Statuses.h"

namespace {

struct SpecialCharacters {
    const char *characters;
    const char *effect;
};

// Others never get into a script: a download whose path holds them is refused, or fails.
constexpr SpecialCharacters specialCharacters[] = {
    {"*?[", "is taken for a pattern, which stands for the names of files that fit it"},
    {"{", "may be taken for several words, since it holds a brace"},
};

// What "bash -n" says of a script; nothing when it finds it sound.
std::string syntaxFaults(const std::string &script) {
    const Ended bash = runProgram({"bash", "-n"}, script);
    return bash.status == 0 ? "" : "bash -n: " + (bash.said.empty() ? "refuses the script\n" : bash.said);
}

} // namespace

std::vector<std::string> shellFaults(const std::string &path) {
    std::vector<std::string> faults;
    for (const SpecialCharacters &special : specialCharacters) {
        if (path.find_first_of(special.characters) != std::string::npos)
            faults.push_back(path + " " + special.effect);
    }
    return faults;
}

int runScript(const Question &question) {
    const Explanation explanation = explain(question, Job::update);
    if (explanation.plan.outcome != Outcome::done) {
        std::cerr << "releasebench: no script is run: " << explanation.plan.reason << '\n';
        return Statuses::findings;
    }
    const std::list<std::string> packages = scriptedPackages(explanation.plan);
    const std::string script = installerScript(packages);
    Paper paper;
    paper.verbatim(script);
    paper.finish();
    std::string findings = syntaxFaults(script);
    for (const std::string &path : packages) {
        for (const std::string &fault : shellFaults(path))
            findings += fault + "\n";
    }
    std::cerr << findings;
    return findings.empty() ? Statuses::done : Statuses::findings;
}
