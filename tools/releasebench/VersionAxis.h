// All versions that a machine can have, cut where a release tells them apart: each version that the release
// writes by itself, and between two of them all others, for which every bound decides alike.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

struct VersionRange {
    std::string from; // "" without a lower end
    std::string to;   // "" without an upper end
    bool hasFrom = false;
    bool hasTo = false;
    std::string tried; // one of the range, in whose place the engine is asked

    bool isOne() const { return hasFrom && hasTo && from == to; }
    // "1.0.0.0 to 1.0.0.9", "above 1.0.0.9"
    std::string label() const;
};

// From the lower end of the first to the upper end of the last.
VersionRange joined(const VersionRange &first, const VersionRange &last);

// A machine's versions have the given count of numbers, each from 0 to 2147483647. A range that holds none
// such is left out; a version that is written has its place whatever it looks like.
class VersionAxis {
public:
    VersionAxis(const std::vector<std::string> &written, std::size_t numbers);

    const std::vector<VersionRange> &ranges() const { return m_ranges; }
    std::size_t size() const { return m_ranges.size(); }
    const std::string &tried(std::size_t range) const { return m_ranges[range].tried; }
    // The range of a version; where that one is left out, the next.
    std::size_t rangeOf(const std::string &version) const;

private:
    // All between two versions, either of which may be "" for none.
    void addOthers(const std::string &above, const std::string &below, std::size_t numbers);

    std::vector<VersionRange> m_ranges; // ascending, as the engine compares
};
