// A run while its lines come: what they make of its story, and what tells whose the next line is.
#pragma once

#include <cstdint>
#include <string>

#include "Findings.h"
#include "Installations.h"
#include "LogReader.h"
#include "Room.h"
#include "RunStory.h"
#include "Transfers.h"

class OpenRun {
public:
    OpenRun(std::uint64_t number, const LogEntry &first);

    void take(const LogEntry &entry);
    // Another one works, which does not happen beside it.
    void replace() { m_isReplaced = true; }
    // With this line, whatever stands before.
    void beginAt(const LogEntry &entry);
    // After its last line.
    RunStory story() &&;
    // As if there were no more.
    RunStory soFar() const { return OpenRun(*this).story(); }

    // What the last line tells of a failure; null where it tells of none.
    const Finding *found() const;
    // Whether nothing that still comes may change how it ended.
    bool hasEnd() const;
    std::uint64_t number() const { return m_story.number; }
    bool isOfEngine() const { return m_story.isOfEngine; }
    // For another job to end, silently.
    bool isWaiting() const { return m_isWaiting; }
    bool isAtWork() const { return !m_isWaiting && !m_hasEnded && !m_isReplaced; }
    bool hasBegunWork() const { return m_hasBegunWork; }
    // A line behind what it has written. A job asks the service once, and installs or fetches.
    bool mayWrite(const Message &message) const;
    // Whether its last line may come now.
    bool mayExit() const { return m_hasBegunWork ? hasDoneJob() : m_isJobStarted; }
    // It has done its job and lets others work, and its last line has not come yet.
    bool awaitsExit() const { return !m_hasEnded && !m_hasMissedExit && hasDoneJob(); }
    // Others have come to their last lines since.
    void missExit() { m_hasMissedExit = true; }
    // Of a host, which goes on after its job: it asks how far it is, retries, cancels.
    bool isHosts() const { return m_isBegunByHost || m_story.kind == RunKind::freshInstallation; }
    // Which goes on when its run does not.
    bool hasScript() const { return m_hasScript; }
    bool isOver() const { return m_hasEnded || (m_isReplaced && !m_hasScript && !awaitsExit()); }

private:
    bool hasDoneJob() const { return m_story.end != RunEnd::stopped || m_story.isRecorded; }
    void keepUnknown(const LogEntry &entry);
    void tell(const LogEntry &entry);
    void tellService(const std::string &id, const Recognised &known);
    void keepExchange(const LogEntry &entry);
    void tellInstallation(const std::string &id, const Recognised &known);
    void tellEnd(const std::string &id, bool isFailure);
    void tellWrongMode(const LogEntry &entry);
    RunEnd end() const;

    RunStory m_story;
    Room m_room{RunStory::mostBytes};
    Findings m_findings;
    Transfers m_transfers;
    Installations m_installations;
    bool m_hasFound = false; // by the last line
    bool m_isWaiting = false;
    bool m_hasEnded = false;
    bool m_isReplaced = false;
    bool m_hasMissedExit = false;
    bool m_hasBegunWork = false;
    bool m_isBegunByHost = false;
    bool m_hasScript = false;
    bool m_isJobStarted = false;
    bool m_hasFailedPackage = false;
    bool m_hasFailedRecord = false;
};
