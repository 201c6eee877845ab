#include "Machine.h"

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "Background.h"
#include "Paths.h"
#include "Release.h"
#include "TextFile.h"
#include "TraceFile.h"
#include "Updater.h"

namespace {

namespace fs = std::filesystem;

const std::string installedFolder = "/opt/installed";
const Files installedFiles = {{"First", "1" + someBytes(50000)}, {"Second", "2" + someBytes(50000)}};
const std::string earlier = "of an earlier update";

// Packages that can be installed, each leaving a file of its own.
Packages installablePackages() {
    Packages packages;
    for (const auto &[name, content] : installedFiles)
        packages[name + ".pkg"] = packed({{installedFolder + "/" + name, content}});
    return packages;
}

std::string sortedLines(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line + "\n");
    std::sort(lines.begin(), lines.end());
    std::string sorted;
    for (const std::string &line : lines)
        sorted += line;
    return sorted;
}

bool endsWith(const std::string &text, const std::string &end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// Whether the installer script or a command that changes files outlives the run that started it: it would
// take the next run's list for its own.
bool isWorkLeft() {
    return shell("pgrep -f '^(/bin/bash /usr/local/repost/installer.sh|(sh -c (-- )?)?sudo |(rm|mkdir|touch) "
                 ")' || "
                 "true") != "";
}

testing::AssertionResult harmed(const std::string &what) {
    return testing::AssertionFailure() << what << "\nthe trace:\n" << traceText();
}

} // namespace

const NamedRun checkRun = {"Check", Run::check};
const NamedRun installRun = {"Install", Run::install};
const NamedRun freshInstallRun = {"FreshInstall", Run::freshInstall};

std::vector<std::string> deprivedOf(const std::string &what, const std::vector<std::string> &command) {
    std::vector<std::string> deprived{DEPRIVED, what};
    deprived.insert(deprived.end(), command.begin(), command.end());
    return deprived;
}

Machine::Machine(Run run)
    : m_run(run)
    , m_job(run == Run::freshInstall ? freshInstallByHttps : updateByHttps)
    , m_packages(installablePackages())
    , m_configuration(readText(prodConfigXml))
    , m_propertyList(readText(configurationPlistPath)) {
    offerPackages(m_job, m_packages);
    fs::create_directories(installedFolder);
    writeText(installedFolder + "/Earlier", earlier);
    m_command = run == Run::install ? deprivedOf("pauses", installCommand) : commandOf(m_job);
    const Ended undisturbed = runJob(m_job);
    EXPECT_TRUE(isComplete(m_job, undisturbed, m_packages));
    m_list = sortedLines(readText(packageListPath));
    m_prepared = readText(updatedProdConfigXml);
    m_newPropertyList = readText(configurationPlistPath);
    if (run == Run::install) {
        // The script removes itself unless it ends early.
        const std::string refusals = "/srv/rehearsal/installer-fails";
        writeText(refusals, "First.pkg 1\nSecond.pkg 1\n");
        EXPECT_EQ(::run(m_command).status, 1);
        m_script = sortedLines(readText(installerScriptPath));
        fs::remove(refusals);
    }
    restore();
}

void Machine::restore() const {
    fs::remove_all(keyCoreDownloadCache);
    fs::remove(packageListPath);
    fs::remove(waitingMarker);
    fs::remove(traceLogPath);
    for (const auto &[name, content] : installedFiles)
        fs::remove(installedFolder + "/" + name);
    for (const char *script : {installerScriptPath, newInstallerScriptPath})
        fs::remove(script);
    writeText(prodConfigXml, m_configuration);
    writeText(configurationPlistPath, m_propertyList);
    if (m_run == Run::install)
        checkOnce();
    fs::remove(traceLogPath);
}

void Machine::checkOnce() const {
    EXPECT_TRUE(isComplete(m_job, runJob(m_job), m_packages));
}

testing::AssertionResult Machine::isUnharmed() const {
    if (!comesTrue([] { return !isWorkLeft(); }))
        return harmed("what the run has started does not end");
    const testing::AssertionResult whole = leavesWholeFilesOnly();
    return whole ? harmsNothingInstalled() : whole;
}

testing::AssertionResult Machine::leavesWholeFilesOnly() const {
    const std::string list = readText(packageListPath);
    if (fs::exists(packageListPath) && sortedLines(list) != m_list)
        return harmed("half a list: " + list);
    // What an installation leaves of the marker is the suite's to remove.
    if (m_run == Run::check && fs::exists(waitingMarker) && !fs::exists(packageListPath))
        return harmed("a marker without a list");
    const std::string prepared = readText(updatedProdConfigXml);
    if (fs::exists(packageListPath) && prepared != m_prepared)
        return harmed("a list without its configuration: " + prepared);
    if (fs::exists(updatedProdConfigXml) && !endsWith(prepared, "</ProductConfiguration>\n"))
        return harmed("half a prepared configuration: " + prepared);
    if (fs::exists(installerScriptPath) && sortedLines(readText(installerScriptPath)) != m_script)
        return harmed("half a script: " + readText(installerScriptPath));
    return testing::AssertionSuccess();
}

testing::AssertionResult Machine::harmsNothingInstalled() const {
    const std::string configuration = readText(prodConfigXml);
    if (configuration != m_configuration && !(m_run == Run::install && isInstalled()))
        return harmed("the installed configuration is " + configuration);
    const std::string propertyList = readText(configurationPlistPath);
    if (propertyList != m_propertyList && propertyList != m_newPropertyList)
        return harmed("the property list is " + propertyList);
    for (const auto &[name, content] : filesBelow(installedFolder)) {
        if (name != "Earlier" && content != installedFiles.at(name))
            return harmed("half an installed file: " + name);
    }
    if (readText(installedFolder + "/Earlier") != earlier)
        return harmed("an installed file of an earlier update is gone");
    return testing::AssertionSuccess();
}

testing::AssertionResult Machine::endsCompleteNextTime() const {
    fs::remove(traceLogPath);
    if (m_run == Run::install)
        return installs();
    const Ended second = runJob(m_job);
    const testing::AssertionResult complete = isComplete(m_job, second, m_packages);
    if (!complete)
        return harmed(std::string("the second run: ") + complete.message());
    const std::string trace = traceText(); // of this run alone
    if (trace.find("Waiting for another job") != std::string::npos)
        return harmed("the lock was held");
    for (const auto &[name, content] : m_packages) {
        if (trace.find("Successfully downloaded: " + urlOf(m_job, name) + "\n") == std::string::npos)
            return harmed("the second run does not download " + name);
    }
    return isUnharmed();
}

bool Machine::hasLostItsList() const {
    return !isInstalled() && !fs::exists(packageListPath);
}

bool Machine::isInstalled() const {
    return readText(prodConfigXml) == m_prepared && fs::exists(installedFolder + "/First") &&
           fs::exists(installedFolder + "/Second");
}

testing::AssertionResult Machine::installs() const {
    if (isInstalled())
        return testing::AssertionSuccess();
    if (!fs::exists(packageListPath))
        checkOnce();
    static_cast<void>(::run(m_command)); // whose status tells nothing
    if (!isInstalled())
        return harmed("the second run does not install");
    return isUnharmed();
}
