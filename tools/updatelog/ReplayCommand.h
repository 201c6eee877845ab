// "updatelog replay": a bundle, explained.
#pragma once

#include <functional>
#include <string>

namespace CLI {
class App;
} // namespace CLI

struct ReplayOptions {
    std::string file;
    bool json = false;
};

// Gives the process's status; throws std::exception when the bundle cannot be used.
int runReplay(const ReplayOptions &options);

// When it is called, the command becomes what is to be run.
void addReplayCommand(CLI::App &app, std::function<int()> &command);
