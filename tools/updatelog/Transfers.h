// The files that a run fetches, by its lines about them.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "LogReader.h"
#include "Room.h"
#include "RunStory.h"

class Transfers {
public:
    // Lines about other things and about transfers that did not begin tell nothing.
    void take(const LogEntry &entry, Room &room);

    // Whether one has ended without its file.
    bool hasFailed() const;
    std::vector<TransferStory> stories() && { return std::move(m_stories); }

private:
    TransferStory *about(const Recognised &known);
    TransferStory *begun(const std::string &url, const std::string &time, Room &room);

    std::vector<TransferStory> m_stories;
    std::map<std::string, std::size_t> m_byUrl;
    std::map<std::string, std::size_t> m_byFile;
};
