#include "ReplayCommand.h"

#include <memory>

#include <CLI/CLI.hpp>

#include "Interrupts.h"
#include "Paper.h"
#include "Replay.h"
#include "ReplayTelling.h"
#include "UpdateLog.h"

int runReplay(const ReplayOptions &options) {
    const Interrupts interrupts;
    const ReplayBundle bundle(options.file);
    const Replay replay = replayOf(bundle);
    Paper paper;
    if (options.json)
        paper.verbatim(replayInJson(replay, bundle) + "\n");
    else
        tellReplay(replay, bundle, paper);
    paper.finish();
    return replay.differences.empty() && replay.unanswered.empty() ? Statuses::well : Statuses::notWell;
}

void addReplayCommand(CLI::App &app, std::function<int()> &command) {
    const auto options = std::make_shared<ReplayOptions>();
    CLI::App *const replay = app.add_subcommand(
        "replay", "Tells from a bundle why each hot-fix was or was not chosen, and in which order");
    replay->add_option("FILE", options->file, "A file that updatelog bundle made")->required();
    replay->add_flag("--json", options->json, "Print one JSON object");
    replay->footer("The engine's own code judges what the bundle holds, for the newest run that asked the "
                   "service; the log is compared with it. Nothing of the bundle is put on the disk but its "
                   "catalogs and the order of installation, in a temporary folder.\n\n"
                   "Example:\n  $ updatelog replay /tmp/update.tar.gz\n\n"
                   "Exit status:\n"
                   "  0  all is answered, and the log says the same\n"
                   "  1  the bundle lacks something for an answer, or the log says otherwise\n"
                   "  2  it is no usable bundle\n");
    replay->callback([options, &command] { command = [options] { return runReplay(*options); }; });
}
