// A whole run of the engine, what it starts from, and what may be there after it whatever failed.
#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "FaultedRun.h"

enum class Outcome { complete, limited, told, aborted, notReached, found };

struct Judgement {
    Outcome outcome;
    std::string words; // why
};

// Not the engine's programs and libraries.
using WatchedFiles = std::map<std::string, std::string>; // contents by path

class Scenario {
public:
    virtual ~Scenario() = default;
    Scenario(const Scenario &) = delete;
    Scenario &operator=(const Scenario &) = delete;

    virtual std::vector<std::string> command() const = 0;
    // Before every run: all as it was, and the servers answer as for the first time.
    void prepare();
    // What a run leaves in which nothing failed. False when that is not what it must be.
    bool learn(const FaultedEnd &end);
    Judgement judge(const FaultedEnd &end) const;

protected:
    Scenario() = default;

    virtual void publish(const std::string &number) = 0;
    // Of a run that ended by itself and harmed nothing.
    virtual Judgement judgeResult(const FaultedEnd &end, const WatchedFiles &after) const = 0;
    // What a stopped run may have left as it likes.
    virtual bool mayBeInPart(const std::string &path, const FaultedEnd &end) const = 0;

    // What a run may leave that neither was there before nor is after a run without a fault.
    virtual bool mayBeLeft(const std::string &path, const std::string &content) const;

    // Takes the files that are there now for those that every run starts from.
    void startFromHere();
    Judgement failedOrTold(const std::string &what) const;
    Judgement limitedIfTold(const std::string &limit, const std::string &what) const;

    WatchedFiles m_before;
    WatchedFiles m_expected;

private:
    static bool isLibrarysOwnEnd(const FaultedEnd &end);
    std::string harm(const FaultedEnd &end, const WatchedFiles &after) const;

    unsigned m_runs = 0;
    std::set<std::string> m_usualLines; // of the trace
    std::vector<std::string> m_usualOpenFiles;
};

// "check", "install" or "fresh". To be made in a sealed machine with the servers; one lives at a time.
std::unique_ptr<Scenario> makeScenario(const std::string &name);
