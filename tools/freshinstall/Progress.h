// What is to be shown of an installation, made of what the engine answers when it is asked again and again.
// Pure: no clock, no thread, no terminal.
//
// The engine's own per cent, speed and time left are averages over the packages, large and small alike, and
// fall when a package begins or is fetched again. What is shown never runs backwards, and speed and time left
// are worked out from the bytes of all packages.
#pragma once

#include <chrono>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "downloadManager.h"

enum class Phase { preparing, downloading, checking, done };
const char *nameOf(Phase phase);

// One answer of the engine.
struct Snapshot {
    DownloadProgressInfo info{};
    std::vector<std::string> packages;
    std::chrono::milliseconds time{}; // since any fixed moment
};

// The overall bar.
struct Figures {
    Phase phase = Phase::preparing;
    int percent = 0; // 0 to 100; 100 only when all is done
    double presentKb = 0;
    double totalKb = 0;
    double kbPerSecond = 0;
    std::optional<std::chrono::seconds> left; // none: unknown
    std::string waitsFor;                     // in words, while the figures stand still; else empty
    std::chrono::seconds waits{};             // for how long already
};
bool operator==(const Figures &one, const Figures &other);

// Something that happened once, to be told once.
struct Event {
    enum class Kind {
        phaseBegan,
        packageFinished,
        packageFetchedAgain,
        packageFailed,
        packageGivenUp,
        standsStill
    };
    Kind kind;
    std::string text; // the phase's name, the package's path, or what is waited for
};
bool operator==(const Event &one, const Event &other);

// How an installation, or one try of it, ended.
enum class Outcome {
    done,
    failedBeforeDownloads,
    downloadsFailed, // a retry goes on with them
    givenUp,         // no try brought a package that passed its check: only a new process begins anew
    brokenOff,       // neither failed nor complete: likewise
};

class Progress {
public:
    // What is new in this answer, in the order in which to tell it.
    std::vector<Event> take(const Snapshot &snapshot);
    const Figures &figures() const { return m_figures; }

    // The process was stopped until then: how long says nothing of the engine.
    void goOn(std::chrono::milliseconds time);

    // The engine's call has returned and this is its answer since: what is left to tell of this try.
    std::vector<Event> end(const Snapshot &last, Outcome outcome);
    // Another try begins, with figures of its own.
    void beginAnew(std::chrono::milliseconds time);

private:
    struct Sample {
        std::chrono::milliseconds time;
        double presentKb;
    };

    void noticePackages(const std::vector<std::string> &packages);
    void noticeTroubles(const DownloadProgressInfo &info, std::chrono::milliseconds time);
    void noticeAnotherFetch(const DownloadProgressInfo &info, std::chrono::milliseconds time);
    void enter(Phase phase);
    void measure(const DownloadProgressInfo &info, std::chrono::milliseconds time);
    void noticeStandstill(const Snapshot &snapshot);
    Phase phaseOf(const DownloadProgressInfo &info) const;
    std::string whatItWaitsFor() const;
    void tell(Event::Kind kind, std::string text = {});

    Figures m_figures;
    std::vector<Event> m_news;
    bool m_begun = false;
    DownloadProgressInfo m_last{};
    std::vector<std::string> m_packages;
    bool m_stale = false;         // the engine's figures are those of the try before
    std::deque<Sample> m_samples; // of the last seconds, for the speed
    std::chrono::milliseconds m_lastChange{};
    std::optional<std::chrono::milliseconds> m_averageFell; // when, while nothing explains it
    bool m_toldStandstill = false;
    bool m_packageFailed = false; // in the last answer
    bool m_toldFailure = false;   // in this try
};

// How a try ended. A failure counts before a giving up: a retry may mend it.
Outcome outcomeOf(const DownloadProgressInfo &info, bool downloadsBegan);
