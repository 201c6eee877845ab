#include "Build.h"

#include <set>
#include <system_error>

#include "Digests.h"
#include "HashBar.h"
#include "OutputFolder.h"
#include "Paper.h"
#include "ReleaseFile.h"
#include "Statuses.h"
#include "UnusableInput.h"

namespace {

namespace fs = std::filesystem;

const std::string catalogFolder = "catalogs/";

std::vector<const ReleasePackage *> packagesOf(const Release &release) {
    std::vector<const ReleasePackage *> packages;
    for (const ReleaseCatalog &catalog : release.catalogs) {
        if (catalog.fullInstall)
            packages.push_back(&*catalog.fullInstall);
        for (const ReleaseHotFix &hotFix : catalog.hotFixes)
            packages.push_back(&hotFix);
    }
    return packages;
}

std::vector<fs::path> filesOf(const Release &release) {
    std::set<fs::path> files;
    std::string missing;
    for (const ReleasePackage *package : packagesOf(release)) {
        const fs::path file = release.folder / package->file;
        std::error_code unknown; // then it is none
        if (!fs::is_regular_file(file, unknown))
            missing += (missing.empty() ? "" : "\n") + release.at(package->place + "/file") +
                       ": expected a file, which " + file.string() + " is not";
        files.insert(file);
    }
    if (!missing.empty())
        throw UnusableInput(missing);
    return {files.begin(), files.end()};
}

bool endsWith(const std::string &text, const std::string &end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool isBuilt(const std::string &path) {
    return path == "DynaConfig.plist" || path == "releases.xml" ||
           (path.compare(0, catalogFolder.size(), catalogFolder) == 0 && endsWith(path, ".xml"));
}

} // namespace

PackageFacts factsOfPackages(const Release &release) {
    HashBar bar;
    return factsOfFiles(filesOf(release), [&bar](const HashProgress &progress) { bar.show(progress); });
}

FolderFiles publicationOf(const Release &release, const PackageFacts &facts) {
    FolderFiles files;
    for (const ReleaseCatalog &catalog : release.catalogs)
        files[catalogFolder + catalog.name + ".xml"] = catalogXml(
            catalog, [&](const ReleasePackage &package) { return facts.at(release.folder / package.file); });
    files["DynaConfig.plist"] = orderList(release.order);
    files["releases.xml"] = releasesXml(release);
    return files;
}

int runBuild(const BuildOptions &options) {
    const Release release = readRelease(options.folder);
    const fs::path out = options.out.empty() ? options.folder / "built" : options.out;
    const FolderFiles files = publicationOf(release, factsOfPackages(release));
    const bool isChanged = putFolder(out, files, isBuilt);
    Paper paper;
    paper.line(out.string() + (isChanged ? ": " : ": unchanged, ") + std::to_string(release.catalogs.size()) +
               (release.catalogs.size() == 1 ? " catalog, " : " catalogs, ") +
               std::to_string(packagesOf(release).size()) + " packages");
    paper.finish();
    return Statuses::done;
}
