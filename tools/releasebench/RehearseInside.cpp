#include <map>

#include "FreshStory.h"
#include "HostedFiles.h"
#include "Leash.h"
#include "Paper.h"
#include "Rehearse.h"
#include "ReleaseFile.h"
#include "SealedMachine.h"
#include "Statuses.h"
#include "Story.h"
#include "UpdateStory.h"

namespace {

namespace fs = std::filesystem;

fs::path ifThere(const fs::path &file) {
    return fs::exists(file) ? file : fs::path();
}

std::map<std::string, fs::path> fullInstallsOf(const Release &release) {
    std::map<std::string, fs::path> files;
    for (const ReleaseCatalog &catalog : release.catalogs) {
        if (catalog.fullInstall)
            files.emplace(catalog.fullInstall->url, release.folder / catalog.fullInstall->file);
    }
    return files;
}

void furnish(const Explanation &foretold, const Release &release, const RehearseOptions &options) {
    SealedMachine::describe(foretold, ifThere(options.inside / "ProductConfig.xml"));
    SealedMachine::publish(hostedFilesOf(release, options.inside / "built"), options.inside / "built");
    const fs::path script = ifThere(options.inside / "script");
    if (!script.empty())
        SealedMachine::publishScript(script);
    if (!options.failing.empty())
        SealedMachine::refuse(options.failing);
}

void tellEnd(const Explanation &foretold, const RehearseOptions &options, Story &story) {
    const std::string results = options.results.string();
    if (story.problems() > 0)
        return story.step("Problems: " + std::to_string(story.problems()) + ". " +
                          (results.empty() ? "With --results DIR the engine's log is kept."
                                           : "The engine's log is " + results + "/DownloadManager.log."));
    const bool isDone = foretold.plan.outcome == Outcome::done;
    const bool isFresh = foretold.job == Job::freshInstall;
    std::string end = "All is as foretold.";
    if (isDone && options.failing.empty())
        end = std::string(isFresh ? "The packages are ready to be installed" : "The update is complete") +
              (isFresh ? ", as foretold: the same packages and versions."
                       : ", as foretold: the same packages, order and versions.");
    story.step(end + (results.empty() ? "" : " To read:"));
    if (results.empty())
        return;
    story.say("  " + results + "/DownloadManager.log   the engine's log");
    if (isFresh)
        story.say("  " + results + "/configuration.plist   the configuration with the recorded release");
    else if (isDone)
        story.say("  " + results + "/installer.sh          the script that installed the packages");
    if (isDone && !isFresh)
        story.say("  " + results + "/packagelist.txt       the package list between the two runs");
}

} // namespace

int rehearseInside(const RehearseOptions &options) {
    const Collar collar;
    const Job job = options.fresh ? Job::freshInstall : Job::update;
    const Explanation foretold = explain(options.question, job);
    const Release release = readRelease(options.question.folder);
    furnish(foretold, release, options);
    const fs::path results = options.results.empty() ? options.inside / "results" : options.results;
    Paper paper;
    Story story(paper);
    if (job == Job::update)
        UpdateStory(foretold, options.failing, results, story).tell();
    else
        FreshStory(foretold, fullInstallsOf(release), results, story).tell();
    tellEnd(foretold, options, story);
    paper.finish();
    const bool isWell = story.problems() == 0 && foretold.plan.outcome != Outcome::fails;
    return isWell ? Statuses::done : Statuses::findings;
}
