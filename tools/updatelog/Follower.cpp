#include "Follower.h"

#include <chrono>
#include <csignal>
#include <system_error>
#include <utility>

#include <unistd.h>

#include "Readable.h"
#include "Telling.h"
#include "TimeForm.h"

namespace {

using Tone = TellingLine::Tone;

constexpr std::chrono::milliseconds interval(200);
constexpr std::chrono::milliseconds lastWords(500);

std::string inWords(LogTail::News news, const std::string &path) {
    switch (news) {
    case LogTail::News::isThere:
        return path + " is there";
    case LogTail::News::wasCut:
        return path + " was cut; from its beginning:";
    case LogTail::News::replaced:
        return path + " was replaced; from the beginning of the new one:";
    case LogTail::News::none:
        break;
    }
    return "";
}

} // namespace

Follower::Follower(const std::string &path, FollowView &view, const Output &output, const Wake &wake)
    : m_path(path)
    , m_view(view)
    , m_output(output)
    , m_wake(wake)
    , m_tail(path)
    , m_stories([this](const RunStory &story) { tellHandedOn(story); },
                [this](const LogEntry &entry, const OpenRun &run) { tell(entry, run); }) {
}

int Follower::untilInterrupted() {
    while (true) {
        // A slow reader is waited for.
        const bool isMoreThere = m_output.isWritten(interval) && look();
        if (m_output.error() != 0)
            throw std::system_error(m_output.error(), std::generic_category(), "standard output");
        m_view.status(status());
        const int signal = m_wake.next(isMoreThere ? std::chrono::milliseconds(0) : interval);
        if (Wake::ends(signal))
            return signal;
        obey(signal);
    }
}

// Whether there is more to be read at once.
bool Follower::look() {
    const LogTail::Look look = m_tail.look();
    if (look.news != LogTail::News::none)
        begin(look.news);
    m_log.add(look.text);
    if (look.text.empty())
        m_log.settle();
    readOn();
    if (!m_isLive && isAtTheEnd(look))
        goLive();
    return !look.isAll;
}

// With nothing more to come for now the last message is whole. A log that never pauses is not waited for.
bool Follower::isAtTheEnd(const LogTail::Look &look) {
    constexpr int mostLooks = 5;
    m_looksAtTheEnd += look.isAll ? 1 : 0;
    return look.text.empty() || m_looksAtTheEnd == mostLooks;
}

// What the one before has left is whole: nothing comes to it.
void Follower::begin(LogTail::News news) {
    m_log.finish();
    readOn();
    m_reader.emplace(m_stream);
    if (m_isLive)
        m_view.line({inWords(news, m_path), 0, Tone::plain});
}

void Follower::readOn() {
    bool hasRead = false;
    while (const std::optional<LogEntry> entry = m_reader ? m_reader->next() : std::nullopt) {
        m_stories.take(*entry);
        hasRead = true;
    }
    if (hasRead && m_isLive) // until then nobody is told, and a long log would have it made many times
        m_newest = inBrief(m_stories.newestRun()->soFar());
}

void Follower::goLive() {
    m_isLive = true;
    const OpenRun *const run = m_stories.newestRun();
    if (run == nullptr)
        return m_view.line(
            {m_tail.isThere() ? m_path + " has no line yet" : m_path + " is not there yet", 0, Tone::plain});
    const RunStory story = run->soFar();
    m_newest = inBrief(story);
    for (const TellingLine &line : inFull(story))
        m_view.line(line);
    if (run->hasEnd())
        m_ended.insert(run->number());
}

void Follower::tell(const LogEntry &entry, const OpenRun &run) {
    if (!m_isLive)
        return;
    const std::string time = entry.time.empty() ? std::string(timeForm.size(), ' ') : entry.time;
    m_view.line({time + "  " + onOneLine(entry.text), 0, run.found() == nullptr ? Tone::plain : Tone::bad});
    if (run.found() != nullptr) {
        if (std::exchange(m_explaining, run.number()) != run.number())
            m_explained.clear();
        tellFinding(*run.found());
    }
    tellEnd(run);
}

// Of several of a kind one is explained.
void Follower::tellFinding(const Finding &finding) {
    if (!m_explained.insert(finding.happened).second)
        return;
    for (const std::string &words : explanationOf(finding))
        m_view.line({"    " + words, 0, Tone::plain});
}

void Follower::tellEnd(const OpenRun &run) {
    if (run.hasEnd() && m_ended.insert(run.number()).second)
        m_view.line(inOneLine(run.soFar()));
}

void Follower::tellHandedOn(const RunStory &story) {
    if (m_ended.erase(story.number) == 0 && m_isLive)
        m_view.line(inOneLine(story));
}

std::vector<std::string> Follower::status() const {
    if (!m_isLive)
        return {"reading " + m_path};
    if (m_newest.empty())
        return {"waiting for the first line of " + m_path};
    std::vector<std::string> words = m_newest;
    words.push_back("last line " + duration(m_tail.age()) + " ago");
    return words;
}

void Follower::obey(int signal) {
    if (signal == SIGWINCH)
        m_view.draw();
    if (signal != SIGTSTP)
        return;
    m_view.suspend();
    // A terminal that takes nothing cannot be helped.
    static_cast<void>(m_output.isWritten(lastWords));
    m_wake.stop();
    m_view.draw();
}

void followLog(const std::string &path) {
    Output output(STDOUT_FILENO);
    FollowView view(output);
    int signal = Wake::noSignal;
    {
        const Wake wake; // before the terminal is taken: from then on no signal may end the process by itself
        const auto leave = [&view, &output] {
            view.suspend();
            static_cast<void>(output.isWritten(lastWords)); // whoever reads nothing must not hold up the end
        };
        try {
            signal = Follower(path, view, output, wake).untilInterrupted();
        } catch (...) {
            leave(); // what is said of it stands on a line of its own
            throw;
        }
        leave();
    }
    static_cast<void>(raise(signal)); // ends the process
}
