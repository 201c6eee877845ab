// Room on the disks that a run writes to.
#include <cerrno>
#include <cstdint>
#include <set>
#include <string>
#include <system_error>

#include <sys/statvfs.h>

#include "CheckPaths.h"
#include "CheckTheme.h"
#include "Paths.h"

namespace {

constexpr CheckRule downloadsFull = {"downloads-full",
                                     "The disk is full in the middle of a package, and the run fails.",
                                     "Make room for the catalogs and packages of a release.",
                                     CheckDocument::faults, "DiskFault.FullInMidPackage"};
constexpr CheckRule downloadsNoFiles = {"downloads-no-file-numbers",
                                        "No file can be made for a package, and the run fails.",
                                        "Remove files that nobody needs: the disk has no numbers for more.",
                                        CheckDocument::faults, "DiskFault.NoInodesForThePackage"};
constexpr CheckRule logFull = {"log-full", "A run goes on without its log, and a line may be cut.",
                               "Make room on the log's disk.", CheckDocument::faults, "LogFault.DiskIsFull"};
constexpr CheckRule lockNoFiles = {
    "lock-no-file-numbers", "A run goes on without the lock: two at once write the same packages and lists.",
    "Remove files that nobody needs: the disk has no numbers for more.", CheckDocument::faults,
    "LockFault.NoInodes"};
constexpr CheckRule listFull = {
    "list-full", "A check cannot leave its package list, and fails once everything is downloaded.",
    "Make room on the list's disk.", CheckDocument::faults, "UpdateFileFault.DiskIsFullAtThePackageList"};
constexpr CheckRule propertyListFull = {
    "property-list-full", "A fresh installation tells success, and its release is recorded nowhere.",
    "Make room on the property list's disk.", CheckDocument::faults, "RecordFault.DiskIsFull"};
constexpr CheckRule configurationFull = {"configuration-full",
                                         "The installed configuration may be cut when an installation copies "
                                         "the new one over it; later checks ask "
                                         "for release \"legacy\".",
                                         "Make room on the configuration's disk.", CheckDocument::faults,
                                         "InstallFault.DiskIsFullAtTheCopyOfTheConfiguration"};
constexpr CheckRule scriptFull = {
    "script-full", "An \"Install\" run installs nothing, and its package list is gone.",
    "Make room on the script's disk.", CheckDocument::faults, "InstallFault.DiskIsFullAtTheScriptLong"};
constexpr CheckRule markerNoFiles = {
    "marker-no-file-numbers",
    "A check leaves its package list without the marker, and the suite sees no update.",
    "Remove files that nobody needs: the disk has no numbers for more.", CheckDocument::faults,
    "UpdateFileFault.NoInodesForTheMarker"};

constexpr std::uint64_t packagesBytes = 100U << 20U; // a few packages
constexpr std::uint64_t smallFileBytes = 1U << 20U;
constexpr std::uint64_t packagesFiles = 16;

struct Place {
    std::string folder; // or a file that is there, and may be a link
    std::uint64_t bytes;
    const CheckRule *full; // null where an empty file does
    std::uint64_t files;
    const CheckRule *noFiles; // null where the file is there mostly
};

// The largest first: a disk is told once.
const std::vector<Place> &places() {
    static const std::vector<Place> all = {
        {keyCoreDownloadCache, packagesBytes, &downloadsFull, packagesFiles, &downloadsNoFiles},
        {prodConfigXml, smallFileBytes, &configurationFull, 0, nullptr},
        {folderOfPath(packageListPath), smallFileBytes, &listFull, 2, &listFull},
        {installerScriptFolder, smallFileBytes, &scriptFull, 2, &scriptFull},
        {folderOfPath(configurationPlistPath), smallFileBytes, &propertyListFull, 2, &propertyListFull},
        {folderOfPath(updateMarkerPath), 0, nullptr, 1, &markerNoFiles},
        {folderOfPath(traceLogPath), smallFileBytes, &logFull, 0, nullptr},
        {folderOfPath(jobLockPath), 0, nullptr, 1, &lockNoFiles},
    };
    return all;
}

std::string inMegabytes(std::uint64_t bytes) {
    return std::to_string(bytes >> 20U) + " MB";
}

struct DiskRoom {
    std::uint64_t bytes;
    std::uint64_t files;
};

// Of what root may use; where nothing can be written that is another finding, and there is room enough.
DiskRoom roomAt(const std::string &folder) {
    struct statvfs disk {};
    if (statvfs(folder.c_str(), &disk) != 0)
        throw std::system_error(errno, std::generic_category(), folder);
    const bool isReadOnly = (disk.f_flag & ST_RDONLY) != 0;
    // Systems that make file numbers as they need them have none to tell.
    const bool hasFileNumbers = disk.f_files != 0;
    return {isReadOnly ? UINT64_MAX : static_cast<std::uint64_t>(disk.f_bfree) * disk.f_frsize,
            isReadOnly || !hasFileNumbers ? UINT64_MAX : disk.f_ffree};
}

bool lookAt(const Place &place, const std::string &folder, const TellCheck &tell) {
    const DiskRoom room = roomAt(folder);
    if (place.full != nullptr && room.bytes < place.bytes) {
        tell(*place.full, inMegabytes(room.bytes) + " are left on the disk of " + place.folder);
        return true;
    }
    if (place.noFiles != nullptr && room.files < place.files) {
        tell(*place.noFiles, "numbers for " + std::to_string(room.files) +
                                 " more files are left on the disk of " + place.folder);
        return true;
    }
    return false;
}

void look(const TellCheck &tell) {
    std::set<dev_t> told;
    for (const Place &place : places()) {
        const std::string folder = nearestFolder(place.folder);
        const auto status = statusOf(folder);
        if (status && told.count(status->st_dev) == 0 && lookAt(place, folder, tell))
            told.insert(status->st_dev);
    }
}

} // namespace

CheckTheme checkedDisks() {
    return {{&downloadsFull, &downloadsNoFiles, &configurationFull, &logFull, &lockNoFiles, &listFull,
             &propertyListFull, &scriptFull, &markerNoFiles},
            look};
}
