// usage: makeRecording NAME
// Inside a sealed machine with servers: writes that scenario's recording to its standard output.
#include <algorithm>
#include <iostream>

#include "Scenarios.h"

int main(int argc, char *argv[]) {
    const auto found = std::find_if(scenarios().begin(), scenarios().end(), [&](const Scenario &scenario) {
        return argc == 2 && scenario.name == argv[1];
    });
    if (found == scenarios().end()) {
        std::cerr << "usage: makeRecording NAME\n";
        return 64;
    }
    std::cout << record(*found, true);
    return 0;
}
