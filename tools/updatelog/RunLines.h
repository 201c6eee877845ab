// The lines of a run, for whoever shows them beside its story.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "LogReader.h"
#include "OpenRun.h"
#include "Room.h"

struct RunLine {
    std::uint64_t line = 0;
    std::string time;
    std::string text;
    std::string about;                // the URL of a file, or its name alone; empty for a line about none
    const Message *message = nullptr; // of the catalogue; null for what nobody knows
    const MessageCase *which = nullptr;
    bool isFailure = false;
};

struct RunLines {
    // So many bytes are kept of a run, its first ones; the rest is counted.
    static constexpr std::size_t mostBytes = std::size_t(512) << 10;

    std::vector<RunLine> lines;
    Room room{mostBytes};
};

class LineKeeper {
public:
    void take(const LogEntry &entry, const OpenRun &run);
    // Gives them away: the run gets no more.
    RunLines linesOf(std::uint64_t run);

private:
    std::map<std::uint64_t, RunLines> m_runs; // by their numbers
};

// The lines by the file that they are about. They must stay as long as this.
class LinesByFile {
public:
    explicit LinesByFile(const std::vector<RunLine> &lines);

    // Of the file that has this URL or path, in their order.
    std::vector<const RunLine *> about(const std::string &file) const;

private:
    std::multimap<std::string_view, const RunLine *> m_lines;
};
