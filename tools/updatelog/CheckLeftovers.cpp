// What an earlier run left, or one at work holds.
#include <algorithm>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>

#include "CheckPaths.h"
#include "CheckTheme.h"
#include "Descriptor.h"
#include "PackageList.h"
#include "Paths.h"
#include "RegularFile.h"

namespace {

constexpr CheckRule jobRunning = {
    "job-running", "A run waits until that job has ended, and its log says so.",
    "Wait. Where the job takes longer than it may, look for what it waits for, and end "
    "that; what it has left can be told once it has ended.",
    CheckDocument::limits, "One job runs at a time on a machine"};
constexpr CheckRule markerWithoutList = {
    "marker-without-list",
    "The suite takes an update for ready to be installed, and an \"Install\" run "
    "without a list never ends.",
    "Run a check, which brings the list back.", CheckDocument::limits,
    "An \"Install\" run removes its list before it has a script"};
constexpr CheckRule listWithoutMarker = {"list-without-marker",
                                         "The suite does not see that an update is ready to be installed.",
                                         "Run a check, which makes both anew.", CheckDocument::limits,
                                         "The marker is no condition for the list either."};
constexpr CheckRule listWithoutConfiguration = {
    "list-without-configuration",
    "The packages are installed and the old version stays recorded, so the next check offers them again.",
    "Run a check, which prepares the configuration.", CheckDocument::limits,
    "The prepared configuration is no condition for the package list."};
constexpr CheckRule listNotTaken = {
    "list-not-taken", "An \"Install\" run takes it for an empty list and installs nothing.",
    "Remove it, and run a check.", CheckDocument::faults, "PlantedList.IsNeverInstalledFrom"};
constexpr CheckRule packageMissing = {
    "package-missing", "The installer script ends there, and its list is gone.",
    "Run a check, which downloads it again.", CheckDocument::faults, "InstallationTool.InstallerFails"};
constexpr CheckRule downloadIsNoFile = {"download-is-no-file",
                                        "A catalog or package of that name cannot be written: the run fails, "
                                        "or goes on without it and records the "
                                        "new version all the same.",
                                        "Remove it.", CheckDocument::faults,
                                        "DiskFault.PackageAmongOthersIsADirectory"};
constexpr CheckRule leftBeside = {"left-beside", "Nobody reads it; it takes room.", "Remove it.",
                                  CheckDocument::limits, "A process that is killed while it replaces a file"};

// By asking for the lock without keeping it: whoever comes meanwhile waits for no longer than this takes.
bool isLocked() {
    const Descriptor file(open(jobLockPath, O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOFOLLOW));
    return file && flock(file.number(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

// A replaced file's new content has its name and a number.
bool isDraftOf(const std::string &name, const std::string &other) {
    const std::string before = name + ".";
    return other.size() > before.size() && other.compare(0, before.size(), before) == 0 &&
           std::all_of(other.begin() + static_cast<std::ptrdiff_t>(before.size()), other.end(),
                       [](char digit) { return digit >= '0' && digit <= '9'; });
}

std::string nameOf(const std::string &path) {
    return path.substr(path.rfind('/') + 1);
}

// What stands right in a folder, in order. One that is not there, or cannot be read on, holds no more.
std::vector<std::string> pathsIn(const std::string &folder) {
    namespace fs = std::filesystem;
    std::vector<std::string> paths;
    std::error_code refused;
    for (fs::directory_iterator entry(folder, refused); !refused && entry != fs::directory_iterator();
         entry.increment(refused))
        paths.push_back(entry->path());
    std::sort(paths.begin(), paths.end());
    return paths;
}

void lookBeside(const std::string &path, const TellCheck &tell) {
    for (const std::string &other : pathsIn(folderOfPath(path))) {
        if (isDraftOf(nameOf(path), nameOf(other)))
            tell(leftBeside, "an earlier run left " + other);
    }
}

// Links are followed there, also to what is still to be made.
void lookAtDownloadsIn(const std::string &folder, const TellCheck &tell) {
    for (const std::string &path : pathsIn(folder)) {
        const auto status = statusOf(path);
        if (status && !S_ISREG(status->st_mode))
            tell(downloadIsNoFile, path + " is no file");
    }
}

// Packages are in folders by version.
void lookAtDownloads(const TellCheck &tell) {
    lookAtDownloadsIn(coreCatalogDirectory(), tell);
    lookAtDownloadsIn(partnerCatalogDirectory(), tell);
    for (const std::string &version : pathsIn(packageDirectory())) {
        if (isFolder(version))
            lookAtDownloadsIn(version, tell);
    }
}

void lookAtPackages(const std::vector<std::string> &packages, const TellCheck &tell) {
    for (const std::string &path : packages) {
        if (!statusOf(path))
            tell(packageMissing, "the package list names " + path + ", which is not there");
    }
}

// A folder in its place keeps the next list from being made, which is another finding.
void lookAtList(const TellCheck &tell) {
    const std::optional<std::vector<std::string>> packages = readPackageList();
    const bool isMarked = !isAbsent(updateMarkerPath);
    if (!packages) {
        if (isMarked)
            tell(markerWithoutList, std::string(updateMarkerPath) + " stands without " + packageListPath);
        return;
    }
    if (isFolder(packageListPath))
        return;
    if (packages->empty()) {
        tell(listNotTaken, std::string(packageListPath) + " is empty, or may be another's: a link, a file "
                                                          "with a second name, or one that others may write");
        return;
    }
    if (!isMarked)
        tell(listWithoutMarker, std::string(packageListPath) + " stands without " + updateMarkerPath);
    if (!statusOf(updatedProdConfigXml))
        tell(listWithoutConfiguration,
             std::string(packageListPath) + " stands without " + updatedProdConfigXml);
    lookAtPackages(*packages, tell);
}

void look(const TellCheck &tell) {
    if (isLocked()) {
        tell(jobRunning, "another job of the engine is at work");
        return; // it makes and removes what follows
    }
    lookAtList(tell);
    lookAtDownloads(tell);
    for (const std::string &path : {std::string(packageListPath), std::string(configurationPlistPath),
                                    std::string(prodConfigXml), std::string(updatedProdConfigXml)})
        lookBeside(path, tell);
}

} // namespace

CheckTheme checkedLeftovers() {
    return {{&jobRunning, &markerWithoutList, &listWithoutMarker, &listWithoutConfiguration, &listNotTaken,
             &packageMissing, &downloadIsNoFile, &leftBeside},
            look};
}
