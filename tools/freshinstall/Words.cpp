#include "Words.h"

#include <filesystem>
#include <iomanip>
#include <sstream>

namespace {

std::string twoDigits(long long number) {
    return (number < 10 ? "0" : "") + std::to_string(number);
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
        return "a package was given up: its SHA-1 was wrong on every try; the figures stand still from now "
               "on";
    case Event::Kind::standsStill:
        return "waiting for " + event.text;
    }
    return {};
}

std::string retryInWords(unsigned attempt, unsigned attempts) {
    return "retry " + std::to_string(attempt) + " of " + std::to_string(attempts);
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

std::string fileName(const std::string &path) {
    return path.substr(path.rfind('/') + 1);
}

std::string printable(std::string text) {
    for (char &character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x20 || byte == 0x7f)
            character = '?';
    }
    return text;
}
