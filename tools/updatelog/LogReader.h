// Reads a log from its beginning to its end, however long it and its lines are, in bounded memory.
#pragma once

#include <cstdint>
#include <deque>
#include <istream>
#include <optional>
#include <string>

#include "MessageCatalogue.h"

// One message of the engine with all its lines, or one line of anybody else's.
struct LogEntry {
    std::uint64_t line = 0; // of the log, from 1
    std::string time;       // "2026-11-22.07:00:00", empty for what has none
    std::string text;       // without the time, and without the line end that closes it
    bool isShortened = false;
    // What the catalogue knows of it; none for what nobody knows.
    std::optional<Recognised> known;
};

class LogReader {
public:
    // Of a line so much is kept, and of an entry some lines.
    static constexpr std::size_t longest = std::size_t(64) << 10;

    // The stream must stay as long as the reader.
    explicit LogReader(std::istream &log);

    // The next entry; none at the end.
    std::optional<LogEntry> next();

private:
    struct Line {
        std::uint64_t number = 0;
        std::string text; // with its line end, where it has one
        bool isShortened = false;
    };

    std::optional<Line> readLine();
    const Line *peek();
    Line take();
    LogEntry stamped(Line line);
    LogEntry unstamped(Line line) const;
    void gather(LogEntry &entry);

    std::istream &m_log;
    std::uint64_t m_number = 0;
    std::deque<Line> m_waiting; // read and not yet given
};
