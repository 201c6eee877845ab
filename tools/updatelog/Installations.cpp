#include "Installations.h"

#include <iterator>

void Installations::add(const std::string &path, Room &room) {
    constexpr std::size_t copies = 2;
    if (!room.take(sizeof(InstallationStory) + copies * (path.size() + sizeof(std::string))))
        return;
    const auto known = firstOf(path);
    const bool hasOnlyEnded = known != m_byPath.end() && m_stories[known->second].state > State::begun;
    if (hasOnlyEnded)
        m_byPath.erase(known);
    m_byPath.emplace(path, m_stories.size());
    m_stories.push_back({path, State::listed});
}

void Installations::tell(const std::string &path, State state, Room &room) {
    auto place = firstOf(path);
    if (place == m_byPath.end()) {
        add(path, room);
        place = firstOf(path);
    }
    if (place == m_byPath.end() || m_stories[place->second].state > State::begun)
        return;
    m_stories[place->second].state = state;
    if (m_stories[place->second].isOver())
        ++m_over;
    const auto next = std::next(place);
    const bool isAnotherListed = next != m_byPath.end() && next->first == path;
    if (state > State::begun && isAnotherListed)
        m_byPath.erase(place);
}

Installations::Places::iterator Installations::firstOf(const std::string &path) {
    const auto first = m_byPath.lower_bound(path);
    return first != m_byPath.end() && first->first == path ? first : m_byPath.end();
}
