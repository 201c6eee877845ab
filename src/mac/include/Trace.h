// The trace: one append-only text file that every class writes and support reads.
//
// Threads: lines may be written from any thread; the stamp and the message of one line stay together.
// Errors: a trace that cannot be opened or written is silent; it never changes what the engine does.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <cstdio>

// The open trace file; null until it is opened and when it could not be.
extern std::FILE *logFilePtr;
// 1 once the one attempt to open the trace file was made.
extern int traceInited;
// The trace level of every class but the catalog parser.
extern std::int32_t downloadManagerTraceFlagvalue;
// The trace level of the catalog parser.
extern std::int32_t catalogparserflagvalue;

// Opens the trace file at the first call; a later call, also after a failure, does nothing.
// To be called before any other thread traces.
void openTrace() noexcept;

// Writes lines that are governed by one of the level variables.
class Trace {
public:
    static constexpr int errorLevel = 2;
    static constexpr int partialDownloadLevel = 4;
    static constexpr int infoLevel = 5;

    constexpr explicit Trace(const std::int32_t &governingLevel)
        : m_governingLevel(governingLevel) {}

    // Writes one line; the message brings its own line end. Suppressed lines are not formatted.
    void write(int level, const char *format, ...) const noexcept __attribute__((format(printf, 3, 4)));
    void error(const char *format, ...) const noexcept __attribute__((format(printf, 2, 3)));
    void info(const char *format, ...) const noexcept __attribute__((format(printf, 2, 3)));

private:
    void writeIfGoverned(int level, const char *format, std::va_list arguments) const noexcept
        __attribute__((format(printf, 3, 0)));

    const std::int32_t &m_governingLevel;
};

inline constexpr Trace trace{downloadManagerTraceFlagvalue};
inline constexpr Trace catalogTrace{catalogparserflagvalue};
