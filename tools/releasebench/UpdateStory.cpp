#include "UpdateStory.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

#include "InstallerScript.h"
#include "Paths.h"
#include "PropertyList.h"
#include "RunningProgram.h"
#include "Text.h"
#include "UpdateLog.h"

namespace {

namespace fs = std::filesystem;

const std::vector<std::string> configuredElements = {"ProductVersion", "BuildNumber", "CoreRelVer",
                                                     "PartnerRelVer",  "ReleaseName", "CBRMSBuildNo"};

std::vector<std::string> configuration() {
    std::vector<std::string> values;
    values.reserve(configuredElements.size());
    for (const std::string &element : configuredElements)
        values.push_back(SealedMachine::configured(element));
    return values;
}

std::string versionIn(const std::vector<std::string> &values) {
    return values[0] + ", build " + values[1] + ", release " + values[4];
}

std::vector<std::string> sorted(std::vector<std::string> texts) {
    std::sort(texts.begin(), texts.end());
    return texts;
}

std::string joined(const std::vector<std::string> &texts) {
    std::string all;
    for (const std::string &text : texts)
        all += (all.empty() ? "" : ", ") + text;
    return all.empty() ? "nothing" : all;
}

std::string tellOf(const std::vector<SealedMachine::Installation> &installations) {
    std::vector<std::string> texts;
    texts.reserve(installations.size());
    for (const auto &[path, isInstalled] : installations)
        texts.push_back(afterLastSlash(path) + (isInstalled ? "" : " (refused)"));
    return joined(texts);
}

} // namespace

UpdateStory::UpdateStory(const Explanation &foretold, std::string failing, fs::path results, Story &story)
    : m_foretold(foretold)
    , m_failing(std::move(failing))
    , m_results(std::move(results))
    , m_story(story)
    , m_log(traceLogPath, m_results / "DownloadManager.log")
    , m_plan(foretold.plan)
    , m_configuration(configuration()) {
}

void UpdateStory::tell() {
    m_story.say("A sealed copy of this machine has product version " + versionIn(m_configuration) + ".");
    check();
    tellSelection();
    if (m_plan.outcome != Outcome::done)
        return compareRefusal();
    compareDownloads();
    if (m_story.problems() > 0)
        return;
    install();
    compareScript();
    compareInstallations();
    compareMachine();
    if (!m_failing.empty())
        tellFailure();
}

void UpdateStory::check() {
    m_story.step("CheckForInstall: what does the update service have for it?");
    const int status = run("CheckForInstall");
    const bool isToCrash = contains(m_plan.reason, "process ends");
    m_story.expect(isToCrash ? status >= 128 : status == 0,
                   "the updater ended with status " + std::to_string(status));
}

// What became of the hot-fixes tells the log, and why so what was foretold.
void UpdateStory::tellSelection() {
    if (m_plan.selections.empty())
        return;
    m_story.step("What was chosen (+) and what was not (-):");
    for (std::size_t i = 0; i < m_plan.selections.size(); ++i) {
        const HotFixPackageInfo &hotFix = m_foretold.offer.hotFixes[i];
        const bool isChosen = contains(m_log.text(), "Start download: " + hotFix.url + "\n");
        m_story.say(std::string(isChosen ? "  + " : "  - ") + hotFix.name +
                    (hotFix.productVer.empty() ? "" : " brings " + hotFix.productVer) + ": " +
                    whySelected(hotFix, m_foretold.machine, m_plan.selections[i]));
    }
}

void UpdateStory::compareRefusal() {
    const bool isToCrash = contains(m_plan.reason, "process ends");
    const std::string reason = m_plan.reason.substr(0, m_plan.reason.find(" ("));
    m_story.expect(isToCrash || contains(m_log.text(), reason), "the log does not say \"" + reason + "\"");
    m_story.expect(!fs::exists(packageListPath), "there is a package list");
    m_story.expect(configuration() == m_configuration, "the product's configuration is another one");
    const bool isNothing = m_plan.outcome == Outcome::nothingToDo;
    m_story.step((isNothing ? "Nothing is changed: " : "The update fails: ") + m_plan.reason);
}

void UpdateStory::compareDownloads() {
    std::vector<std::string> foretold;
    for (const Download &download : m_plan.downloads)
        foretold.push_back(download.path);
    if (!fs::exists(packageListPath))
        return m_story.expect(false, "there is no package list, " + joined(foretold) + " was foretold");
    fs::copy_file(packageListPath, m_results / "packagelist.txt", fs::copy_options::overwrite_existing);
    const std::vector<std::string> listed = SealedMachine::packageList();
    m_story.expect(sorted(listed) == sorted(foretold),
                   "the package list has " + joined(listed) + " instead of " + joined(foretold));
    m_story.expect(fs::exists(updateMarkerPath), "the suite is not told that an update waits");
    // Which of two packages that nothing tells apart comes first depends on which download began first.
    const std::optional<PropertyList> order = PropertyList::read(dynaConfigPlistPath);
    orderPackages(listed,
                  order ? order->strings("InstallPkgOrder").value_or(std::vector<std::string>())
                        : std::vector<std::string>(),
                  m_plan);
}

void UpdateStory::install() {
    m_story.step("Install: " + std::to_string(m_plan.downloads.size()) + " packages wait in " +
                 packageListPath);
    const int status = run("Install");
    m_story.expect(status == 1, "the updater ended with status " + std::to_string(status) + " instead of 1");
}

void UpdateStory::compareScript() {
    const std::list<std::string> packages = scriptedPackages(m_plan);
    m_story.expect(SealedMachine::contentOf(m_results / "installer.sh") == installerScript(packages),
                   "the installer script is another one than was foretold");
    if (packages != scriptedPackages(m_foretold.plan))
        m_story.say("  (Packages of one version that no order name tells apart were downloaded in another "
                    "order than the catalogs have them in.)");
}

bool UpdateStory::isScriptToFail() const {
    const std::list<std::string> packages = scriptedPackages(m_plan);
    return std::any_of(packages.begin(), packages.end(),
                       [this](const std::string &path) { return afterLastSlash(path) == m_failing; });
}

// Branding goes first and stops nothing; the script ends at the first package that fails.
std::vector<SealedMachine::Installation> UpdateStory::expectedInstallations() const {
    std::vector<SealedMachine::Installation> all;
    const auto isInstalled = [this](const std::string &path) { return afterLastSlash(path) != m_failing; };
    for (const std::string &path : m_plan.branding)
        all.emplace_back(path, isInstalled(path));
    for (const std::string &path : scriptedPackages(m_plan)) {
        all.emplace_back(path, isInstalled(path));
        if (!isInstalled(path))
            break;
    }
    return all;
}

void UpdateStory::compareInstallations() {
    const auto foretold = expectedInstallations();
    const auto done = SealedMachine::installations();
    m_story.expect(done == foretold, "installed were " + tellOf(done) + " instead of " + tellOf(foretold));
}

// What the release tells nothing of stays as it was.
std::vector<std::pair<std::string, std::string>> UpdateStory::expectedConfiguration() const {
    const Offer &offer = m_foretold.offer;
    std::vector<std::string> values = {m_plan.version,       m_plan.build,      offer.coreVersion,
                                       offer.partnerVersion, offer.releaseName, offer.brandingBuild};
    std::vector<std::pair<std::string, std::string>> elements;
    for (std::size_t i = 0; i < values.size(); ++i) {
        const bool stays = values[i].empty() || isScriptToFail();
        elements.emplace_back(configuredElements[i], stays ? m_configuration[i] : values[i]);
    }
    return elements;
}

void UpdateStory::compareMachine() {
    m_story.step("Afterwards:");
    m_story.say("  version before: " + versionIn(m_configuration));
    m_story.say("  version after:  " + versionIn(configuration()));
    for (const auto &[element, foretold] : expectedConfiguration()) {
        const std::string value = SealedMachine::configured(element);
        m_story.expect(value == foretold, differing("the product's " + element, value, foretold));
    }
    m_story.expect(fs::exists(keyCoreDownloadCache) == isScriptToFail(),
                   isScriptToFail() ? "the downloads were removed" : "the downloads were not removed");
}

void UpdateStory::tellFailure() {
    m_story.step("What the customer has, since the installation of " + m_failing + " failed:");
    const auto done = SealedMachine::installations();
    std::vector<std::string> present;
    std::vector<std::string> missing;
    for (const Download &download : m_plan.downloads) {
        const bool isPresent =
            std::find(done.begin(), done.end(), std::make_pair(download.path, true)) != done.end();
        (isPresent ? present : missing).push_back(afterLastSlash(download.path));
    }
    m_story.say("  installed:     " + joined(present));
    m_story.say("  not installed: " + joined(missing));
    if (!isScriptToFail())
        return m_story.say("  All else went on as if nothing had happened: the updater does not look at "
                           "what became of branding.");
    m_story.say("  The product calls itself version " + SealedMachine::configured("ProductVersion") +
                " as before, and nothing but the log tells of the failure.");
    m_story.say("  The downloads and the script stay on the disk; nothing tries again before the next "
                "check, which downloads and installs everything anew.");
}

int UpdateStory::run(const std::string &mode) {
    const Explanation &told = m_foretold;
    RunningProgram updater({(SealedMachine::programs / "productUpdater").string(), told.machine.product,
                            told.asker.affiliate, mode},
                           m_results / (mode + ".output"));
    constexpr std::chrono::milliseconds glance(50);
    const auto tell = [this](const std::string &line) { tellLine(line); };
    std::optional<int> status;
    do {
        std::this_thread::sleep_for(glance);
        status = updater.status();
        m_log.follow(tell); // once more when it has ended
    } while (!status);
    return *status;
}

void UpdateStory::tellLine(const std::string &line) {
    if (contains(line, "INFO : Installing Packages from "))
        return tellOrder();
    const std::string told = toldOfUpdate(line);
    if (!told.empty())
        m_story.say("  " + told);
}

void UpdateStory::tellOrder() {
    fs::copy_file(installerScriptPath, m_results / "installer.sh", fs::copy_options::overwrite_existing);
    m_story.say("  order of the others:");
    for (const std::string &path : packagesOfScript(SealedMachine::contentOf(installerScriptPath)))
        m_story.say("    " + belowPackages(path));
    m_story.say("  the script starts in 10 seconds ...");
}
