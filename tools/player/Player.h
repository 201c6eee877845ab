// Plays a recorded installation to a host: answers what the engine answered, at the same time after a call's
// begin, or that much faster or slower.
//
// The recorded calls are played one after the other, each when the host makes the same one. What the
// recording does not hold ends at once, with the answers as they are: FreshInstall failing,
// RetryDownloadPackages without success.
//
// Any operation may be called from any thread. The two that run downloads play one at a time; the others
// never wait for them.
#pragma once

#include <chrono>
#include <mutex>
#include <optional>
#include <string>

#include "Recording.h"

class Player {
public:
    static constexpr double slowest = 0.001;
    static constexpr double fastest = 1000000;

    // The speed is 1 for that of the recording, 2 for twice as fast; between the two bounds.
    Player(Recording recording, double speed);

    // They return when the recorded call did, or never when it did not.
    int freshInstall();
    void retryDownloadPackages();

    ProgressAnswer progress() const;
    PackagesAnswer packages() const;
    // Of the first package whose name occurs in the text; empty when it is not known yet, or never.
    std::string hashIn(const std::string &text) const;

private:
    using Clock = std::chrono::steady_clock;

    const Call *next(Function function) const;
    void play(const Call &call);
    bool mayRetry() const;
    const Answers &answersNow() const;

    const Recording m_recording;
    const double m_speed;

    std::mutex m_jobMutex;                      // held while a call plays; before the other
    mutable std::mutex m_mutex;                 // guards what follows, held for moments
    std::size_t m_played = 0;                   // calls that have ended
    std::optional<Clock::time_point> m_began{}; // the next one, which plays
};
