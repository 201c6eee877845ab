#include "Rehearse.h"

#include <algorithm>
#include <iostream>
#include <set>
#include <vector>

#include "Build.h"
#include "HostedFiles.h"
#include "Leash.h"
#include "Paper.h"
#include "RehearsalPlace.h"
#include "ReleaseFile.h"
#include "RunningProgram.h"
#include "SealedMachine.h"
#include "Statuses.h"
#include "TemporaryFolder.h"
#include "Text.h"
#include "TolvaneHandler.h"
#include "UnusableInput.h"
#include "UrlParts.h"

namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

// Only what is installed can fail to be.
void checkFailing(const std::string &failing, const Explanation &foretold) {
    if (failing.empty())
        return;
    const std::string refusal = "releasebench: --fail " + failing + ": ";
    if (foretold.job == Job::freshInstall)
        throw UnusableInput(refusal + "a fresh installation of the engine downloads and installs nothing");
    std::string names;
    bool isInstalled = false;
    const auto note = [&](const std::string &path) {
        names += (names.empty() ? "" : ", ") + afterLastSlash(path);
        isInstalled = isInstalled || afterLastSlash(path) == failing;
    };
    std::for_each(foretold.plan.branding.begin(), foretold.plan.branding.end(), note);
    for (const std::string &path : scriptedPackages(foretold.plan))
        note(path);
    if (!isInstalled)
        throw UnusableInput(refusal + "expected a package that this machine installs: " +
                            (names.empty() ? "there is none" : names));
}

// What the machine is made of, in a folder for it.
void prepare(const RehearseOptions &options, const Release &release, const fs::path &folder) {
    const fs::path built = folder / "built";
    for (const auto &[path, content] : publicationOf(release, factsOfPackages(release)))
        writeNewFile(built / path, content);
    static_cast<void>(hostedFilesOf(release, built)); // which nothing may be wrong with
    if (!options.question.config.empty())
        fs::copy_file(options.question.config, folder / "ProductConfig.xml");
    if (!options.script.empty())
        fs::copy_file(options.script, folder / "script");
}

void add(Words &words, const std::string &option, const std::string &value) {
    if (!value.empty())
        words.insert(words.end(), {option, value});
}

// The folders that the machine must see, wherever they lie.
std::set<std::string> foldersOf(const Release &release) {
    std::set<std::string> folders = {fs::canonical(release.folder).string()};
    for (const auto &[hosted, file] : hostedFilesOf(release, release.folder)) {
        if (fs::exists(file))
            folders.insert(fs::canonical(file).parent_path().string());
    }
    return folders;
}

Words sealCommand(const Release &release, const RehearsalPlace &place, const fs::path &folder,
                  const RehearseOptions &options) {
    Words words = {
        place.seal.string(), "--engine", place.engine.string(), "--service", place.service.string(),
        "--servers",         "--with",   folder.string()};
    for (const std::string &shown : foldersOf(release))
        add(words, "--with", shown);
    for (const std::string &host : hostsOf(release))
        add(words, "--host", host);
    if (const auto service = partsOf(updateRequestURL))
        add(words, "--update-host", service->host);
    add(words, "--writable", (options.results.empty() ? folder / "results" : options.results).string());
    add(words, "--keep", options.keep.string());
    return words;
}

Words insideCommand(const Explanation &foretold, const fs::path &folder, const RehearseOptions &options) {
    // A folder of this machine's may not be there, or be another user's.
    Words words = {"env",
                   "TMPDIR=/tmp",
                   (SealedMachine::programs / "releasebench").string(),
                   "rehearse",
                   fs::canonical(options.question.folder).string(),
                   "--inside",
                   folder.string()};
    add(words, "--product", foretold.machine.product);
    add(words, "--system", foretold.machine.system);
    add(words, "--affiliate", foretold.asker.affiliate);
    add(words, "--app", foretold.asker.application);
    add(words, "--fail", options.failing);
    add(words, "--results", options.results.string());
    if (options.fresh)
        words.emplace_back("--fresh");
    return words;
}

int runHeld(Words command) {
    Leash leash;
    RunningProgram machine(command, leash);
    const int status = machine.wait();
    if (status == Statuses::done || status == Statuses::findings)
        return status;
    constexpr int leastOfSeal = 64; // which has told the reason
    if (status > Statuses::unusable && status < leastOfSeal)
        std::cerr << "releasebench: the rehearsal ended with status " << status << '\n';
    return Statuses::unusable;
}

int rehearseOutside(RehearseOptions options) {
    const Explanation foretold = explain(options.question, options.fresh ? Job::freshInstall : Job::update);
    checkFailing(options.failing, foretold);
    const Release release = readRelease(options.question.folder);
    const TemporaryFolder folder;
    const RehearsalPlace place = findRehearsalPlace(folder.path());
    prepare(options, release, folder.path());
    if (!options.results.empty())
        options.results = fs::absolute(options.results);
    fs::create_directories(options.results.empty() ? folder.path() / "results" : options.results);

    Words command = sealCommand(release, place, folder.path(), options);
    command.emplace_back("--");
    const Words inside = insideCommand(foretold, folder.path(), options);
    command.insert(command.end(), inside.begin(), inside.end());
    const int status = runHeld(command);
    if (!options.keep.empty() && status != Statuses::unusable) {
        Paper paper;
        paper.line("  " + options.keep.string() + "   everything that changed in the machine");
        paper.finish();
    }
    return status;
}

} // namespace

int runRehearse(const RehearseOptions &options) {
    return options.inside.empty() ? rehearseOutside(options) : rehearseInside(options);
}
