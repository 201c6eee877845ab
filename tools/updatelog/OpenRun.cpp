#include "OpenRun.h"

#include <algorithm>
#include <array>
#include <map>
#include <string_view>
#include <utility>

#include "MessageFile.h"

namespace {

template <std::size_t size>
bool isOneOf(std::string_view id, const std::array<std::string_view, size> &ids) {
    return std::find(ids.begin(), ids.end(), id) != ids.end();
}

// With any of these a job is over, and not as it should be.
constexpr std::array<std::string_view, 15> failedEnds = {
    "arguments-missing",      "no-reply",         "no-catalogs",         "no-products",
    "no-products-fresh",      "packages-missing", "list-not-removed",    "update-download-failed",
    "list-not-written",       "list-not-read",    "script-not-executed", "no-process-for-script",
    "installation-exception", "update-failed",    "list-empty"};
// And with these there is nothing to do.
constexpr std::array<std::string_view, 2> emptyEnds = {"no-updates", "no-update"};
// Around a job's work.
constexpr std::array<std::string_view, 5> frame = {"updater-started", "updater-called", "job-started",
                                                   "lock-failed", "updater-exited"};
// Steps of every job that fetches, which asks first, and of every one that installs.
constexpr std::array<std::string_view, 2> askingSteps = {"parameters", "service"};
constexpr std::array<std::string_view, 9> fetchingSteps = {
    "service", "verdict", "reply", "catalogs", "records", "selection", "reachability", "transfer", "hash"};
constexpr std::array<std::string_view, 2> installingSteps = {"order", "installation"};
constexpr std::array<std::string_view, 2> catalogLines = {"core-catalog-url", "partner-catalog-url"};
constexpr std::array<std::string_view, 3> hostsBegins = {"fresh-install-started", "waiting-for-job",
                                                         "retry-started"};

} // namespace

OpenRun::OpenRun(std::uint64_t number, const LogEntry &first) {
    m_story.number = number;
    m_story.firstLine = first.line;
    beginAt(first);
}

void OpenRun::beginAt(const LogEntry &entry) {
    m_story.began = entry.time;
    m_isBegunByHost = entry.known && isOneOf(entry.known->message->id, hostsBegins);
}

void OpenRun::take(const LogEntry &entry) {
    const std::size_t foundBefore = m_findings.soFar().size();
    m_story.lastLine = entry.line;
    m_story.isOfEngine |= entry.known.has_value();
    // What nobody knows behind its last line may be half of the next one's first.
    if (!entry.time.empty() && (entry.known || !m_story.isOfEngine))
        m_story.ended = entry.time;
    if (m_story.began.empty())
        m_story.began = entry.time;
    if (entry.known)
        tell(entry);
    else
        keepUnknown(entry);
    m_hasFound = m_findings.soFar().size() > foundBefore;
}

void OpenRun::keepUnknown(const LogEntry &entry) {
    if (m_story.unknownLines.size() == RunStory::mostLines)
        m_room.refuse();
    else if (m_room.take(sizeof(UnknownLine) + entry.text.size()))
        m_story.unknownLines.push_back({entry.line, entry.time, entry.text});
}

void OpenRun::tell(const LogEntry &entry) {
    const Recognised &known = *entry.known;
    const std::string &id = known.message->id;
    const bool isFailure = m_findings.take(entry, m_room);
    m_isWaiting = id == "waiting-for-job";
    m_story.waited |= m_isWaiting;
    if (m_isWaiting)
        return;
    if (id == "updater-exited")
        tellWrongMode(entry);
    m_hasBegunWork |= !isOneOf(id, frame);
    m_isJobStarted |= id == "job-started";
    m_transfers.take(entry, m_room);
    tellService(id, known);
    keepExchange(entry);
    tellInstallation(id, known);
    tellEnd(id, isFailure);
}

void OpenRun::tellService(const std::string &id, const Recognised &known) {
    if (id == "updater-called") {
        m_story.version = valueOf(known, "version");
        m_story.affiliate = valueOf(known, "affiliate");
    } else if (id == "update-request-started") {
        m_story.kind = RunKind::check;
    } else if (id == "fresh-install-started" || id == "fresh-request-started") {
        m_story.kind = RunKind::freshInstallation;
    } else if (id == "http-code") {
        m_story.httpCode = valueOf(known, "http");
    } else if (id == "reply") {
        m_story.answer = valueOf(known, "reply").empty() ? "no reply" : "a reply";
    } else if (isOneOf(id, catalogLines)) {
        // The engine takes for a release whatever does not say otherwise, an error's page too.
        m_story.answer = "a release";
    } else if (id == "no-update") {
        m_story.answer = "no update";
    } else if (id == "reply-failed" || id == "reply-unsupported") {
        m_story.answer = "a refusal";
    }
}

void OpenRun::keepExchange(const LogEntry &entry) {
    const std::string &id = entry.known->message->id;
    if ((id != "request" && id != "reply") || entry.isShortened)
        return;
    std::string text = valueOf(*entry.known, id);
    if (m_room.take(text.size()))
        (id == "request" ? m_story.request : m_story.reply) = std::move(text);
}

void OpenRun::tellInstallation(const std::string &id, const Recognised &known) {
    using State = InstallationStory::State;
    if (id == "installation-started" || id == "list-empty")
        m_story.kind = RunKind::installation;
    m_hasScript |= id == "script-ready" || id == "script-executed";
    const std::string path = valueOf(known, "path");
    if (id == "package-listed") {
        m_installations.add(path, m_room);
        return;
    }
    static const std::map<std::string, State> states = {{"script-installing", State::begun},
                                                        {"script-installed", State::done},
                                                        {"branding-started", State::ended},
                                                        {"script-failed", State::failed},
                                                        {"package-not-listed", State::failed}};
    const auto state = states.find(id);
    if (state == states.end())
        return;
    m_hasFailedPackage |= state->second == State::failed;
    m_installations.tell(path, state->second, m_room);
}

void OpenRun::tellEnd(const std::string &id, bool isFailure) {
    if (id == "plist-updated" || id == "element-updated")
        m_story.isRecorded = true;
    m_hasFailedRecord |= id == "plist-not-updated";
    if (isFailure && isOneOf(id, failedEnds))
        m_story.end = RunEnd::failed;
    else if (isOneOf(id, emptyEnds))
        m_story.end = RunEnd::nothingToDo;
    m_hasEnded |= id == "updater-exited" || id == "arguments-missing";
}

// What the catalogue knows of a job that begins and ends with no line between.
void OpenRun::tellWrongMode(const LogEntry &entry) {
    const MessageCatalogue &catalogue = MessageCatalogue::builtIn();
    const Message *const start = catalogue.find("job-started");
    const Message *const call = catalogue.find("arguments-missing");
    if (!m_isJobStarted || m_hasBegunWork || start == nullptr || call == nullptr)
        return;
    m_story.end = RunEnd::failed;
    for (const FollowingMessage &following : start->followed) {
        if (following.by != "updater-exited")
            continue;
        Finding finding;
        finding.line = entry.line;
        finding.time = entry.time;
        finding.text = entry.text;
        finding.id = following.by;
        finding.happened = following.says;
        finding.causes = call->causes;
        finding.remedy = call->remedy;
        m_findings.add(std::move(finding), m_room);
    }
}

bool OpenRun::mayWrite(const Message &message) const {
    if (message.id == "fresh-request-started" && !isHosts())
        return false;
    if (isOneOf(message.step, askingSteps) && message.id != "system-version-read" && !m_story.answer.empty())
        return false;
    if (isOneOf(message.step, installingSteps))
        return m_story.kind == RunKind::installation || m_story.kind == RunKind::unknown;
    return !isOneOf(message.step, fetchingSteps) || m_story.kind != RunKind::installation;
}

const Finding *OpenRun::found() const {
    return m_hasFound ? &m_findings.soFar().back() : nullptr;
}

// A host may still retry what has failed, and a job goes on with its work until its last line.
bool OpenRun::hasEnd() const {
    const RunEnd now = end();
    return now == RunEnd::well || m_hasFailedPackage || (m_hasEnded && now != RunEnd::stopped);
}

RunStory OpenRun::story() && {
    m_story.end = end();
    m_story.transfers = std::move(m_transfers).stories();
    m_story.installations = std::move(m_installations).stories();
    m_story.findings = std::move(m_findings).findings();
    m_story.left = m_room.refused();
    return std::move(m_story);
}

RunEnd OpenRun::end() const {
    if (m_story.end != RunEnd::stopped)
        return m_story.end;
    if (m_hasFailedPackage)
        return RunEnd::failed;
    if (!m_installations.isEmpty())
        return m_installations.areAllOver() ? RunEnd::well : RunEnd::stopped;
    if (m_hasEnded)
        return m_story.kind == RunKind::unknown ? RunEnd::nothingToDo : RunEnd::well;
    if (m_story.kind != RunKind::freshInstallation)
        return RunEnd::stopped;
    // A host has no last line.
    if (m_story.isRecorded)
        return RunEnd::well;
    return m_hasFailedRecord || m_transfers.hasFailed() ? RunEnd::failed : RunEnd::stopped;
}
