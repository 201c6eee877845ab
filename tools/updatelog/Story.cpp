#include "Story.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace {

// What a host does beside its job, or after it.
constexpr std::array<std::string_view, 6> hostsLines = {"plist-update-started", "plist-updated",
                                                        "plist-not-updated",    "retry-started",
                                                        "download-retried",     "cancelled"};
constexpr std::array<std::string_view, 3> firstLines = {"updater-called", "job-started", "waiting-for-job"};
// With these the jobs of the command line begin their work.
constexpr std::array<std::string_view, 3> firstSteps = {"update-request-started", "installation-started",
                                                        "list-empty"};

template <std::size_t size>
bool isOneOf(std::string_view id, const std::array<std::string_view, size> &ids) {
    return std::find(ids.begin(), ids.end(), id) != ids.end();
}

} // namespace

StoryTeller::StoryTeller(Sink sink, Watcher watcher)
    : m_sink(std::move(sink))
    , m_watcher(std::move(watcher)) {
}

void StoryTeller::take(const LogEntry &entry) {
    OpenRun &run = runOf(entry);
    m_last = run.number();
    run.take(entry);
    if (m_watcher)
        m_watcher(entry, run);
    replaceBefore(run);
    missExitsBefore(run, entry);
    handOn(false);
}

void StoryTeller::finish() {
    handOn(true);
}

void StoryTeller::takeAll(std::istream &log) {
    LogReader reader(log);
    while (const std::optional<LogEntry> entry = reader.next())
        take(*entry);
    finish();
}

// No line names its process. Some tell whose they are by what they say; others' are told with the line
// before.
OpenRun &StoryTeller::runOf(const LogEntry &entry) {
    OpenRun *run = nullptr;
    if (!entry.known)
        run = newest([this](const OpenRun &each) { return each.number() == m_last; });
    else if (entry.known->message->writer == MessageWriter::script)
        run = newest([](const OpenRun &each) { return each.hasScript(); });
    else if (isOneOf(entry.known->message->id, hostsLines))
        run = newest([](const OpenRun &each) { return each.isHosts(); });
    return run != nullptr ? *run : runAtWork(entry);
}

// One job runs at a time: a run that waits for another one says so and is silent until it goes on, so the
// lines are those of the newest run that neither waits nor has ended.
OpenRun &StoryTeller::runAtWork(const LogEntry &entry) {
    const std::string id = entry.known ? entry.known->message->id : "";
    const std::string step = entry.known ? entry.known->message->step : "";
    // Behind its script a run writes only how that goes.
    const bool mayHaveScript = step == "installation" || step == "run";
    OpenRun *const working = newest([mayHaveScript](const OpenRun &run) {
        return run.isAtWork() && (mayHaveScript || !run.hasScript());
    });
    const bool isBusy = working != nullptr && working->hasBegunWork();
    // Who has done its job lets the next one work, and writes its last line a moment later.
    if (id == "updater-exited" && (working == nullptr || !working->mayExit())) {
        OpenRun *const late = newest([](const OpenRun &run) { return !run.isHosts() && run.awaitsExit(); });
        if (late != nullptr)
            return *late;
    }
    if (id == "updater-started")
        return begin(entry);
    // These come before any work; a host's run begins with the last one of them.
    if (isOneOf(id, firstLines) && (working == nullptr || isBusy))
        return begin(entry);
    if (id == "fresh-install-started" && (working == nullptr || isBusy || !working->isHosts())) {
        OpenRun *const waiting = firstWaiting(true);
        return waiting != nullptr ? *waiting : begin(entry);
    }
    // Who has begun does not begin again: it is one that has waited, or whose beginning is missing.
    const bool mayBeIts = !entry.known || (working != nullptr && working->mayWrite(*entry.known->message));
    if (working != nullptr && mayBeIts && !(isBusy && isOneOf(id, firstSteps)))
        return *working;
    OpenRun *const waiting = firstWaiting(false);
    return waiting != nullptr ? *waiting : begin(entry);
}

OpenRun &StoryTeller::begin(const LogEntry &entry) {
    // Foreign lines at the beginning are told with the first run.
    if (m_open.size() == 1 && !m_open.front().isOfEngine()) {
        m_open.front().beginAt(entry);
        return m_open.front();
    }
    return m_open.emplace_back(++m_begun, entry);
}

OpenRun *StoryTeller::newest(const Test &test) {
    const auto found = std::find_if(m_open.rbegin(), m_open.rend(), test);
    return found == m_open.rend() ? nullptr : &*found;
}

OpenRun *StoryTeller::firstWaiting(bool ofHost) {
    const auto found = std::find_if(m_open.begin(), m_open.end(), [ofHost](const OpenRun &run) {
        return run.isWaiting() && run.isHosts() == ofHost;
    });
    return found == m_open.end() ? nullptr : &*found;
}

// Where a run works, those that worked before it were killed.
void StoryTeller::replaceBefore(const OpenRun &run) {
    if (!run.isAtWork() || !run.hasBegunWork())
        return;
    for (OpenRun &each : m_open) {
        if (each.number() < run.number() && each.isAtWork() && !each.isHosts())
            each.replace();
    }
}

// Nobody's last line comes behind that of one that has begun later.
void StoryTeller::missExitsBefore(const OpenRun &run, const LogEntry &entry) {
    if (!entry.known || entry.known->message->id != "updater-exited")
        return;
    for (OpenRun &each : m_open) {
        if (each.number() < run.number())
            each.missExit();
    }
}

// The newest may still get lines, and whoever waits.
void StoryTeller::handOn(bool all) {
    // A run behind which so many others have begun was killed.
    constexpr std::size_t mostAtOnce = 16;
    while (!m_open.empty() &&
           (all || m_open.size() > mostAtOnce || (m_open.front().isOver() && m_open.size() > 1))) {
        m_sink(std::move(m_open.front()).story());
        m_open.pop_front();
    }
}
