// What went wrong in a run, by the catalogue of messages, which also knows what a later line says about it.
#pragma once

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "LogReader.h"
#include "Room.h"
#include "RunStory.h"

class Findings {
public:
    // Takes every line of the engine. Gives whether it tells of a failure.
    bool take(const LogEntry &entry, Room &room);
    // One that is no line's own.
    void add(Finding finding, Room &room);

    const std::vector<Finding> &soFar() const { return m_findings; }
    std::vector<Finding> findings() && { return std::move(m_findings); }

private:
    void settle(const std::string &id, const std::string &file);
    void expect(const Message &message, const std::string &file);
    bool isExpected(const std::string &id, const std::string &file) const;

    std::vector<Finding> m_findings;
    // Entries that are no failure behind what came before, and the file that they are about.
    std::set<std::pair<std::string, std::string>> m_expected;
    Room m_roomForExpected{RunStory::mostBytes / 8};
};
