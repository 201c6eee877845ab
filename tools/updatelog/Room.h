// How much of a run is kept; what finds no room is counted.
#pragma once

#include <cstddef>
#include <cstdint>

class Room {
public:
    explicit Room(std::size_t bytes)
        : m_all(bytes)
        , m_left(bytes) {}

    // Whether it is to be kept.
    bool take(std::size_t bytes) {
        if (bytes > m_left) {
            ++m_refused;
            return false;
        }
        m_left -= bytes;
        return true;
    }
    void refuse() { ++m_refused; }
    std::size_t taken() const { return m_all - m_left; }
    std::uint64_t refused() const { return m_refused; }

private:
    std::size_t m_all;
    std::size_t m_left;
    std::uint64_t m_refused = 0;
};
