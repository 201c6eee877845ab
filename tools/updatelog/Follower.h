// Follows a log: tells its newest run as far as it is, and then every line when it comes.
#pragma once

#include <cstdint>
#include <istream>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "FollowView.h"
#include "GrowingLog.h"
#include "LogReader.h"
#include "LogTail.h"
#include "Output.h"
#include "Story.h"
#include "Wake.h"

class Follower {
public:
    // The view, its output and the wake must stay as long as the follower.
    Follower(const std::string &path, FollowView &view, const Output &output, const Wake &wake);

    // Until a signal is to end the process: gives its number. Throws UnusableInput when the log is no file,
    // and std::system_error when it cannot be read or the output not written.
    int untilInterrupted();

private:
    bool look();
    bool isAtTheEnd(const LogTail::Look &look);
    void begin(LogTail::News news);
    void readOn();
    void goLive();
    void tell(const LogEntry &entry, const OpenRun &run);
    void tellFinding(const Finding &finding);
    void tellEnd(const OpenRun &run);
    void tellHandedOn(const RunStory &story);
    std::vector<std::string> status() const;
    void obey(int signal);

    const std::string m_path;
    FollowView &m_view;
    const Output &m_output;
    const Wake &m_wake;
    LogTail m_tail;
    GrowingLog m_log;
    std::istream m_stream{&m_log};
    std::optional<LogReader> m_reader; // of the file that is there
    StoryTeller m_stories;
    int m_looksAtTheEnd = 0;           // which had all that was there
    bool m_isLive = false;             // once all that was there has been read
    std::vector<std::string> m_newest; // the newest run, in brief
    std::set<std::uint64_t> m_ended;   // runs whose end was told, and which may still get lines
    std::uint64_t m_explaining = 0;    // the run of the failure that was explained last
    std::set<std::string> m_explained; // what has happened in it
};

// Until a signal ends the process, which leaves the terminal as it was. Throws as a follower does.
void followLog(const std::string &path);
