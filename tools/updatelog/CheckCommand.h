// "updatelog check": what a run on this machine will trip over.
#pragma once

#include <functional>

namespace CLI {
class App;
} // namespace CLI

// When it is called, the command becomes what is to be run.
void addCheckCommand(CLI::App &app, std::function<int()> &command);
