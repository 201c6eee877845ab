#include "Surroundings.h"

#include <cstdlib>
#include <sstream>

#include <sys/stat.h>
#include <unistd.h>

#include "Statuses.h"

namespace {

const std::string hashTool = "/usr/local/Brovik/qrn/bin/sha1sum";

bool isProgram(const std::string &path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && access(path.c_str(), X_OK) == 0;
}

// Where the engine's shell looks for it.
bool isInPath(const std::string &name) {
    const char *path = std::getenv("PATH"); // NOLINT(concurrency-mt-unsafe): nobody changes the environment
    if (path == nullptr)
        return true; // the shell has one of its own
    std::istringstream folders(path);
    for (std::string folder; std::getline(folders, folder, ':');) {
        // An empty one is the current folder.
        if (isProgram((folder.empty() ? "." : folder).append("/").append(name)))
            return true;
    }
    return false;
}

} // namespace

void checkSurroundings() {
    if (geteuid() != 0)
        throw UnfitSurroundings(Statuses::notRoot,
                                "the engine needs the rights of root: run this as root, or by sudo");
    if (!isProgram(hashTool))
        throw UnfitSurroundings(Statuses::toolMissing,
                                "no package can be checked without the suite's hash tool: put it at " +
                                    hashTool);
    for (const std::string name : {"sudo", "awk"}) {
        if (!isInPath(name))
            throw UnfitSurroundings(Statuses::toolMissing,
                                    "the engine calls " + name + ": put it into a folder of PATH");
    }
}
