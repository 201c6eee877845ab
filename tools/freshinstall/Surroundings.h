// What the engine needs of the machine, as far as a host can look before it begins. The engine itself goes on
// without it and then tells something else: no service, or wrong packages.
#pragma once

#include <stdexcept>
#include <string>

class UnfitSurroundings : public std::runtime_error {
public:
    UnfitSurroundings(int processStatus, const std::string &what)
        : std::runtime_error(what)
        , status(processStatus) {}

    const int status;
};

// Throws UnfitSurroundings: without root's rights, or for the first tool that is missing.
void checkSurroundings();
