// Runs the engine's installation as a host does, asks it twenty times a second, and writes what it answers
// down as a recording.
#pragma once

#include <chrono>
#include <optional>
#include <ostream>
#include <set>
#include <string>

#include "PackageFolder.h"
#include "Recording.h"

class Recorder {
public:
    // Makes the engine's first call. The stream has every line as soon as it is known, so that an interrupted
    // recording is one up to there.
    explicit Recorder(std::ostream &out);

    // Returns when the engine's call has.
    void record(Function function);

    bool isCompleted() const { return m_progress && *m_progress && (*m_progress)->completed; }

private:
    void look();
    void lookAtHashes(std::chrono::milliseconds at);
    std::chrono::milliseconds now() const;
    void tell(const std::string &line);

    std::ostream &m_out;
    const PackageFolder m_folder; // where the names of packages are seen that do not get finished
    std::optional<std::chrono::steady_clock::time_point> m_began{};
    std::optional<ProgressAnswer> m_progress{}; // told last; none: not yet
    std::optional<PackagesAnswer> m_packages{};
    std::set<std::string> m_hashed;
};
