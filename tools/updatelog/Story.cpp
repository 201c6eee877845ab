#include "Story.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace {

template <std::size_t size>
bool isOneOf(std::string_view id, const std::array<std::string_view, size> &ids) {
    return std::find(ids.begin(), ids.end(), id) != ids.end();
}

// With any of these a job is over, and not as it should be.
constexpr std::array<std::string_view, 14> failedEnds = {
    "arguments-missing",      "no-reply",         "no-catalogs",         "no-products",
    "no-products-fresh",      "packages-missing", "list-not-removed",    "update-download-failed",
    "list-not-written",       "list-not-read",    "script-not-executed", "no-process-for-script",
    "installation-exception", "update-failed"};
// And with these there is nothing to do.
constexpr std::array<std::string_view, 3> emptyEnds = {"no-updates", "list-empty", "no-update"};

std::string fileNameOf(const std::string &path) {
    return path.substr(path.rfind('/') + 1);
}

const std::string &valueOf(const Recognised &known, const std::string &name) {
    static const std::string none;
    const auto found = known.values.find(name);
    return found == known.values.end() ? none : found->second;
}

Finding findingOf(const LogEntry &entry) {
    const Recognised &known = *entry.known;
    return {entry.line,
            entry.time,
            entry.text,
            known.message->id,
            known.which != nullptr ? known.which->happened : known.message->happened,
            known.which != nullptr ? known.which->remedy : known.message->remedy};
}

template <typename Kept>
void keep(std::vector<Kept> &kept, Kept one, std::uint64_t &left) {
    if (kept.size() < RunStory::mostLines)
        kept.push_back(std::move(one));
    else
        ++left;
}

} // namespace

StoryTeller::StoryTeller(Sink sink)
    : m_sink(std::move(sink)) {
}

void StoryTeller::take(const LogEntry &entry) {
    Open &run = runOf(entry);
    run.story.lastLine = entry.line;
    run.story.isOfEngine |= entry.known.has_value();
    if (!entry.time.empty())
        run.story.ended = entry.time;
    if (entry.known)
        tell(run, entry);
    else
        keep(run.story.unknownLines, UnknownLine{entry.line, entry.time, entry.text}, run.story.left);
    handOn(false);
}

void StoryTeller::finish() {
    handOn(true);
}

// No line names its process. One job runs at a time: a run that waits for another one says so and is silent
// until it goes on, so the lines are those of the newest run that neither waits nor has ended.
StoryTeller::Open &StoryTeller::runOf(const LogEntry &entry) {
    const std::string id = entry.known ? entry.known->message->id : "";
    Open *working = atWork();
    if (id == "updater-started")
        return begin(entry);
    if (id == "fresh-install-started" && (working == nullptr || working->hasBegunWork))
        return begin(entry);
    if (id == "waiting-for-job" && (working == nullptr || working->hasBegunWork))
        return begin(entry); // a host's, which begins with this line
    if (working != nullptr)
        return *working;
    // The script goes on when its run's process does not, and so may a host after its job.
    if (!m_open.empty() && !m_open.back().isWaiting)
        return m_open.back();
    const auto waiting =
        std::find_if(m_open.begin(), m_open.end(), [](const Open &run) { return run.isWaiting; });
    if (waiting == m_open.end())
        return begin(entry);
    waiting->isWaiting = false;
    return *waiting;
}

StoryTeller::Open &StoryTeller::begin(const LogEntry &entry) {
    Open &run = m_open.emplace_back();
    run.story.number = ++m_begun;
    run.story.began = entry.time;
    run.story.firstLine = entry.line;
    return run;
}

StoryTeller::Open *StoryTeller::atWork() {
    const auto found = std::find_if(m_open.rbegin(), m_open.rend(),
                                    [](const Open &run) { return !run.isWaiting && !run.hasEnded; });
    return found == m_open.rend() ? nullptr : &*found;
}

// The newest may still get lines, and whoever waits.
void StoryTeller::handOn(bool all) {
    const auto isOver = [this](const Open &run) { return run.hasEnded && &run != &m_open.back(); };
    // A run behind which others have begun twice over was killed.
    constexpr std::size_t mostAtOnce = 16;
    while (!m_open.empty() && (all || isOver(m_open.front()) || m_open.size() > mostAtOnce)) {
        judge(m_open.front());
        m_sink(std::move(m_open.front().story));
        m_open.pop_front();
    }
}

void StoryTeller::tell(Open &run, const LogEntry &entry) {
    const Recognised &known = *entry.known;
    const std::string &id = known.message->id;
    if (!known.message->isNormal && !(id == "no-reply" && run.hasNoUpdate))
        keep(run.story.findings, findingOf(entry), run.story.left);
    if (id == "waiting-for-job") {
        run.isWaiting = true;
        run.story.waited = true;
        return;
    }
    if (id != "updater-started" && id != "updater-called" && id != "job-started" && id != "updater-exited")
        run.hasBegunWork = true;
    if (tellTransfer(run, entry))
        return;
    tellService(run, id, known);
    tellInstallation(run, id, known);
    tellEnd(run, id);
}

void StoryTeller::tellService(Open &run, const std::string &id, const Recognised &known) {
    RunStory &story = run.story;
    if (id == "updater-called") {
        story.version = valueOf(known, "version");
        story.affiliate = valueOf(known, "affiliate");
    } else if (id == "update-request-started") {
        story.kind = RunKind::check;
    } else if (id == "fresh-install-started" || id == "fresh-request-started") {
        story.kind = RunKind::freshInstallation;
    } else if (id == "http-code") {
        story.httpCode = valueOf(known, "http");
    } else if (id == "reply") {
        story.answer = valueOf(known, "reply").empty() ? "no reply" : "a reply";
    } else if (id == "update-available" && story.answer != "no reply") {
        story.answer = "a release";
    } else if (id == "no-update") {
        story.answer = "no update";
        run.hasNoUpdate = true;
    } else if (id == "reply-failed" || id == "reply-unsupported") {
        story.answer = "a refusal";
    }
}

// Whether it was a line of a transfer.
bool StoryTeller::tellTransfer(Open &run, const LogEntry &entry) {
    const Recognised &known = *entry.known;
    const std::string &id = known.message->id;
    if (known.message->step != "transfer" && known.message->step != "hash")
        return false;
    const std::string &url = valueOf(known, "url");
    const auto place =
        url.empty() ? run.byFile.find(fileNameOf(valueOf(known, "path"))) : run.byUrl.find(url);
    if (id == "transfer-started" && place == run.byUrl.end()) {
        run.byUrl[url] = run.byFile[fileNameOf(url)] = run.story.transfers.size();
        run.story.transfers.push_back({});
        run.story.transfers.back().url = url;
        run.story.transfers.back().began = entry.time;
    } else if (place == (url.empty() ? run.byFile.end() : run.byUrl.end())) {
        return id != "update-download-failed";
    }
    TransferStory &transfer = run.story.transfers[id == "transfer-started" ? run.byUrl[url] : place->second];
    transfer.ended = entry.time;
    if (id == "transfer-started")
        ++transfer.attempts;
    else if (id == "transfer-resumed")
        ++transfer.resumes;
    else if (id == "hash-checked")
        ++transfer.hashChecks;
    else if (id == "hash-wrong" || id == "hash-not-had")
        ++transfer.hashFailures;
    else if (id == "downloaded")
        transfer.state = TransferStory::State::done;
    else if (id == "hash-given-up")
        transfer.state = TransferStory::State::givenUp;
    else if (id == "transfer-failed" || id == "transfer-ended")
        transfer.state = TransferStory::State::failed;
    return true;
}

void StoryTeller::tellInstallation(Open &run, const std::string &id, const Recognised &known) {
    using State = InstallationStory::State;
    RunStory &story = run.story;
    if (id == "installation-started" || id == "list-empty")
        story.kind = RunKind::installation;
    if (id == "package-listed") {
        story.installations.push_back({valueOf(known, "path"), State::listed});
        return;
    }
    const bool isDone = id == "script-installed" || id == "branding-started";
    const bool isFailed = id == "script-failed" || id == "package-not-listed";
    if (!isDone && !isFailed && id != "script-installing")
        return;
    for (InstallationStory &installation : story.installations) {
        if (installation.path == valueOf(known, "path") && installation.state <= State::begun)
            installation.state = isDone ? State::done : isFailed ? State::failed : State::begun;
    }
}

void StoryTeller::tellEnd(Open &run, const std::string &id) {
    if (id == "plist-updated" || id == "element-updated")
        run.story.isRecorded = true;
    if (isOneOf(id, failedEnds) && !(id == "no-reply" && run.hasNoUpdate))
        run.story.end = RunEnd::failed;
    else if (isOneOf(id, emptyEnds))
        run.story.end = RunEnd::nothingToDo;
    if (id == "updater-exited" || id == "arguments-missing")
        run.hasEnded = true;
}

void StoryTeller::judge(Open &run) {
    RunStory &story = run.story;
    if (story.end != RunEnd::stopped)
        return;
    const auto isInstalled = [](const InstallationStory &each) {
        return each.state == InstallationStory::State::done;
    };
    const auto hasFailed = [](const InstallationStory &each) {
        return each.state == InstallationStory::State::failed;
    };
    const auto &installations = story.installations;
    if (std::any_of(installations.begin(), installations.end(), hasFailed))
        story.end = RunEnd::failed;
    else if (!installations.empty())
        story.end = std::all_of(installations.begin(), installations.end(), isInstalled) ? RunEnd::well
                                                                                         : RunEnd::stopped;
    else if (run.hasEnded)
        story.end = story.kind == RunKind::unknown ? RunEnd::nothingToDo : RunEnd::well;
    else if (story.kind == RunKind::freshInstallation && story.isRecorded)
        story.end = RunEnd::well;
}
