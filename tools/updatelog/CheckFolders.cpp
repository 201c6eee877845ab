// The fixed folders: whether they are there, whether files can be made in them, and who else may do that.
#include <cerrno>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>

#include "CheckPaths.h"
#include "CheckTheme.h"
#include "PackageList.h"
#include "Paths.h"

namespace {

constexpr CheckRule othersWrite = {
    "others-may-write",
    "Whoever may write there decides what root installs or runs: packages are checked when they are "
    "downloaded, and installed later.",
    "Give it to root, and let nobody else write to it: chown root, chmod go-w.", CheckDocument::limits,
    "Packages are checked when they are downloaded, and installed later"};
constexpr CheckRule downloadsBlocked = {
    "downloads-blocked", "The folders of the downloads cannot be made, and nothing is downloaded.",
    "Remove what stands in the folder's place.", CheckDocument::limits,
    "The status of commands is not examined"};
constexpr CheckRule downloadsUnwritable = {
    "downloads-unwritable", "No catalog and no package can be written; the run ends without an update.",
    "Let root write there: mount the disk for writing.", CheckDocument::faults,
    "DiskFault.ReadOnlyDownloads"};
constexpr CheckRule preparedIsFolder = {
    "prepared-configuration-is-a-folder",
    "The new release cannot be prepared: an installation leaves the old version recorded, and the next check "
    "offers the same packages again.",
    "Remove the folder.", CheckDocument::faults, "UpdateFileFault.PreparedConfigurationIsADirectory"};
constexpr CheckRule configurationUnwritable = {
    "configuration-unwritable",
    "Packages are installed and the old version stays recorded, so the next check offers them again.",
    "Let root write it: mount the disk for writing.", CheckDocument::faults,
    "InstallationTool.CpDoesNothing"};
constexpr CheckRule scriptFolderMissing = {
    "script-folder-missing",
    "An \"Install\" run cannot write its script: it installs nothing, and its package list is gone.",
    "Make the folder as root, with mode 755; the suite's installer does.", CheckDocument::limits,
    "The installer script is written to \"/usr/local/repost\""};
constexpr CheckRule scriptFolderUnwritable = {
    "script-folder-unwritable",
    "An \"Install\" run cannot write its script: it installs nothing, and its package list is gone.",
    "Let root write there: mount the disk for writing.", CheckDocument::faults,
    "InstallFault.ScriptFolderIsReadOnlyLong"};
constexpr CheckRule scriptIsFolder = {
    "script-is-a-folder",
    "An \"Install\" run cannot put its script there: it installs nothing, and its package list is gone.",
    "Remove the folder.", CheckDocument::faults, "InstallFault.ScriptIsADirectoryLong"};
constexpr CheckRule logUnwritable = {"log-unwritable",
                                     "A run goes on without its log, so nothing tells what it did.",
                                     "Make the folder, and let root write there: mount the disk for writing.",
                                     CheckDocument::faults, "LogFault.DiskIsReadOnly"};
constexpr CheckRule logIsNoFile = {
    "log-is-no-file", "A run goes on without its log, so nothing tells what it did.",
    "Remove what stands at the log's name.", CheckDocument::faults, "LogFault.IsADirectory"};
constexpr CheckRule lockUnwritable = {
    "lock-unwritable", "A run goes on without the lock: two at once write the same packages and lists.",
    "Make the folder, and let root write there: mount the disk for writing.", CheckDocument::faults,
    "LockFault.DiskIsReadOnly"};
constexpr CheckRule lockIsNoFile = {
    "lock-is-no-file", "A run goes on without the lock: two at once write the same packages and lists.",
    "Remove what stands at the lock's name.", CheckDocument::faults, "LockFault.IsADirectory"};
constexpr CheckRule listUnwritable = {
    "list-unwritable", "A check cannot leave its package list, and fails once everything is downloaded.",
    "Make the folder, and let root write there: mount the disk for writing.", CheckDocument::faults,
    "UpdateFileFault.PackageListsDiskIsReadOnly"};
constexpr CheckRule listIsFolder = {
    "list-is-a-folder", "A check cannot leave its package list, and fails once everything is downloaded.",
    "Remove the folder.", CheckDocument::faults, "UpdateFileFault.PackageListIsADirectory"};
constexpr CheckRule markerUnwritable = {
    "marker-unwritable", "A check leaves its package list without the marker, and the suite sees no update.",
    "Make the folder, and let root write there: mount the disk for writing.", CheckDocument::limits,
    "The marker is no condition for the list either."};
constexpr CheckRule propertyListUnwritable = {
    "property-list-unwritable", "A fresh installation tells success, and its release is recorded nowhere.",
    "Let root write there: mount the disk for writing.", CheckDocument::faults, "RecordFault.DiskIsReadOnly"};
constexpr CheckRule propertyListIsFolder = {
    "property-list-is-a-folder",
    "A fresh installation asks with the default ids, and its release is recorded nowhere.",
    "Remove the folder, and have the suite's installer write its list.", CheckDocument::faults,
    "RecordFault.PropertyListIsADirectory"};

// --- who may write

// The path and the folders around it, from the one that holds the suite or the script.
void addWithFolders(std::set<std::string> &paths, const std::string &path, const std::string &outermost) {
    for (std::string part = path; part.size() >= outermost.size(); part = folderOfPath(part))
        paths.insert(part);
}

// Beside what follows: the packages that an installation takes as they are then.
void addListedPackages(std::set<std::string> &paths) {
    for (const std::string &package : readPackageList().value_or(std::vector<std::string>())) {
        if (package.rfind(packageDirectory() + "/", 0) == 0)
            addWithFolders(paths, package, packageDirectory());
    }
}

// What decides what root runs and installs. All of it is the suite's own.
std::set<std::string> suitePaths() {
    std::set<std::string> paths;
    const std::string suite = folderOfPath(prodConfigXml);
    for (const std::string &path :
         {std::string(prodConfigXml), std::string(dynaConfigPlistPath), std::string(hashToolPath),
          std::string(serviceControlPath), std::string(subscriptionLibraryPath),
          folderOfPath(updateMarkerPath), std::string(updatedProdConfigXml), coreCatalogDirectory(),
          partnerCatalogDirectory(), packageDirectory()})
        addWithFolders(paths, path, suite);
    paths.insert(installerScriptFolder);
    addListedPackages(paths);
    return paths;
}

// The system's own folders around them: who may write there may put others in their place.
std::set<std::string> foldersAround() {
    std::set<std::string> folders = {"/"};
    for (std::string path : {folderOfPath(prodConfigXml), std::string(installerScriptFolder)}) {
        while ((path = folderOfPath(path)) != "/")
            folders.insert(path);
    }
    return folders;
}

void lookWhoMayWriteTo(const std::set<std::string> &paths, bool (*isSafe)(const struct stat &status),
                       const TellCheck &tell) {
    for (const std::string &path : paths) {
        const auto status = statusOf(path);
        if (status && !isSafe(*status))
            tell(othersWrite, "others than root may write to " + path);
    }
}

void lookWhoMayWrite(const TellCheck &tell) {
    lookWhoMayWriteTo(suitePaths(), isOnlyRoots, tell);
    lookWhoMayWriteTo(foldersAround(), isOnlyTheSystems, tell);
}

// --- whether files can be made

// The reason why none can be made; "" where they can.
std::string refusalOf(const std::string &path, int access) {
    if (faccessat(AT_FDCWD, path.c_str(), access, AT_EACCESS) == 0)
        return "";
    return std::generic_category().message(errno);
}

void lookWhetherFilesCanBeMade(const std::string &folder, const CheckRule &rule, const TellCheck &tell) {
    const std::string refusal = isFolder(folder) ? refusalOf(folder, W_OK | X_OK) : "there is no such folder";
    if (!refusal.empty())
        tell(rule, "no file can be made in " + folder + ": " + refusal);
}

void lookForFolder(const std::string &path, const CheckRule &rule, const TellCheck &tell) {
    const auto status = statusAt(path);
    if (status && S_ISDIR(status->st_mode))
        tell(rule, "a folder stands at " + path);
}

void lookAtDownloads(const TellCheck &tell) {
    for (const std::string &folder :
         {coreCatalogDirectory(), partnerCatalogDirectory(), packageDirectory()}) {
        const std::string nearest = nearestFolder(folder);
        if (!isFolder(nearest)) {
            tell(downloadsBlocked, nearest + " is no folder");
            return;
        }
    }
    lookWhetherFilesCanBeMade(nearestFolder(keyCoreDownloadCache), downloadsUnwritable, tell);
    lookForFolder(updatedProdConfigXml, preparedIsFolder, tell);
}

// An installation copies the new one over it. Where there is none, that is another finding.
void lookAtConfiguration(const TellCheck &tell) {
    const std::string refusal = statusOf(prodConfigXml) ? refusalOf(prodConfigXml, W_OK) : "";
    if (!refusal.empty())
        tell(configurationUnwritable, prodConfigXml + " cannot be written: " + refusal);
}

void lookAtScript(const TellCheck &tell) {
    if (!isFolder(installerScriptFolder)) {
        tell(scriptFolderMissing, std::string("there is no folder ") + installerScriptFolder);
        return;
    }
    lookWhetherFilesCanBeMade(installerScriptFolder, scriptFolderUnwritable, tell);
    for (const char *path : {installerScriptPath, newInstallerScriptPath})
        lookForFolder(path, scriptIsFolder, tell);
}

// Links are followed there.
void lookAtLog(const TellCheck &tell) {
    const auto status = statusOf(traceLogPath);
    if (!status) {
        lookWhetherFilesCanBeMade(folderOfPath(traceLogPath), logUnwritable, tell);
        return;
    }
    if (!S_ISREG(status->st_mode)) {
        tell(logIsNoFile, std::string(traceLogPath) + " is no file");
        return;
    }
    const std::string refusal = refusalOf(traceLogPath, W_OK);
    if (!refusal.empty())
        tell(logUnwritable, std::string(traceLogPath) + " cannot be written: " + refusal);
}

// A pipe will do. Jobs leave the file there, and open it for writing.
void lookAtLock(const TellCheck &tell) {
    const std::string path = jobLockPath;
    const auto status = statusAt(path);
    if (!status) {
        lookWhetherFilesCanBeMade(folderOfPath(path), lockUnwritable, tell);
        return;
    }
    if (S_ISDIR(status->st_mode) || S_ISLNK(status->st_mode) || S_ISSOCK(status->st_mode)) {
        tell(lockIsNoFile, path + " is a folder, a link or a socket");
        return;
    }
    const std::string refusal = refusalOf(path, W_OK);
    if (!refusal.empty())
        tell(lockUnwritable, path + " cannot be written: " + refusal);
}

// The installer makes it, and its folder, before an installation.
void lookAtPropertyList(const TellCheck &tell) {
    const std::string folder = folderOfPath(configurationPlistPath);
    if (isFolder(folder))
        lookWhetherFilesCanBeMade(folder, propertyListUnwritable, tell);
    lookForFolder(configurationPlistPath, propertyListIsFolder, tell);
}

void look(const TellCheck &tell) {
    lookWhoMayWrite(tell);
    lookAtDownloads(tell);
    lookAtConfiguration(tell);
    lookAtScript(tell);
    lookAtLog(tell);
    lookAtLock(tell);
    lookWhetherFilesCanBeMade(folderOfPath(packageListPath), listUnwritable, tell);
    lookForFolder(packageListPath, listIsFolder, tell);
    lookWhetherFilesCanBeMade(folderOfPath(updateMarkerPath), markerUnwritable, tell);
    lookAtPropertyList(tell);
}

} // namespace

CheckTheme checkedFolders() {
    return {{&othersWrite, &downloadsBlocked, &downloadsUnwritable, &preparedIsFolder,
             &configurationUnwritable, &scriptFolderMissing, &scriptFolderUnwritable, &scriptIsFolder,
             &logUnwritable, &logIsNoFile, &lockUnwritable, &lockIsNoFile, &listUnwritable, &listIsFolder,
             &markerUnwritable, &propertyListUnwritable, &propertyListIsFolder},
            look};
}
