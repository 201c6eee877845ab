// The command line.
#pragma once

#include <optional>
#include <string>

struct Options {
    std::string library; // the engine's
    unsigned retries = 0;
    unsigned timeoutSeconds = 0; // none
    bool json = false;
    bool plain = false;
};

// The process's status when there is nothing to do but to end: help was shown, or the call was wrong.
std::optional<int> readOptions(int argc, const char *const *argv, Options &options);
