#include <exception>
#include <iostream>

#include "CommandLine.h"
#include "Interrupts.h"
#include "OwnStreams.h"
#include "Statuses.h"
#include "UnusableInput.h"

int main(int argc, char **argv) {
    try {
        occupyClosedStreams();
        const Interrupts interrupts;
        return runCommandLine(argc, argv);
    } catch (const UnusableInput &error) {
        std::cerr << error.what() << '\n'; // names its place
    } catch (const std::exception &error) {
        std::cerr << "releasebench: " << error.what() << '\n';
    }
    return Statuses::unusable;
}
