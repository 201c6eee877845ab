#include "Readable.h"

#include <algorithm>
#include <cstddef>
#include <iomanip>
#include <sstream>

namespace {

std::string twoDigits(long long number) {
    return (number < 10 ? "0" : "") + std::to_string(number);
}

// Marks that turn the direction in which a text is shown, and line ends of their own: with them a name looks
// like another one.
bool rearranges(unsigned long code) {
    return code == 0x61c || code == 0x200e || code == 0x200f || (code >= 0x2028 && code <= 0x202e) ||
           (code >= 0x2066 && code <= 0x2069);
}

// Of the UTF-8 character that begins there; 0 for control characters, the second set of them included, for
// what rearranges the others, and for what is no UTF-8.
std::size_t printableLength(const std::string &text, std::size_t at) {
    const auto byte = [&text, at](std::size_t i) {
        return at + i < text.size() ? static_cast<unsigned char>(text[at + i]) : 0U;
    };
    const unsigned first = byte(0);
    if (first < 0x80)
        return first >= 0x20 && first != 0x7f ? 1 : 0;
    const std::size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
    unsigned long code = first & (0xffU >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xc0U) != 0x80)
            return 0;
        code = code << 6U | (byte(i) & 0x3fU);
    }
    constexpr unsigned long least[] = {0, 0, 0xa0, 0x800,
                                       0x10000}; // by length; smaller ones have shorter forms
    const bool isCharacter = code >= least[length] && code <= 0x10ffff && (code < 0xd800 || code > 0xdfff);
    return first >= 0xc0 && first < 0xf8 && isCharacter && !rearranges(code) ? length : 0;
}

} // namespace

std::string megabytes(double kb) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(1) << kb / 1024;
    return text.str();
}

std::string duration(std::chrono::seconds time) {
    const long long all = time.count();
    const long long hours = all / 3600;
    const long long minutes = all / 60 % 60;
    const std::string beforeSeconds =
        hours > 0 ? std::to_string(hours) + ":" + twoDigits(minutes) : std::to_string(minutes);
    return beforeSeconds + ":" + twoDigits(all % 60);
}

std::string printable(const std::string &text) {
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = printableLength(text, at);
        result += length > 0 ? text.substr(at, length) : "?";
        at += std::max<std::size_t>(length, 1);
    }
    return result;
}
