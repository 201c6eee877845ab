// The files besides the downloads that a job writes: its log, its lock, and what it leaves for others. Their
// disk is full or read-only, or something else stands at their names.

#include <filesystem>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "ExpectedTrace.h"
#include "JobTrace.h"
#include "Paths.h"
#include "Recovery.h"
#include "SmallDisk.h"
#include "TextFile.h"
#include "Updater.h"

namespace {

namespace fs = std::filesystem;

constexpr std::size_t pageBytes = 4096;

// A disk without room for one more byte.
class FullDisk : public SmallDisk {
public:
    explicit FullDisk(const std::string &folder)
        : SmallDisk(folder, pageBytes) {
        writeText(folder + "/other", std::string(pageBytes, 'x'));
    }
};

std::string replaced(std::string text, const std::string &part, const std::string &by) {
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + by.size()))
        text.replace(at, part.size(), by);
    return text;
}

// --- the log: whatever becomes of it, the job is done

class LogFault : public testing::TestWithParam<Job> {
protected:
    const Job &job = GetParam();
    const Recovery recovery{job};
};

TEST_P(LogFault, DiskIsFull) {
    const FullDisk disk("/var/log");
    recovery.expectComplete("");
    disk.grow(1000000);
    fs::remove(packageListPath);
    recovery.expectComplete(tracedComplete(job));
}

TEST_P(LogFault, DiskIsReadOnly) {
    const SmallDisk disk("/var/log", "", MS_RDONLY);
    recovery.expectComplete("");
}

TEST_P(LogFault, IsLargerThanAFileMayBe) {
    const std::string before(400000, 'x');
    writeText(traceLogPath, before);
    recovery.expectComplete(">" + before, {"prlimit", "--fsize=350000"});
}

TEST_P(LogFault, IsADirectory) {
    fs::create_directory(traceLogPath);
    recovery.expectComplete(std::nullopt);
    EXPECT_TRUE(fs::is_empty(traceLogPath));
}

TEST_P(LogFault, IsALinkToNothing) {
    fs::create_symlink("/var/log/elsewhere", traceLogPath);
    recovery.expectComplete(tracedComplete(job));
    EXPECT_TRUE(fs::is_regular_file("/var/log/elsewhere"));
}

// The reply is in the log twice, so that the log is more than a pipe takes.
TEST_P(LogFault, IsAPipeThatNobodyReads) {
    ASSERT_EQ(mkfifo(traceLogPath, 0600), 0);
    const std::string reply = "/srv/rehearsal/service/reply.xml";
    writeText(reply, readText(reply) + "<!--" + std::string(70000, 'x') + "-->");
    recovery.expectComplete(std::nullopt);
}

// --- the lock: without it the job goes on, and says so

class LockFault : public testing::TestWithParam<Job> {
protected:
    // The whole job with this line.
    std::string tracedWithout(const std::string &why) const {
        const std::string trace = tracedComplete(job);
        return std::string(trace).insert(trace.find(">INFO: Enter "),
                                         ">ERROR: Not able to lock /var/run/DownloadManager.lock: " + why +
                                             "\n");
    }

    const Job &job = GetParam();
    const Recovery recovery{job};
};

TEST_P(LockFault, IsADirectory) {
    fs::remove(jobLockPath);
    fs::create_directory(jobLockPath);
    recovery.expectComplete(tracedWithout("Is a directory"));
}

TEST_P(LockFault, IsALinkToNothing) {
    fs::remove(jobLockPath);
    fs::create_symlink("/var/run/elsewhere", jobLockPath);
    recovery.expectComplete(tracedWithout("Too many levels of symbolic links"));
    EXPECT_FALSE(fs::exists("/var/run/elsewhere"));
}

TEST_P(LockFault, IsAPipe) {
    fs::remove(jobLockPath);
    ASSERT_EQ(mkfifo(jobLockPath, 0600), 0);
    recovery.expectComplete(tracedComplete(job));
}

TEST_P(LockFault, NoInodes) {
    const SmallDisk disk("/var/run", "nr_inodes=1");
    recovery.expectComplete(tracedWithout("No space left on device"));
}

TEST_P(LockFault, DiskIsReadOnly) {
    const SmallDisk disk("/var/run", "", MS_RDONLY);
    recovery.expectComplete(tracedWithout("Read-only file system"));
}

INSTANTIATE_TEST_SUITE_P(Job, LogFault, testing::Values(updateByHttps, freshInstallByHttps), caseName);
INSTANTIATE_TEST_SUITE_P(Job, LockFault, testing::Values(updateByHttps, freshInstallByHttps), caseName);

// --- what a check leaves for the installation

class UpdateFileFault : public testing::Test {
protected:
    // Neither list nor configuration nor marker is proof of the others here.
    void expectLeft(bool list, bool marker, bool configuration, std::vector<std::string> runBy = {}) const {
        for (const std::string &word : commandOf(updateByHttps))
            runBy.push_back(word);
        EXPECT_EQ(run(runBy).status, 0);
        EXPECT_EQ(fs::is_regular_file(packageListPath), list);
        EXPECT_EQ(fs::exists(waitingMarker), marker);
        EXPECT_EQ(fs::is_regular_file(updatedProdConfigXml), configuration);
        EXPECT_TRUE(installed.areUnchanged());
    }

    const Recovery recovery{updateByHttps};
    const InstalledFiles installed;
};

// For one run alone: the test itself writes there.
const std::vector<std::string> onAReadOnlyDiskOfTheList = {
    "unshare",
    "--mount",
    "bash",
    "-euc",
    "mount --bind /tmp /tmp; mount -o remount,bind,ro /tmp; exec \"$@\"",
    "bash"};

const std::string listNotWritten = ">ERROR: Not able to write the package list\n" + tracedEnd;

TEST_F(UpdateFileFault, DiskIsFullAtThePreparedConfiguration) {
    fs::create_directories(keyCoreDownloadCache);
    // The package has all of its last page but one, the catalog one.
    const SmallDisk disk(keyCoreDownloadCache, (300000 / pageBytes + 2) * pageBytes);
    expectLeft(true, true, false);
    EXPECT_EQ(transcriptOfOneJob(), tracedComplete(updateByHttps));
    disk.grow(1000000);
    recovery.expectCompleteNow();
}

TEST_F(UpdateFileFault, PreparedConfigurationIsADirectory) {
    fs::create_directories(updatedProdConfigXml);
    expectLeft(true, true, false);
    EXPECT_EQ(transcriptOfOneJob(), tracedComplete(updateByHttps));
    fs::remove(updatedProdConfigXml);
    recovery.expectCompleteNow();
}

TEST_F(UpdateFileFault, PreparedConfigurationIsALinkToNothing) {
    fs::create_directories(keyCoreDownloadCache);
    fs::create_symlink("/usr/local/Brovik/elsewhere", updatedProdConfigXml);
    expectLeft(true, true, true);
    EXPECT_EQ(transcriptOfOneJob(), tracedComplete(updateByHttps));
    recovery.expectCompleteNow();
}

TEST_F(UpdateFileFault, DiskIsFullAtThePackageList) {
    const FullDisk disk("/tmp");
    expectLeft(false, false, true);
    EXPECT_EQ(transcriptOfOneJob(), replaced(tracedComplete(updateByHttps), tracedEnd, listNotWritten));
    disk.grow(1000000);
    recovery.expectCompleteNow();
}

TEST_F(UpdateFileFault, PackageListsDiskIsReadOnly) {
    expectLeft(false, false, true, onAReadOnlyDiskOfTheList);
    EXPECT_EQ(transcriptOfOneJob(), replaced(tracedComplete(updateByHttps), tracedEnd, listNotWritten));
    recovery.expectCompleteNow();
}

TEST_F(UpdateFileFault, PackageListIsADirectory) {
    fs::create_directory(packageListPath);
    expectLeft(false, false, true);
    EXPECT_EQ(transcriptOfOneJob(), replaced(tracedComplete(updateByHttps), tracedEnd, listNotWritten));
    fs::remove(packageListPath);
    recovery.expectCompleteNow();
}

TEST_F(UpdateFileFault, PackageListIsAPipe) {
    ASSERT_EQ(mkfifo(packageListPath, 0600), 0);
    recovery.expectComplete(tracedComplete(updateByHttps));
}

TEST_F(UpdateFileFault, PackageListIsALinkToNothing) {
    fs::create_symlink("/tmp/elsewhere", packageListPath);
    recovery.expectComplete(tracedComplete(updateByHttps));
    EXPECT_FALSE(fs::exists("/tmp/elsewhere"));
}

TEST_F(UpdateFileFault, NoInodesForTheMarker) {
    const std::string folder = fs::path(updateMarkerPath).parent_path();
    const SmallDisk disk(folder, "nr_inodes=1");
    expectLeft(true, false, true);
    EXPECT_EQ(transcriptOfOneJob(), tracedComplete(updateByHttps));
    disk.change("nr_inodes=100");
    recovery.expectCompleteNow();
}

TEST_F(UpdateFileFault, MarkerIsALinkToNothing) {
    fs::create_symlink("/usr/local/Brovik/elsewhere", waitingMarker);
    expectLeft(true, true, true);
    EXPECT_FALSE(fs::is_symlink(waitingMarker));
    EXPECT_EQ(transcriptOfOneJob(), tracedComplete(updateByHttps));
    recovery.expectCompleteNow();
}

// --- what a fresh installation records

class RecordFault : public testing::Test {
protected:
    // The installation itself is complete.
    std::string tracedUnrecorded() const {
        return replaced(tracedComplete(freshInstallByHttps),
                        ">INFO: Version and Build no Updated to plist successfully\n",
                        ">ERROR: Version and Build no Updated to plist Failed !\n");
    }

    const Job &job = freshInstallByHttps;
    const Recovery recovery{job};
    const std::string before = readText(configurationPlistPath);
};

TEST_F(RecordFault, DiskIsFull) {
    const SmallDisk disk("/private/tmp", pageBytes);
    writeText(configurationPlistPath, before);
    recovery.expectComplete(tracedUnrecorded());
    EXPECT_EQ(readText(configurationPlistPath), before);
    disk.grow(1000000);
    recovery.expectCompleteNow();
    EXPECT_NE(readText(configurationPlistPath).find("<key>BuildInfo</key>"), std::string::npos);
}

TEST_F(RecordFault, DiskIsReadOnly) {
    const SmallDisk disk("/private/tmp", pageBytes);
    writeText(configurationPlistPath, before);
    disk.change("", MS_RDONLY);
    recovery.expectComplete(tracedUnrecorded());
    EXPECT_EQ(readText(configurationPlistPath), before);
}

// There is no list to take away.
TEST_F(RecordFault, PackageListsDiskIsReadOnly) {
    recovery.expectComplete(tracedComplete(job), onAReadOnlyDiskOfTheList);
}

// Nor can the identity be read then: the request has the defaults.
TEST_F(RecordFault, PropertyListIsADirectory) {
    fs::remove(configurationPlistPath);
    fs::create_directory(configurationPlistPath);
    const Ended ended = runJob(job);
    EXPECT_TRUE(isComplete(job, ended, plainPackage));
    EXPECT_EQ(transcriptOfOneJob(), replaced(replaced(tracedUnrecorded(), "<affid>105<", "<affid>0<"),
                                             "affid=\"105\"", "affid=\"0\""));
    EXPECT_TRUE(fs::is_empty(configurationPlistPath));
    fs::remove(configurationPlistPath);
    writeText(configurationPlistPath, before);
    recovery.expectCompleteNow();
}

} // namespace
