#include "Version.h"

#include <cctype>

namespace {

// NUL at the end, as where a C text ends.
char firstOf(std::string_view text) noexcept {
    return text.empty() ? '\0' : text.front();
}

bool beginsWithDigit(std::string_view text) noexcept {
    return std::isdigit(static_cast<unsigned char>(firstOf(text))) != 0;
}

// One "%u": blanks, a sign, digits. Takes the number off the text; false when there is none.
bool takeNumber(std::string_view &text, std::uint32_t &number) noexcept {
    std::string_view rest = text;
    while (std::isspace(static_cast<unsigned char>(firstOf(rest))) != 0)
        rest.remove_prefix(1);
    const bool negative = firstOf(rest) == '-';
    if (negative || firstOf(rest) == '+')
        rest.remove_prefix(1);
    if (!beginsWithDigit(rest))
        return false;
    number = 0;
    for (; beginsWithDigit(rest); rest.remove_prefix(1))
        number = number * 10U + static_cast<std::uint32_t>(rest.front() - '0');
    if (negative)
        number = 0U - number;
    text = rest;
    return true;
}

} // namespace

std::array<std::int32_t, 4> parseVersion(std::string_view text) noexcept {
    std::array<std::int32_t, 4> components{};
    for (std::int32_t &component : components) {
        std::uint32_t number = 0;
        if (!takeNumber(text, number))
            break;
        component = static_cast<std::int32_t>(number);
        if (firstOf(text) != '.')
            break;
        text.remove_prefix(1);
    }
    return components;
}

bool isGreaterVersion(std::string_view first, std::string_view second) noexcept {
    return parseVersion(first) > parseVersion(second);
}
