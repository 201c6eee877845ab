#include "Ending.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "Statuses.h"

namespace {

const std::string packageFolder = "/usr/local/Brovik/TempDownload/Package";
const std::string fetchedAnew = "A new run fetches all packages anew.";
const std::string readTheLog = "The engine's log tells more: /var/log/DownloadManager.log";

std::string count(const std::vector<Package> &packages) {
    return std::to_string(packages.size()) + (packages.size() == 1 ? " package" : " packages");
}

Ending failedDownloads(const std::string &what, std::vector<Package> finished) {
    std::vector<std::string> lines = {what + "; " + count(finished) + " finished.", fetchedAnew, readTheLog};
    return {"downloads-failed", Statuses::downloadsFailed, std::move(lines), std::move(finished)};
}

} // namespace

Ending endingBy(Outcome outcome, std::vector<Package> finished) {
    switch (outcome) {
    case Outcome::done:
        return {"done",
                Statuses::done,
                {count(finished) + " downloaded and checked, below", "  " + packageFolder},
                finished};
    case Outcome::failedBeforeDownloads:
        return {
            "failed-before-downloads",
            Statuses::failedBeforeDownloads,
            {"Failed before the downloads: no service, no catalogs, or a package is missing.", readTheLog},
            finished};
    case Outcome::downloadsFailed:
        break;
    case Outcome::givenUp:
        return failedDownloads("A package was given up, since its SHA-1 was wrong on every try",
                               std::move(finished));
    case Outcome::brokenOff:
        return failedDownloads(
            "A package kept breaking off, has no SHA-1 in the catalogs, or could not be written",
            std::move(finished));
    }
    return failedDownloads("Not every package could be fetched", std::move(finished));
}

Ending endingBy(int signal, std::vector<Package> finished) {
    std::vector<std::string> lines = {"interrupted", "Nothing of the packages is on the disk."};
    std::error_code failed; // a folder that cannot be looked at holds nothing that anybody could use
    if (std::filesystem::exists(packageFolder, failed))
        lines = {"interrupted",
                 "Left on the disk: " + count(finished) + " finished, and what came of the others, below",
                 "  " + packageFolder, fetchedAnew};
    return {"interrupted", Statuses::interrupted + signal, std::move(lines), std::move(finished)};
}

Ending endingBy(const std::exception &error) {
    return {
        "error", Statuses::outOfResources, {std::string("Cannot go on: ") + error.what(), readTheLog}, {}};
}
