#include "Words.h"

#include <algorithm>
#include <filesystem>
#include <iomanip>
#include <sstream>

#include "Engine.h"

namespace {

std::string twoDigits(long long number) {
    return (number < 10 ? "0" : "") + std::to_string(number);
}

// Of the UTF-8 character that begins there; 0 for control characters, the second set of them included, and
// for what is no UTF-8.
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
    return first >= 0xc0 && first < 0xf8 && isCharacter ? length : 0;
}

std::string finishedInWords(const std::string &path) {
    std::error_code failed; // the size is an extra; a file that is gone has none
    const std::uintmax_t bytes = std::filesystem::file_size(path, failed);
    const std::string size = failed ? "" : ", " + megabytes(static_cast<double>(bytes) / 1024) + " MB";
    return "finished: " + printable(fileName(path)) + size + ", its SHA-1 is the catalog's";
}

} // namespace

std::string inWords(const Event &event) {
    switch (event.kind) {
    case Event::Kind::phaseBegan:
        return event.text;
    case Event::Kind::packageFinished:
        return finishedInWords(event.text);
    case Event::Kind::packageFetchedAgain:
        return "a package did not come right and is fetched again from its beginning";
    case Event::Kind::packageFailed:
        return "a package could not be fetched";
    case Event::Kind::packageGivenUp:
        return "a package was given up, since no try brought one that passed the check of its SHA-1; the "
               "figures stand still from now on";
    case Event::Kind::standsStill:
        return "waiting for " + event.text;
    }
    return {};
}

std::string inWords(const Retry &retry) {
    const long long seconds = retry.pause.count();
    return "retry " + std::to_string(retry.attempt) + " of " + std::to_string(retry.of) + " in " +
           std::to_string(seconds) + (seconds == 1 ? " second" : " seconds");
}

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
