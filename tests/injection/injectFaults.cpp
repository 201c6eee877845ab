// Fails the calls of whole runs, one run for each, and tells what came of it. Runs in a sealed machine; see
// scripts/inject-faults.
#include <algorithm>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "Campaign.h"

namespace {

FaultKind kindNamed(const std::string &name) {
    const auto found = std::find(faultKinds.begin(), faultKinds.end(), name);
    if (found == faultKinds.end())
        throw std::invalid_argument("there is no kind " + name);
    return static_cast<FaultKind>(found - faultKinds.begin());
}

struct Options {
    Selection selection;
    std::vector<std::string> runs;
    std::string sanitizer;
    std::string point;
};

Options optionsOf(const std::vector<std::string> &arguments) {
    Options options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string &argument = arguments[i];
        const auto value = [&arguments, &i] { return arguments.at(++i); };
        if (argument == "--every")
            options.selection.depth = Depth::every;
        else if (argument == "--stacks")
            options.selection.depth = Depth::stacks;
        else if (argument == "--run")
            options.runs.push_back(value());
        else if (argument == "--part")
            options.selection.part = std::stoul(value());
        else if (argument == "--parts")
            options.selection.parts = std::stoul(value());
        else if (argument == "--most")
            options.selection.most = std::stoul(value());
        else if (argument == "--point")
            options.point = value();
        else if (argument == "--sanitizer")
            options.sanitizer = value();
        else
            options.selection.kinds.push_back(kindNamed(argument));
    }
    return options;
}

} // namespace

int main(int argc, char **argv) {
    try {
        const Options options = optionsOf({argv + 1, argv + argc});
        if (!options.point.empty()) {
            showPoint(options.runs.at(0), options.point, options.sanitizer);
            return 0;
        }
        Report report;
        for (const std::string &run : options.runs) {
            injectInto(run, options.selection, options.sanitizer, report,
                       [](const Finding &finding) { std::cout << finding.text() << std::endl; });
        }
        std::cout << tableOf(report);
        std::size_t found = 0;
        for (const auto &[kind, counts] : report.counts)
            found += counts.count(Outcome::found) == 0 ? 0 : counts.at(Outcome::found);
        return found == 0 ? 0 : 1;
    } catch (const std::exception &error) {
        std::cerr << "injectFaults: " << error.what() << '\n';
        return 64;
    }
}
