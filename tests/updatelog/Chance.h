// Draws that are the same in every run, on every system.
#pragma once

#include <cstddef>
#include <random>
#include <vector>

class Chance {
public:
    explicit Chance(unsigned seed)
        : m_bits(seed) {}

    std::size_t below(std::size_t end) { return m_bits() % end; }
    // From the first one to the last one.
    std::size_t between(std::size_t first, std::size_t last) { return first + below(last - first + 1); }
    bool oneIn(std::size_t count) { return below(count) == 0; }
    template <typename Value>
    const Value &oneOf(const std::vector<Value> &values) {
        return values[below(values.size())];
    }

private:
    std::mt19937 m_bits; // its numbers are laid down by the standard
};
