// Disks that are full, read-only or short of files' numbers under what a download writes, and names at which
// something else stands.

#include <filesystem>
#include <functional>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "Background.h"
#include "JobTrace.h"
#include "Paths.h"
#include "Recovery.h"
#include "Release.h"
#include "SmallDisk.h"
#include "TextFile.h"
#include "Updater.h"

namespace {

namespace fs = std::filesystem;

std::string madeFolder(const std::string &folder) {
    fs::create_directories(folder);
    return folder;
}

class DiskFault : public testing::TestWithParam<Job> {
protected:
    const Job &job = GetParam();
    const std::string package = pathIn(job, "One.pkg");
    const std::string url = urlOf(job, "One.pkg");
    const std::string &content = plainPackage.at("One.pkg");
    const Recovery recovery{job};
};

// --- the folder of the downloads

TEST_P(DiskFault, FullInMidPackage) {
    const SmallDisk disk(madeFolder(keyCoreDownloadCache), 16 * 4096);
    recovery.expectRefused(tracedNoPackage(job, tracedFailure(url, 200, 23)), 2);
    EXPECT_EQ(readText(package), content.substr(0, 15 * 4096));
    disk.grow(1000000);
    recovery.expectCompleteNow();
}

TEST_P(DiskFault, FullAtTheCatalogs) {
    const SmallDisk disk(madeFolder(keyCoreDownloadCache), 4096);
    writeText(keyCoreDownloadCache + "/other", std::string(4096, 'x'));
    recovery.expectRefused(tracedEmptyCatalog(job, tracedFailure(catalogUrlOf(job), 200, 23)), 1);
    EXPECT_EQ(readText(catalogPathOf(job)), "");
    disk.grow(1000000);
    recovery.expectCompleteNow();
}

TEST_P(DiskFault, NoInodesForThePackage) {
    const SmallDisk disk(madeFolder(keyCoreDownloadCache), "nr_inodes=5");
    recovery.expectRefused(tracedNoPackage(job, tracedUnopened(package)), 2);
    EXPECT_FALSE(fs::exists(package));
    disk.change("nr_inodes=100");
    recovery.expectCompleteNow();
}

TEST_P(DiskFault, ReadOnlyDownloads) {
    const SmallDisk disk(madeFolder(keyCoreDownloadCache), "", MS_RDONLY);
    recovery.expectRefused(tracedMissingCatalog(job, tracedUnopened(catalogPathOf(job))), 1);
    EXPECT_TRUE(fs::is_empty(keyCoreDownloadCache));
    disk.change("");
    recovery.expectCompleteNow();
}

TEST_P(DiskFault, PackageLargerThanAFileMayBe) {
    recovery.expectRefused(tracedNoPackage(job, tracedFailure(url, 200, 23)), 2,
                           {"prlimit", "--fsize=100000"});
    EXPECT_EQ(readText(package), content.substr(0, 100000));
    recovery.expectCompleteNow();
}

// Nothing is at a process's first address: the system cannot write there.
TEST_P(DiskFault, WriteErrorAtThePackage) {
    madeFolder(fs::path(package).parent_path());
    fs::create_symlink("/proc/self/mem", package);
    recovery.expectRefused(tracedNoPackage(job, tracedFailure(url, 200, 23)), 2);
    fs::remove(package);
    recovery.expectCompleteNow();
}

TEST_P(DiskFault, WriteErrorAtTheCatalog) {
    madeFolder(fs::path(catalogPathOf(job)).parent_path());
    fs::create_symlink("/proc/self/mem", catalogPathOf(job));
    recovery.expectRefused(tracedEmptyCatalog(job, tracedFailure(catalogUrlOf(job), 200, 23)), 1);
    fs::remove(catalogPathOf(job));
    recovery.expectCompleteNow();
}

TEST_P(DiskFault, PackageIsADirectory) {
    fs::create_directories(package);
    recovery.expectRefused(tracedNoPackage(job, tracedUnopened(package)), 2);
    EXPECT_TRUE(fs::is_directory(package));
    fs::remove(package);
    recovery.expectCompleteNow();
}

// One that was never opened is not missed (kept).
TEST_P(DiskFault, PackageAmongOthersIsADirectory) {
    const Packages packages = {{"One.pkg", content}, {"Two.pkg", content + "2"}};
    const Recovery both(job, packages);
    fs::create_directories(package);
    const Ended ended = runJob(job);
    EXPECT_TRUE(isComplete(job, ended, {{"Two.pkg", content + "2"}}));
    EXPECT_EQ(readText(packageListPath), job.task == Task::update ? pathIn(job, "Two.pkg") + "\n" : "");
    EXPECT_NE(transcriptOfOneJob().find(tracedUnopened(package)), std::string::npos);
    fs::remove(package);
    both.expectCompleteNow();
}

TEST_P(DiskFault, PackageIsAPipe) {
    madeFolder(fs::path(package).parent_path());
    ASSERT_EQ(mkfifo(package.c_str(), 0600), 0);
    recovery.expectRefused(tracedNoPackage(job, tracedUnopened(package)), 2);
    EXPECT_TRUE(fs::is_fifo(package));
    fs::remove(package);
    recovery.expectCompleteNow();
}

TEST_P(DiskFault, PackageIsALinkToNothing) {
    const std::string elsewhere = madeFolder("/usr/local/Brovik/elsewhere") + "/file";
    madeFolder(fs::path(package).parent_path());
    fs::create_symlink(elsewhere, package);
    recovery.expectComplete(tracedComplete(job));
    EXPECT_EQ(readText(elsewhere), content);
    recovery.expectCompleteNow();
}

TEST_P(DiskFault, CatalogIsADirectory) {
    fs::create_directories(catalogPathOf(job));
    recovery.expectRefused(tracedMissingCatalog(job, tracedUnopened(catalogPathOf(job))), 1);
    fs::remove(catalogPathOf(job));
    recovery.expectCompleteNow();
}

TEST_P(DiskFault, CatalogIsAPipe) {
    madeFolder(fs::path(catalogPathOf(job)).parent_path());
    ASSERT_EQ(mkfifo(catalogPathOf(job).c_str(), 0600), 0);
    recovery.expectRefused(tracedMissingCatalog(job, tracedUnopened(catalogPathOf(job))), 1);
    fs::remove(catalogPathOf(job));
    recovery.expectCompleteNow();
}

TEST_P(DiskFault, FolderIsRemovedInMidPackage) {
    misbehave("/One.pkg 1 slow 300000\n");
    Background background;
    background.run([this] {
        EXPECT_TRUE(comesTrue([this] { return !readText(package).empty(); }));
        fs::remove_all(keyCoreDownloadCache);
    });
    recovery.expectRefused(tracedNoPackage(job, tracedStartOf(url) + ">INFO: Checking HashSUM : " + package +
                                                    "\n>Error: Failed to get Hashsum of " + package +
                                                    "\n>Resume Download: " + url +
                                                    "\n>Error occurred in creating output file : " + package +
                                                    " \n>Not able to initialize curl: " + url +
                                                    "\n>ERROR : Download Failed: " + url + "\n"),
                           2);
    recovery.expectCompleteNow();
}

INSTANTIATE_TEST_SUITE_P(Job, DiskFault, testing::Values(updateByHttps, freshInstallByHttps), caseName);

} // namespace
