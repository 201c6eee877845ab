#include "Init.h"

#include "Archive.h"
#include "Example.h"
#include "OutputFolder.h"
#include "Paper.h"
#include "Release.h"
#include "Statuses.h"
#include "UnusableInput.h"

namespace {

std::string packageOf(const std::string &name, const std::string &version) {
    return archiveOf({{"Applications/Brovik/" + name + "/version", version + "\n"}}, Compression::none, 0644);
}

FolderFiles exampleFiles() {
    FolderFiles files = {{releaseFileName, exampleRelease}, {"README.md", exampleReadme}};
    for (const std::string name : {"platform", "services", "toolbar"})
        files["packages/1.0.1.0/" + name + ".pkg"] = packageOf(name, "1.0.1.0");
    for (const std::string name : {"suite", "extras"})
        files["packages/full/" + name + ".pkg"] = packageOf(name, "1.0.1.0");
    return files;
}

} // namespace

int runInit(const std::filesystem::path &folder) {
    const bool isThere = std::filesystem::exists(folder);
    if (isThere && !(std::filesystem::is_directory(folder) && std::filesystem::is_empty(folder)))
        throw UnusableInput(folder.string() + ": is there already, expected a new or an empty folder");
    if (isThere)
        fillFolder(folder, exampleFiles());
    else
        putFolder(folder, exampleFiles(), [](const std::string & /*path*/) { return false; });
    Paper paper;
    paper.line("A release to begin with is in " + folder.string() + "; its README.md explains it.");
    paper.finish();
    return Statuses::done;
}
