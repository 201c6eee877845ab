#pragma once

#include <string>
#include <vector>

struct Ended {
    int status = 0;   // 128 and the signal's number for one that a signal ended
    std::string said; // on standard output and standard error
};

// Runs a program of PATH with that standard input and waits for it. An interrupt of this process ends it
// first. Throws std::system_error when it cannot be started.
Ended runProgram(const std::vector<std::string> &command, const std::string &input);
