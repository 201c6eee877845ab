// Where a time of the log lies between two others.
#pragma once

#include <optional>
#include <string>

// In tenths of a percent of the whole.
struct Share {
    long long begin = 0;
    long long length = 0;
};

class TimeSpan {
public:
    // Times as the log has them, "2026-11-22.07:00:00".
    TimeSpan(const std::string &begin, const std::string &end);

    // None where one of them is no time, or where the clock was set back between them. What lies outside is
    // cut off.
    std::optional<Share> shareOf(const std::string &begin, const std::string &end) const;

private:
    std::optional<long long> m_begin;
    std::optional<long long> m_end;
};
