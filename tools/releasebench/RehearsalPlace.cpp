#include "RehearsalPlace.h"

#include <fstream>
#include <string>

#include "ChildProcess.h"
#include "UnusableInput.h"

namespace {

namespace fs = std::filesystem;

// "" when the folder is no build of this project.
fs::path sourcesOf(const fs::path &build) {
    const std::string before = "CMAKE_HOME_DIRECTORY:INTERNAL=";
    std::ifstream cache(build / "CMakeCache.txt");
    for (std::string line; std::getline(cache, line);) {
        if (line.rfind(before, 0) == 0)
            return line.substr(before.size());
    }
    return {};
}

RehearsalPlace placeInBuild(const fs::path &build, const fs::path &sources, const fs::path &folder) {
    const fs::path engine = folder / "engine";
    const Ended installed =
        runProgram({"cmake", "--install", build.string(), "--prefix", engine.string()}, "");
    if (installed.status != 0)
        throw UnusableInput("releasebench: cmake --install " + build.string() + " failed:\n" +
                            installed.said);
    return {sources / "rehearsal/seal", build / "reference-service", engine};
}

} // namespace

RehearsalPlace findRehearsalPlace(const fs::path &folder) {
    const fs::path here = fs::read_symlink("/proc/self/exe").parent_path();
    const fs::path sources = sourcesOf(here);
    const fs::path tree = here.parent_path();
    RehearsalPlace place = sources.empty()
                               ? RehearsalPlace{tree / "share/downloadManager/rehearsal/seal",
                                                tree / "libexec/downloadManager/reference-service", tree}
                               : placeInBuild(here, sources, folder);
    for (const fs::path &needed : {place.seal, place.service}) {
        if (!fs::exists(needed))
            throw UnusableInput("releasebench: no sealed machine is installed here, " + needed.string() +
                                " is missing; a build with DOWNLOADMANAGER_REHEARSAL has it");
    }
    return place;
}
