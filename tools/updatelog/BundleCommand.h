// "updatelog bundle": what support asks for, in one file.
#pragma once

#include <filesystem>
#include <functional>

namespace CLI {
class App;
} // namespace CLI

struct BundleOptions {
    std::filesystem::path file;
    bool unmasked = false;
    bool force = false; // whatever file stands there is replaced
};

// Tells what the bundle holds, and then writes it, whole or not at all, for its owner's eyes only. Gives the
// process's status; throws std::exception when it could not be written, and nothing stands there then that
// did not before.
int runBundle(const BundleOptions &options);

// When it is called, the command becomes what is to be run.
void addBundleCommand(CLI::App &app, std::function<int()> &command);
