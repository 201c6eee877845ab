#include "CheckCommand.h"

#include <memory>

#include <CLI/CLI.hpp>

#include "Check.h"

void addCheckCommand(CLI::App &app, std::function<int()> &command) {
    const auto options = std::make_shared<CheckOptions>();
    CLI::App *const check =
        app.add_subcommand("check", "Tell what a run on this machine will trip over, and change nothing");
    check->add_flag("--network", options->asksNetwork,
                    "Ask the update service too: its name, its certificate, how long it takes");
    check->add_flag("--json", options->json, "One JSON object, on one line");
    check->footer("To be run as root, with the environment and the limits of the runs.\n\n"
                  "Example:\n  $ updatelog check --json\n\n"
                  "Exit status:\n"
                  "  0  nothing was found\n"
                  "  1  something was, and is told with its remedy\n"
                  "  2  it could not look, or a wrong call\n");
    check->callback([options, &command] { command = [options] { return runCheck(*options); }; });
}
