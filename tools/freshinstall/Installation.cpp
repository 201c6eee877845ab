#include "Installation.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <set>

#include "Statuses.h"

namespace {

using std::chrono::seconds;

constexpr auto longestPause = seconds(30);
constexpr auto interval = std::chrono::milliseconds(50);
constexpr auto lastWords = seconds(1); // which a slow reader has to take them

// Longer from retry to retry, so that a service in trouble is left in peace.
seconds pauseBefore(unsigned retry) {
    constexpr unsigned doublings = 5; // beyond, the longest is reached
    return std::min(seconds(1U << std::min(retry - 1, doublings)), longestPause);
}

std::chrono::milliseconds now() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now().time_since_epoch());
}

} // namespace

int Installation::run() {
    try {
        m_begin = now();
        return finish(install());
    } catch (const std::exception &error) {
        endAtOnce(endingBy(error));
    }
}

Outcome Installation::install() {
    Outcome outcome = attempt([this] { m_began = m_engine.freshInstall(); });
    // The engine can repeat an installation that failed early and go on with failed downloads; for the rest a
    // retry does nothing.
    for (unsigned retry = 1; retry <= m_retries; ++retry) {
        if (outcome != Outcome::failedBeforeDownloads && outcome != Outcome::downloadsFailed)
            break;
        const seconds pause = pauseBefore(retry);
        m_view.retry({retry, m_retries, pause});
        waitFor(pause);
        m_progress.beginAnew(now());
        outcome = attempt([this] { m_engine.retry(); });
    }
    return outcome;
}

Outcome Installation::attempt(const std::function<void()> &call) {
    watch(call);
    // Asked at least once after the end, the engine records the installed release.
    const Snapshot last = ask();
    // A retry that repeats an early failure tells of the downloads by their figures alone.
    m_began = m_began || last.info.totalSize > 0;
    const Outcome outcome = outcomeOf(last.info, m_began);
    tell(m_progress.end(last, outcome));
    m_view.figures(m_progress.figures());
    return outcome;
}

int Installation::finish(Outcome outcome) {
    const Ending ending = endingBy(outcome, remains());
    m_view.end(ending);
    waitForOutput();
    return ending.status;
}

void Installation::waitFor(std::chrono::milliseconds time) {
    const auto end = now() + time;
    for (auto left = time; left.count() > 0; left = end - now())
        obey(m_wake.next(std::min(left, interval)));
}

void Installation::watch(const std::function<void()> &call) {
    m_returned = false;
    m_job = std::thread([this, call] {
        call();
        m_returned = true;
        m_wake.wake();
    });
    while (!m_returned) {
        look();
        obey(m_wake.next(interval));
    }
    m_job.join();
}

void Installation::look() {
    // Figures that nobody reads would only pile up: a reader that is late gets the newest.
    const bool isRead = m_output.isWritten();
    tell(m_progress.take(ask()));
    if (isRead)
        m_view.figures(m_progress.figures());
}

void Installation::obey(int signal) {
    if (isTimeOver())
        endAtOnce(endingBy(m_timeout, remains()));
    switch (signal) {
    case Wake::noSignal:
        return;
    case SIGWINCH:
        return m_view.resized();
    case SIGTSTP:
        m_view.suspend();
        static_cast<void>(m_output.isWritten(lastWords)); // a terminal that takes nothing can't be helped
        m_wake.stop();
        m_progress.goOn(now());
        return m_view.resume();
    default:
        endAtOnce(endingBy(signal, remains()));
    }
}

void Installation::endAtOnce(const Ending &ending) {
    m_view.end(ending);
    static_cast<void>(m_output.isWritten(lastWords)); // whoever does not read them must not hold up the end
    // The engine's threads are in the middle of their work: nothing may be destroyed.
    std::_Exit(ending.status);
}

bool Installation::isTimeOver() const {
    return m_timeout.count() > 0 && now() - m_begin >= m_timeout;
}

// All is told, but its reader may be slow; signals and the time end the wait.
void Installation::waitForOutput() const {
    while (!m_output.isWritten(interval)) {
        if (isTimeOver())
            std::_Exit(Statuses::timedOut);
        const int signal = m_wake.next(std::chrono::milliseconds(0));
        if (Wake::ends(signal))
            std::_Exit(Statuses::interrupted + signal);
        if (signal == SIGTSTP)
            m_wake.stop();
    }
}

void Installation::tell(const std::vector<Event> &events) {
    for (const Event &event : events)
        m_view.event(event);
}

Snapshot Installation::ask() const {
    // The paths first: a package that is finished in the figures is then in the next answer's paths at the
    // latest.
    std::vector<std::string> packages = m_engine.packages();
    return {m_engine.progress(), std::move(packages), now()};
}

Remains Installation::remains() const {
    Remains remains;
    std::set<std::filesystem::path> finished;
    for (const std::string &path : m_engine.packages()) {
        remains.finished.push_back({path, m_engine.expectedHash(path)});
        finished.insert(std::filesystem::path(path).lexically_normal());
    }
    for (const std::string &path : m_folder.changedFiles()) {
        // What this installation's catalogs do not name is somebody else's.
        if (finished.count(path) == 0 && !m_engine.expectedHash(path).empty())
            remains.unfinished.push_back(path);
    }
    remains.diskFull = PackageFolder::isOnFullDisk();
    return remains;
}
