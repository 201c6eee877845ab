#include "Ending.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "PackageFolder.h"
#include "Readable.h"
#include "Statuses.h"

namespace {

using Lines = std::vector<std::string>;

const std::string fetchedAnew = "A new run fetches all packages anew.";
const std::string readTheLog = "The engine's log tells more: /var/log/DownloadManager.log";

std::string count(const std::vector<Package> &packages) {
    return std::to_string(packages.size()) + (packages.size() == 1 ? " package" : " packages");
}

void appendDisk(Lines &lines, const Remains &remains) {
    if (remains.diskFull)
        lines.push_back("The disk with " + PackageFolder::path + " is full.");
}

std::string whyDownloadsFailed(Outcome outcome) {
    switch (outcome) {
    case Outcome::givenUp:
        return "A package was given up, since no try brought one that passed the check of its SHA-1";
    case Outcome::brokenOff:
        return "A package kept breaking off, has no SHA-1 in the catalogs, or could not be written";
    case Outcome::done:
    case Outcome::failedBeforeDownloads:
    case Outcome::downloadsFailed:
        break;
    }
    return "Not every package could be fetched";
}

Ending failedDownloads(Outcome outcome, Remains remains) {
    Lines lines = {whyDownloadsFailed(outcome) + "; " + count(remains.finished) + " finished."};
    for (const std::string &path : remains.unfinished)
        lines.push_back("  not finished: " + printable(path));
    appendDisk(lines, remains);
    lines.push_back(fetchedAnew);
    lines.push_back(readTheLog);
    return {"downloads-failed", Statuses::downloadsFailed, std::move(lines), std::move(remains)};
}

Ending failedBeforeDownloads(Remains remains) {
    Lines lines = {"Failed before the downloads: no service, no catalogs, or a package is missing."};
    appendDisk(lines, remains);
    lines.push_back(readTheLog);
    return {"failed-before-downloads", Statuses::failedBeforeDownloads, std::move(lines), std::move(remains)};
}

// Of an end before the engine's.
Lines whatIsLeft(std::string why, const Remains &remains) {
    std::error_code failed; // a folder that cannot be looked at holds nothing that anybody could use
    if (!std::filesystem::exists(PackageFolder::path, failed))
        return {std::move(why), "Nothing of the packages is on the disk."};
    return {std::move(why),
            "Left on the disk: " + count(remains.finished) + " finished, and what came of the others, below",
            "  " + PackageFolder::path, fetchedAnew};
}

} // namespace

Ending endingBy(Outcome outcome, Remains remains) {
    switch (outcome) {
    case Outcome::done:
        return {"done",
                Statuses::done,
                {count(remains.finished) + " downloaded and checked, below", "  " + PackageFolder::path},
                remains};
    case Outcome::failedBeforeDownloads:
        return failedBeforeDownloads(std::move(remains));
    case Outcome::downloadsFailed:
    case Outcome::givenUp:
    case Outcome::brokenOff:
        break;
    }
    return failedDownloads(outcome, std::move(remains));
}

Ending endingBy(int signal, Remains remains) {
    Lines lines = whatIsLeft("interrupted", remains);
    return {"interrupted", Statuses::interrupted + signal, std::move(lines), std::move(remains)};
}

Ending endingBy(std::chrono::seconds timeout, Remains remains) {
    const std::string time =
        std::to_string(timeout.count()) + (timeout.count() == 1 ? " second" : " seconds");
    Lines lines = whatIsLeft("given up after " + time, remains);
    lines.push_back(readTheLog);
    return {"timed-out", Statuses::timedOut, std::move(lines), std::move(remains)};
}

Ending endingBy(const std::exception &error) {
    return {
        "error", Statuses::outOfResources, {std::string("Cannot go on: ") + error.what(), readTheLog}, {}};
}
