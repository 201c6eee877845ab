#include "Words.h"

#include <filesystem>
#include <system_error>

#include "Engine.h"
#include "Readable.h"

namespace {

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
