// usage: benchEngine LIST FOLDER
// The engine's own package step: LIST has a line "URL<tab>SHA-1<tab>VERSION" for each package, as a catalog's
// hot-fixes do. The status is 0 when every package is complete and checked.
#include <fstream>
#include <iostream>
#include <list>
#include <string>
#include <vector>

#include "DownloadEngine.h"
#include "ExternalLibraries.h"
#include "OpenFileLimit.h"
#include "TextList.h"
#include "Trace.h"

namespace {

std::vector<HotFixPackageInfo> readHotFixes(const char *file) {
    std::vector<HotFixPackageInfo> hotFixes;
    std::ifstream list(file);
    HotFixPackageInfo hotFix;
    while (list >> hotFix.url >> hotFix.hash >> hotFix.productVer)
        hotFixes.push_back(hotFix);
    return hotFixes;
}

} // namespace

int main(int argc, char *argv[]) {
    if (argc != 3) {
        std::cerr << "usage: benchEngine LIST FOLDER\n";
        return 64;
    }
    // What the command line and the controller do before a check.
    raiseOpenFileLimit();
    openTrace();
    initialiseExternalLibraries();

    const std::vector<HotFixPackageInfo> hotFixes = readHotFixes(argv[1]);
    OwnedTexts urls;
    for (const HotFixPackageInfo &hotFix : hotFixes)
        urls.append(hotFix.url);
    PackageRecords records;
    records.setFreshInstallMode(false);
    records.setHotFixes(hotFixes);
    DownloadEngine engine(records);
    engine.downLoad(urls.list(), argv[2]);
    return engine.downloadedPackages().size() == hotFixes.size() ? 0 : 1;
}
