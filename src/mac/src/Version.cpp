#include "Version.h"

#include <cctype>

namespace {

// One "%u": blanks, a sign, digits. Moves the position behind the number; false when there is none.
bool readNumber(const char *&position, std::uint32_t &number) noexcept {
    const char *cursor = position;
    while (std::isspace(static_cast<unsigned char>(*cursor)) != 0)
        ++cursor;
    const bool negative = *cursor == '-';
    if (*cursor == '-' || *cursor == '+')
        ++cursor;
    if (std::isdigit(static_cast<unsigned char>(*cursor)) == 0)
        return false;
    number = 0;
    for (; std::isdigit(static_cast<unsigned char>(*cursor)) != 0; ++cursor)
        number = number * 10U + static_cast<std::uint32_t>(*cursor - '0');
    if (negative)
        number = 0U - number;
    position = cursor;
    return true;
}

} // namespace

std::array<std::int32_t, 4> parseVersion(const std::string &text) noexcept {
    std::array<std::int32_t, 4> components{};
    const char *position = text.c_str();
    for (std::int32_t &component : components) {
        std::uint32_t number = 0;
        if (!readNumber(position, number))
            break;
        component = static_cast<std::int32_t>(number);
        if (*position != '.')
            break;
        ++position;
    }
    return components;
}

bool isGreaterVersion(const std::string &first, const std::string &second) noexcept {
    return parseVersion(first) > parseVersion(second);
}
