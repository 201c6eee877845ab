#include "TimeSpan.h"

#include <algorithm>
#include <ctime>

#include "TimeForm.h"

namespace {

int numberAt(const std::string &time, std::size_t at, std::size_t length) {
    return std::stoi(time.substr(at, length));
}

// As if all days had as many hours: only differences count.
std::optional<long long> secondsOf(const std::string &time) {
    if (!hasForm(time, timeForm))
        return std::nullopt;
    std::tm parts{};
    parts.tm_year = numberAt(time, 0, 4) - 1900;
    parts.tm_mon = numberAt(time, 5, 2) - 1;
    parts.tm_mday = numberAt(time, 8, 2);
    parts.tm_hour = numberAt(time, 11, 2);
    parts.tm_min = numberAt(time, 14, 2);
    parts.tm_sec = numberAt(time, 17, 2);
    return static_cast<long long>(timegm(&parts));
}

} // namespace

TimeSpan::TimeSpan(const std::string &begin, const std::string &end)
    : m_begin(secondsOf(begin))
    , m_end(secondsOf(end)) {
}

std::optional<Share> TimeSpan::shareOf(const std::string &begin, const std::string &end) const {
    constexpr long long whole = 1000;
    const std::optional<long long> first = secondsOf(begin);
    const std::optional<long long> last = secondsOf(end);
    if (!m_begin || !m_end || !first || !last || *m_begin > *m_end || *first > *last)
        return std::nullopt;
    if (*m_begin == *m_end)
        return Share{0, whole};
    const auto at = [this](long long time) {
        return (std::clamp(time, *m_begin, *m_end) - *m_begin) * whole / (*m_end - *m_begin);
    };
    return Share{at(*first), at(*last) - at(*first)};
}
