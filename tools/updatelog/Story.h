// Tells the lines of several runs apart and makes a story of each.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <istream>

#include "LogReader.h"
#include "OpenRun.h"
#include "RunStory.h"

class StoryTeller {
public:
    using Sink = std::function<void(RunStory)>;

    // Is told of every entry, with the run that has got it.
    using Watcher = std::function<void(const LogEntry &, const OpenRun &)>;

    // The sink gets every run, in the order in which they began.
    explicit StoryTeller(Sink sink, Watcher watcher = nullptr);

    void take(const LogEntry &entry);
    // After the last entry.
    void finish();
    // Takes all of a log, and finishes. Throws what the stream throws.
    void takeAll(std::istream &log);

    // The one that began last; null before the first, and after the last entry.
    const OpenRun *newestRun() const { return m_open.empty() ? nullptr : &m_open.back(); }

private:
    using Test = std::function<bool(const OpenRun &)>;

    OpenRun &runOf(const LogEntry &entry);
    OpenRun &runAtWork(const LogEntry &entry);
    OpenRun &begin(const LogEntry &entry);
    OpenRun *newest(const Test &test);
    OpenRun *firstWaiting(bool ofHost);
    void replaceBefore(const OpenRun &run);
    void missExitsBefore(const OpenRun &run, const LogEntry &entry);
    void handOn(bool all);

    Sink m_sink;
    Watcher m_watcher;
    std::uint64_t m_begun = 0;
    std::deque<OpenRun> m_open; // in the order in which they began
    std::uint64_t m_last = 0;   // the number of the one that got the line before
};
