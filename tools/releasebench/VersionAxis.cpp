#include "VersionAxis.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>

#include "Version.h"

namespace {

using Numbers = std::array<std::int32_t, 4>;

constexpr std::int32_t highest = std::numeric_limits<std::int32_t>::max();

std::string textOf(const Numbers &version, std::size_t numbers) {
    std::string text;
    for (std::size_t i = 0; i < numbers; ++i)
        text += (i == 0 ? "" : ".") + std::to_string(version[i]);
    return text;
}

auto firstNegative(Numbers &version) {
    return std::find_if(version.begin(), version.end(), [](std::int32_t number) { return number < 0; });
}

// The lowest of a machine's versions that is above this one; none above the highest.
std::optional<std::string> lowestAbove(const std::string &text, std::size_t numbers) {
    Numbers version = parseVersion(text);
    const auto negative = firstNegative(version);
    if (negative != version.end()) {
        std::fill(negative, version.end(), 0);
        return textOf(version, numbers);
    }
    for (std::size_t i = numbers; i-- > 0; version[i] = 0) {
        if (version[i] == highest)
            continue;
        ++version[i];
        return textOf(version, numbers);
    }
    return std::nullopt;
}

// Of a machine's versions one below this one that is near; the lowest of all where there is none.
std::string oneBelow(const std::string &text, std::size_t numbers) {
    Numbers version = parseVersion(text);
    std::fill(firstNegative(version), version.end(), 0);
    const auto last =
        std::find_if(version.rbegin(), version.rend(), [](std::int32_t number) { return number != 0; });
    if (last != version.rend())
        --*last;
    return textOf(version, numbers);
}

// One of a machine's versions between two, either of which may be "" for none; nothing when there is none.
std::optional<std::string> oneBetween(const std::string &above, const std::string &below,
                                      std::size_t numbers) {
    if (above.empty() && below.empty())
        return "1.0.0";
    const std::optional<std::string> one =
        above.empty() ? oneBelow(below, numbers) : lowestAbove(above, numbers);
    const bool isBetween = one && (above.empty() || isGreaterVersion(*one, above)) &&
                           (below.empty() || isGreaterVersion(below, *one));
    return isBetween ? one : std::nullopt;
}

} // namespace

std::string VersionRange::label() const {
    if (isOne())
        return from;
    if (from.empty() && to.empty())
        return "any";
    if (from.empty())
        return (hasTo ? "up to " : "below ") + to;
    if (to.empty())
        return (hasFrom ? "from " : "above ") + from;
    return (hasFrom ? "" : "above ") + from + (hasTo ? " to " : " to below ") + to;
}

VersionRange joined(const VersionRange &first, const VersionRange &last) {
    return {first.from, last.to, first.hasFrom, last.hasTo, first.tried};
}

VersionAxis::VersionAxis(const std::vector<std::string> &written, std::size_t numbers) {
    // Of texts that are one version the first is kept.
    std::map<Numbers, std::string> versions;
    for (const std::string &text : written) {
        if (!text.empty())
            versions.emplace(parseVersion(text), text);
    }
    std::string before;
    for (const auto &entry : versions) {
        const std::string &text = entry.second;
        addOthers(before, text, numbers);
        m_ranges.push_back({text, text, true, true, text});
        before = text;
    }
    addOthers(before, "", numbers);
}

std::size_t VersionAxis::rangeOf(const std::string &version) const {
    const auto found =
        std::partition_point(m_ranges.begin(), m_ranges.end(), [&version](const VersionRange &range) {
            if (range.to.empty())
                return false;
            return range.hasTo ? isGreaterVersion(version, range.to) : !isGreaterVersion(range.to, version);
        });
    const auto last = static_cast<std::ptrdiff_t>(m_ranges.size()) - 1;
    return static_cast<std::size_t>(std::min(found - m_ranges.begin(), last));
}

void VersionAxis::addOthers(const std::string &above, const std::string &below, std::size_t numbers) {
    if (const std::optional<std::string> one = oneBetween(above, below, numbers))
        m_ranges.push_back({above, below, false, false, *one});
}
