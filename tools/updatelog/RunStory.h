// What a run of the engine did, as its lines in the log tell it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

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
    // Ended: of branding packages nobody looks how.
    enum class State { listed, begun, done, ended, failed };

    bool isOver() const { return state == State::done || state == State::ended; }

    std::string path;
    State state = State::listed;
};

// A line that says that something went wrong.
struct Finding {
    std::uint64_t line = 0;
    std::string time;
    std::string text;
    std::string id;
    std::string file; // the name of the one that it is about, where it is about one
    std::string happened;
    std::vector<std::string> causes; // empty where what happened says it
    std::string remedy;
    std::string settled; // what a later line says about it by which it is none any more
};

struct UnknownLine {
    std::uint64_t line = 0;
    std::string time;
    std::string text;
};

struct RunStory {
    // So many findings and unknown lines are kept of a run, and so many bytes in all; the rest is counted.
    static constexpr std::size_t mostLines = 1000;
    static constexpr std::size_t mostBytes = std::size_t(8) << 20;

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
    std::string answer;  // in words; empty when the service was not asked
    std::string request; // as it went out; empty where the log does not have it whole
    std::string reply;   // likewise
    bool waited = false;
    std::vector<TransferStory> transfers;
    std::vector<InstallationStory> installations;
    bool isRecorded = false;
    bool isOfEngine = false; // one line at least is
    std::vector<Finding> findings;
    std::vector<UnknownLine> unknownLines;
    std::uint64_t left = 0; // findings, unknown lines, transfers and packages that are not kept
};
