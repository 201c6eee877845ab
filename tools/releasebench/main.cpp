#include <exception>
#include <iostream>
#include <sstream>
#include <string>

#include "CommandLine.h"
#include "Interrupts.h"
#include "OwnStreams.h"
#include "Readable.h"
#include "Statuses.h"
#include "UnusableInput.h"

namespace {

// What comes from a release must not command a terminal.
void tell(const std::string &text) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        std::cerr << printable(line) << '\n';
}

} // namespace

int main(int argc, char **argv) {
    try {
        occupyClosedStreams();
        const Interrupts interrupts;
        return runCommandLine(argc, argv);
    } catch (const UnusableInput &error) {
        tell(error.what()); // names its place
    } catch (const std::exception &error) {
        tell(std::string("releasebench: ") + error.what());
    }
    return Statuses::unusable;
}
