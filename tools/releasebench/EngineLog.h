#pragma once

#include <filesystem>
#include <functional>
#include <string>

// The engine's log while it is written: every line is told once, and all of it is copied as far as it goes,
// so that a rehearsal leaves the log however it ends.
class EngineLog {
public:
    // A line without the stamp at its beginning and without its end.
    using Tell = std::function<void(const std::string &line)>;

    EngineLog(std::filesystem::path log, std::filesystem::path copy);

    // Tells the lines that are complete by now.
    void follow(const Tell &tell);
    // Everything that was followed so far.
    const std::string &text() const { return m_text; }

private:
    const std::filesystem::path m_log;
    const std::filesystem::path m_copy;
    std::string m_text;
    std::size_t m_told = 0; // up to here
};
