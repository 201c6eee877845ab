#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "ServerCheck.h"

struct ServersOptions {
    std::filesystem::path folder;
    std::string service; // "https://staging.example", to be asked in the engine's own service's place
    std::string system = "10.8.5";
    std::string releaseName = "basicmac3.3";
    int timeout = 30;        // seconds for an answer
    int totalTimeout = 1800; // seconds for everything
    std::size_t parallel = 8;
    std::string format = "text"; // or "json"
};

// Asks the real servers as the engine will, and compares what they have with the folder. Gives the process's
// status: 1 when something is another way than in the folder. Throws UnusableInput and std::system_error.
int runServers(const ServersOptions &options);

std::string checksInJson(const std::vector<ServerCheck> &checks);
