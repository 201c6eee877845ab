#include "FreshStory.h"

#include <chrono>
#include <thread>
#include <utility>

#include "Digests.h"
#include "Paths.h"
#include "Readable.h"
#include "RunningProgram.h"
#include "SealedMachine.h"
#include "Text.h"
#include "UpdateLog.h"

namespace {

namespace fs = std::filesystem;

std::string sizeOf(const FileFacts &facts) {
    constexpr double kilobyte = 1024;
    return megabytes(std::stod(facts.size) / kilobyte) + " MB";
}

} // namespace

FreshStory::FreshStory(const Explanation &foretold, std::map<std::string, fs::path> published,
                       fs::path results, Story &story)
    : m_foretold(foretold)
    , m_published(std::move(published))
    , m_results(std::move(results))
    , m_story(story)
    , m_log(traceLogPath, m_results / "DownloadManager.log") {
}

void FreshStory::tell() {
    m_story.say("A sealed copy of this machine is to get edition " + m_foretold.asker.application +
                " of affiliate " + m_foretold.asker.affiliate + ".");
    m_story.step("$ freshinstall --retry 1");
    const int status = run();
    fs::copy_file(configurationPlistPath, m_results / "configuration.plist",
                  fs::copy_options::overwrite_existing);
    if (m_foretold.plan.outcome != Outcome::done)
        return compareRefusal(status);
    m_story.expect(status == 0, "the host program ended with status " + std::to_string(status));
    comparePackages();
    compareRecord();
}

int FreshStory::run() {
    m_story.finish(); // the program writes to the same stream
    RunningProgram host({(SealedMachine::programs / "freshinstall").string(), "--retry", "1"});
    constexpr std::chrono::milliseconds glance(50);
    const auto copyOnly = [](const std::string & /*line*/) {};
    std::optional<int> status;
    do {
        std::this_thread::sleep_for(glance);
        status = host.status();
        m_log.follow(copyOnly); // once more when it has ended
    } while (!status);
    return *status;
}

void FreshStory::compareRefusal(int status) {
    const std::string &told = m_foretold.plan.reason;
    const std::string reason = told.substr(0, told.find(" ("));
    m_story.expect(status != 0, "the host program ended with status 0");
    // Of a file that is no package the log has no line.
    m_story.expect(contains(m_log.text(), reason) || contains(reason, "never counts"),
                   "the log does not say \"" + reason + "\"");
    m_story.step("The fresh installation fails: " + told);
}

void FreshStory::comparePackages() {
    m_story.step("On the disk, with the SHA-1 of the catalogs:");
    for (const Download &download : m_foretold.plan.downloads) {
        const fs::path &file = m_published.at(download.url);
        if (!fs::is_regular_file(download.path)) {
            m_story.expect(false, download.path + " is missing");
            continue;
        }
        const auto facts = factsOfFiles({download.path, file}, [](const HashProgress & /*progress*/) {});
        const FileFacts &got = facts.at(download.path);
        m_story.expect(got.hash == facts.at(file).hash, download.path + " is not what the catalog says");
        m_story.say("  " + belowPackages(download.path) + "  " + got.hash + "  " + sizeOf(got));
    }
}

void FreshStory::compareRecord() {
    m_story.step("The release that was recorded as \"BuildInfo\":");
    const Plan &plan = m_foretold.plan;
    const Offer &offer = m_foretold.offer;
    const std::pair<const char *, std::string> foretold[] = {
        {"Version", plan.version},         {"BuildNo", plan.build},
        {"CoreRelVer", offer.coreVersion}, {"PartnerRelVer", offer.partnerVersion},
        {"RelName", offer.releaseName},    {"CBRMSBuildNo", offer.brandingBuild},
    };
    for (const auto &[key, value] : foretold) {
        const std::string recorded = SealedMachine::recorded(key);
        m_story.say("  " + std::string(key) + "  " + recorded);
        m_story.expect(recorded == value, differing(key, recorded, value));
    }
}
