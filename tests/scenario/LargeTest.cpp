// Releases that are larger than usual.

#include <filesystem>

#include <gtest/gtest.h>

#include "ExpectedTrace.h"
#include "Observed.h"
#include "Paths.h"
#include "Release.h"
#include "TextFile.h"
#include "Updater.h"

namespace {

// Names that sort as they count.
std::string numbered(std::size_t number) {
    return "Package" + std::to_string(1000 + number) + ".pkg";
}

struct Packages {
    Files files;           // by the path below the version's folder
    std::string transfers; // traced
    std::string list;      // sorted
    std::vector<std::string> answers;
};

// Packages of different sizes on the download host, and the plain reply's catalog that names them.
Packages publishPackages(std::size_t count) {
    const std::string bytes = someBytes(count * 3001);
    Packages packages;
    packages.transfers = tracedThreads(count);
    std::vector<HotFix> hotFixes;
    for (std::size_t i = 0; i < count; ++i) {
        const std::string name = numbered(i);
        const std::string content = bytes.substr(i, 1000 + i * 3000);
        const std::string address = "/" + name;
        const std::string url = downloadHost + address;
        hotFixes.push_back(publishPackage(url, content));
        packages.files[name] = content;
        packages.transfers += tracedPackage(url, packagePath(name));
        packages.list.append(packagePath(name)).append("\n");
        packages.answers.push_back("GET " + address + " HTTP/1.1 | 200 | - | " +
                                   std::to_string(content.size()));
    }
    offer(hotFixes);
    return packages;
}

void expectDownloaded(const Packages &packages) {
    EXPECT_EQ(transcript(),
              tracedUntilPackages() + packages.transfers + tracedPlainConfiguration() + tracedEnd);
    EXPECT_EQ(downloadAnswers(), packages.answers);
    EXPECT_TRUE(sameFiles(packages.files, filesBelow(packageDirectory() + "/1.0.1.0")));
    EXPECT_EQ(shell("sort /tmp/packagelist.txt"), packages.list);
    EXPECT_TRUE(std::filesystem::exists(waitingMarker));
}

TEST(Large, SixtyPackagesAreDownloadedSideBySide) {
    const Packages packages = publishPackages(60);
    EXPECT_EQ(checkForInstall().status, 0);
    expectDownloaded(packages);
}

TEST(Large, OpenFileLimitIsRaisedForManyPackages) {
    const Packages packages = publishPackages(100);
    const Ended check = run({"bash", "-c", "ulimit -S -n 64; exec \"$@\"", "bash", updater, "1.0.0.5",
                             "105-1", "CheckForInstall"});
    EXPECT_EQ(check.status, 0);
    expectDownloaded(packages);
}

TEST(Large, OneOfAHundredThousandHotFixesIsChosen) {
    HotFix other;
    other.hash = std::string(40, '0');
    other.maxVer = "1.0.0.4";
    std::vector<HotFix> hotFixes;
    for (std::size_t i = 0; i < 100000; ++i) {
        other.url = scriptedHost + "/old/" + numbered(i);
        hotFixes.push_back(other);
    }
    const std::string content = someBytes(100000);
    hotFixes[77777] = publishPackage(scriptedHost + "/One.pkg", content);
    offer(hotFixes);
    EXPECT_EQ(checkForInstall().status, 0);
    EXPECT_EQ(transcript(), tracedUntilPackages() + tracedThreads(1) +
                                tracedPackage(scriptedHost + "/One.pkg", packagePath("One.pkg")) +
                                tracedPlainConfiguration() + tracedEnd);
    EXPECT_TRUE(sameFiles({{"1.0.1.0/One.pkg", content}}, filesBelow(packageDirectory())));
    EXPECT_EQ(readText(packageListPath), packagePath("One.pkg") + "\n");
}

} // namespace
