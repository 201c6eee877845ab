#include "Recovery.h"

#include <filesystem>
#include <sstream>
#include <utility>

#include <nlohmann/json.hpp>

#include "JobTrace.h"
#include "LogReader.h"
#include "Paths.h"
#include "Release.h"
#include "Story.h"
#include "Telling.h"
#include "TextFile.h"
#include "TraceFile.h"
#include "Updater.h"

const Packages plainPackage = {{"One.pkg", someBytes(300000)}};

namespace {

// What the reader of logs tells of the newest job: whether it was well, and which one it was.
testing::AssertionResult isToldAs(const Job &job, const std::string &trace, bool well) {
    if (trace.find(" Enter ") == std::string::npos)
        return testing::AssertionSuccess(); // nothing of it could be traced
    RunStory newest;
    StoryTeller stories([&newest](RunStory story) { newest = std::move(story); });
    std::istringstream log(traceText());
    stories.takeAll(log);
    const RunKind kind = job.task == Task::update ? RunKind::check : RunKind::freshInstallation;
    if (newest.kind == kind && isWell(newest) == well && (well || !newest.findings.empty()))
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "it is told as: " << inJson(newest).dump(2);
}

} // namespace

InstalledFiles::InstalledFiles() = default;

Files InstalledFiles::read() {
    Files files;
    for (const std::string &path :
         {prodConfigXml, std::string(configurationPlistPath), std::string(dynaConfigPlistPath)})
        files[path] = readText(path);
    return files;
}

testing::AssertionResult InstalledFiles::areUnchanged(const std::string &but) const {
    Files before = m_before;
    Files now = read();
    before.erase(but);
    now.erase(but);
    return sameFiles(before, now);
}

void expectCompleteNow(const Job &job, const Packages &packages) {
    std::filesystem::remove(packageListPath);
    std::filesystem::remove(waitingMarker);
    EXPECT_TRUE(isComplete(job, runJob(job), packages));
}

Recovery::Recovery(const Job &job, const Packages &packages)
    : m_job(job)
    , m_packages(packages) {
    offerPackages(job, packages);
}

Ended Recovery::run(const std::vector<std::string> &runBy) const {
    std::vector<std::string> command = runBy;
    const std::vector<std::string> job = commandOf(m_job);
    command.insert(command.end(), job.begin(), job.end());
    return ::run(command);
}

void Recovery::expectRefused(const std::string &trace, int freshInstallStatus,
                             const std::vector<std::string> &runBy) const {
    const Ended ended = run(runBy);
    EXPECT_EQ(ended.status, m_job.task == Task::update ? 0 : freshInstallStatus);
    EXPECT_EQ(transcriptOfOneJob(), trace);
    EXPECT_TRUE(isRefused(m_job, ended));
    EXPECT_TRUE(isToldAs(m_job, trace, false));
    EXPECT_TRUE(m_installed.areUnchanged());
}

void Recovery::expectComplete(const std::optional<std::string> &trace,
                              const std::vector<std::string> &runBy) const {
    const Ended ended = run(runBy);
    EXPECT_EQ(ended.status, 0);
    if (trace) {
        EXPECT_EQ(transcriptOfOneJob(), *trace);
        // The host is told of success all the same.
        const bool isRecorded = trace->find("Updated to plist Failed") == std::string::npos;
        EXPECT_TRUE(isToldAs(m_job, *trace, isRecorded));
    }
    EXPECT_TRUE(isComplete(m_job, ended, m_packages));
    EXPECT_TRUE(m_installed.areUnchanged(configurationPlistPath));
}

void Recovery::expectCompleteNow() const {
    ::expectCompleteNow(m_job, m_packages);
    EXPECT_TRUE(m_installed.areUnchanged(m_job.task == Task::update ? "" : configurationPlistPath));
}
