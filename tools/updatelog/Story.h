// What a run of the engine did, as its lines in the log tell it.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "LogReader.h"

enum class RunKind { unknown, check, installation, freshInstallation };

enum class RunEnd {
    well,
    nothingToDo,
    failed,
    stopped, // its lines end in the midst: killed, still under way, or told nowhere else
};

// One file that was fetched: a catalog or a package.
struct TransferStory {
    enum class State { begun, done, failed, givenUp };

    std::string url;
    State state = State::begun;
    unsigned attempts = 0;
    unsigned resumes = 0;
    unsigned hashChecks = 0;
    unsigned hashFailures = 0;
    std::string began;
    std::string ended;
};

// One package that was to be installed.
struct InstallationStory {
    enum class State { listed, begun, done, failed };

    std::string path;
    State state = State::listed;
};

// A line that says that something went wrong.
struct Finding {
    std::uint64_t line = 0;
    std::string time;
    std::string text;
    std::string id;
    std::string happened;
    std::string remedy;
};

struct UnknownLine {
    std::uint64_t line = 0;
    std::string time;
    std::string text;
};

struct RunStory {
    // So many findings and unknown lines are kept of a run; the rest is counted.
    static constexpr std::size_t mostLines = 1000;

    std::uint64_t number = 0; // from 1, in the order in which they began
    RunKind kind = RunKind::unknown;
    RunEnd end = RunEnd::stopped;
    std::string began;
    std::string ended; // the time of its last line
    std::uint64_t firstLine = 0;
    std::uint64_t lastLine = 0;
    std::string version;
    std::string affiliate;
    std::string httpCode;
    std::string answer; // in words; empty when the service was not asked
    bool waited = false;
    std::vector<TransferStory> transfers;
    std::vector<InstallationStory> installations;
    bool isRecorded = false;
    bool isOfEngine = false; // one line at least is
    std::vector<Finding> findings;
    std::vector<UnknownLine> unknownLines;
    std::uint64_t left = 0; // findings and unknown lines that are not kept
};

// Tells the lines of several runs apart and makes a story of each.
class StoryTeller {
public:
    using Sink = std::function<void(RunStory)>;

    // The sink gets every run, in the order in which they began.
    explicit StoryTeller(Sink sink);

    void take(const LogEntry &entry);
    // After the last entry.
    void finish();

private:
    struct Open {
        RunStory story;
        bool isWaiting = false;
        bool hasEnded = false;
        bool hasNoUpdate = false;
        bool hasBegunWork = false;
        std::map<std::string, std::size_t> byUrl; // of transfers
        std::map<std::string, std::size_t> byFile;
    };

    Open &runOf(const LogEntry &entry);
    Open &begin(const LogEntry &entry);
    Open *atWork();
    void handOn(bool all);

    static void tell(Open &run, const LogEntry &entry);
    static void tellService(Open &run, const std::string &id, const Recognised &known);
    static bool tellTransfer(Open &run, const LogEntry &entry);
    static void tellInstallation(Open &run, const std::string &id, const Recognised &known);
    static void tellEnd(Open &run, const std::string &id);
    static void judge(Open &run);

    Sink m_sink;
    std::uint64_t m_begun = 0;
    std::deque<Open> m_open;
};
