// What the environment that a run is started with decides.
#include <algorithm>
#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include "CheckPaths.h"
#include "CheckTheme.h"

namespace {

constexpr const char *startersRow = "Commands are found by the starter's `PATH`";

constexpr CheckRule pathOthersWrite = {
    "path-others-may-write", "Whoever may write there decides what root runs.",
    "Start runs with an environment of their own, as sudo does, or take the folder out of the PATH.",
    CheckDocument::limits, startersRow};
constexpr CheckRule variableDecides = {
    "variable-decides",
    "Whoever sets it, or may write the file that it names, decides what root runs, or reads it.",
    "Start runs with an environment of their own, as sudo does.", CheckDocument::limits, startersRow};

constexpr const char *keysVariable = "SSLKEYLOGFILE";

bool isSet(const char *name) {
    const char *const value = std::getenv(name); // NOLINT(concurrency-mt-unsafe): nobody sets any
    return value != nullptr && *value != '\0';
}

std::vector<std::string> foldersOf(const std::string &path) {
    std::vector<std::string> folders;
    for (std::size_t begin = 0; begin <= path.size();) {
        const std::size_t end = std::min(path.find(':', begin), path.size());
        folders.push_back(path.substr(begin, end - begin));
        begin = end + 1;
    }
    return folders;
}

bool holds(const std::string &folder, const std::string &tool) {
    return !isFolder(folder + "/" + tool) && access((folder + "/" + tool).c_str(), X_OK) == 0;
}

// Those in which a tool is looked for, up to the one that has it.
std::vector<std::string> foldersBefore(const std::vector<std::string> &folders, const std::string &tool) {
    const auto found = std::find_if(folders.begin(), folders.end(),
                                    [&tool](const std::string &folder) { return holds(folder, tool); });
    return {folders.begin(), found == folders.end() ? found : found + 1};
}

// Where there is none, the shell has one of its own.
void lookAtPath(const TellCheck &tell) {
    const char *const path = std::getenv("PATH"); // NOLINT(concurrency-mt-unsafe): nobody sets any
    if (path == nullptr)
        return;
    const std::vector<std::string> folders = foldersOf(path);
    std::set<std::string> asked;
    for (const char *const tool : {"sudo", "awk", "rm"}) {
        for (const std::string &folder : foldersBefore(folders, tool))
            asked.insert(folder);
    }
    for (const std::string &folder : asked) {
        const auto status = statusOf(folder);
        if (folder.empty() || folder.front() != '/')
            tell(pathOthersWrite,
                 "the PATH leads to the folder that a run is started in: \"" + folder + "\"");
        else if (status && !isOnlyTheSystems(*status))
            tell(pathOthersWrite, "others than root may write to " + folder + " in the PATH");
    }
}

void lookAtVariables(const TellCheck &tell) {
    for (const char *const name : {"BASH_ENV", keysVariable}) {
        if (isSet(name))
            tell(variableDecides, std::string(name) + " is set");
    }
}

void look(const TellCheck &tell) {
    lookAtPath(tell);
    lookAtVariables(tell);
    // What follows starts libcurl, which would make that file. It fails for names that are none only.
    static_cast<void>(unsetenv(keysVariable)); // NOLINT(concurrency-mt-unsafe): there is one thread
}

} // namespace

CheckTheme checkedEnvironment() {
    return {{&pathOthersWrite, &variableDecides}, look};
}
