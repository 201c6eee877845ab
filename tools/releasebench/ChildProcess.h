#pragma once

#include <string>
#include <vector>

struct Ended {
    int status = 0;   // 128 and the signal's number for one that a signal ended
    std::string said; // on standard output and standard error
};

// Runs a program of PATH with that standard input and waits for it. It has none of this process's blocked
// signals, so that an interrupt ends it too. Throws std::system_error when it cannot be started.
Ended runProgram(const std::vector<std::string> &command, const std::string &input);
