// The packages that a run installs, by its lines about them.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Room.h"
#include "RunStory.h"

class Installations {
public:
    using State = InstallationStory::State;

    // One is listed, and may be so again.
    void add(const std::string &path, Room &room);
    // What has become of the first one of this path that has no end; of a log whose beginning is missing it
    // may be a new one. What has ended stays as it is.
    void tell(const std::string &path, State state, Room &room);

    bool isEmpty() const { return m_stories.empty(); }
    bool areAllOver() const { return m_over == m_stories.size(); }
    std::vector<InstallationStory> stories() && { return std::move(m_stories); }

private:
    using Places = std::multimap<std::string, std::size_t>;

    Places::iterator firstOf(const std::string &path);

    std::vector<InstallationStory> m_stories;
    // Those without an end, and of each path the last one: so the first is the one that a line is about.
    Places m_byPath;
    std::size_t m_over = 0;
};
