#include <exception>
#include <functional>
#include <iostream>

#include <CLI/CLI.hpp>

#include "BundleCommand.h"
#include "CheckCommand.h"
#include "Follower.h"
#include "OwnStreams.h"
#include "ReplayCommand.h"
#include "UpdateLog.h"

int main(int argc, char **argv) {
    UpdateLogOptions options;
    bool follow = false;
    options.file = "/var/log/DownloadManager.log";
    CLI::App app("Tells what the update engine did, from its log", "updatelog");
    app.set_version_flag("--version", "updatelog " VERSION, "Show the version");
    app.set_help_flag("--help", "Show this text");
    app.add_option("FILE", options.file, "The log; default " + options.file);
    app.add_flag("--all", options.all, "Every run, and not only the newest ten");
    app.add_option("--run", options.run, "This run alone, in full")->type_name("N");
    app.add_option("--since", options.since,
                   "Runs that were heard of since then: 2026-11-22, 2026-11-22.07:00:00")
        ->type_name("TIME")
        ->check([](const std::string &text) { return isTime(text) ? "" : "no such time: " + text; });
    app.add_flag("--json", options.json, "One JSON object a run, one a line");
    app.add_option("--html", options.page, "Write them as a page too, with a timeline and their lines")
        ->type_name("FILE");
    app.add_flag("--follow", follow, "Tell every line when it comes, until an interrupt")
        ->excludes("--all", "--run", "--since", "--json", "--html");
    app.footer("The newest run, or the one that is asked for, is told in full.\n\n"
               "Examples:\n  $ updatelog --since 2026-11-22\n"
               "  $ updatelog --html runs.html\n\n"
               "Exit status:\n"
               "  0  the newest run, or the one that was asked for, was well\n"
               "  1  it was not\n"
               "  2  no usable log, or a wrong call\n");
    std::function<int()> command = [&options, &follow] {
        if (!follow)
            return runUpdateLog(options);
        followLog(options.file); // until a signal ends the process
        return Statuses::unusable;
    };
    addCheckCommand(app, command);
    addBundleCommand(app, command);
    addReplayCommand(app, command);
    try {
        occupyClosedStreams();
        app.parse(argc, argv);
        return command();
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? Statuses::well : Statuses::unusable;
    } catch (const std::exception &error) {
        std::cerr << "updatelog: " << error.what() << '\n';
    }
    return Statuses::unusable;
}
