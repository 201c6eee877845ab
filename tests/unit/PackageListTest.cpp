#include "PackageList.h"

#include <cerrno>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "FailingAllocation.h"
#include "FailingFileCall.h"
#include "FullDisk.h"
#include "TextFile.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string path = "/tmp/packagelist.txt";
const std::string marker = "/usr/local/Brovik/qrn/var/RequireProductUpdate";

struct stat statusOf(const std::string &name) {
    struct stat status {};
    EXPECT_EQ(lstat(name.c_str(), &status), 0) << name;
    return status;
}

std::size_t filesInTmp() {
    const std::filesystem::directory_iterator entries("/tmp");
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

// --- writing

TEST(PackageListWrite, GivesOnePathALine) {
    EXPECT_TRUE(writePackageList({"/p/b.pkg", "/p/a c.pkg"}));
    EXPECT_EQ(readText(path), "/p/b.pkg\n/p/a c.pkg\n");
    EXPECT_TRUE(writePackageList({}));
    EXPECT_EQ(readText(path), "");
    EXPECT_TRUE(std::filesystem::exists(path));
}

TEST(PackageListWrite, IsReadAgain) {
    EXPECT_TRUE(writePackageList({"/p/b.pkg", "/p/a.pkg"}));
    EXPECT_THAT(*readPackageList(), ElementsAre("/p/b.pkg", "/p/a.pkg"));
}

TEST(PackageListWrite, IsOwnWhateverMaskAndWhoeverMadeAListBefore) {
    writeText(path, "/evil.pkg\n");
    ASSERT_EQ(chown(path.c_str(), 1, 1), 0);
    ASSERT_EQ(chmod(path.c_str(), 0666), 0);
    const mode_t mask = umask(0);
    EXPECT_TRUE(writePackageList({"/p/a.pkg"}));
    umask(mask);
    EXPECT_EQ(statusOf(path).st_uid, 0U);
    EXPECT_EQ(statusOf(path).st_mode & 07777U, 0644U);
    EXPECT_THAT(*readPackageList(), ElementsAre("/p/a.pkg"));
}

TEST(PackageListWrite, ReplacesALinkAndNotWhatItNames) {
    writeText("/tmp/passwd", "root");
    std::filesystem::create_symlink("/tmp/passwd", path);
    EXPECT_TRUE(writePackageList({"/p/a.pkg"}));
    EXPECT_EQ(readText("/tmp/passwd"), "root");
    EXPECT_TRUE(S_ISREG(statusOf(path).st_mode));
}

TEST(PackageListWrite, ReplacesAFifoWithoutWaiting) {
    ASSERT_EQ(mkfifo(path.c_str(), 0666), 0);
    EXPECT_TRUE(writePackageList({"/p/a.pkg"}));
    EXPECT_THAT(*readPackageList(), ElementsAre("/p/a.pkg"));
}

TEST(PackageListWrite, LeavesNoListWhenItDoesNotFit) {
    writeText(path, "/p/old.pkg\n");
    const std::list<std::string> paths(1000, "/p/a.pkg");
    {
        const FullDisk full(4096);
        EXPECT_FALSE(writePackageList(paths));
    }
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_EQ(filesInTmp(), 0U);
}

TEST(PackageListWrite, LeavesTheWholeListOrNoneWhicheverCallFails) {
    std::size_t call = 0;
    for (bool reached = true; reached; ++call) {
        writeText(path, "/p/old.pkg\n");
        bool done = false;
        {
            const FailingFileCall failing(call);
            done = writePackageList({"/p/a.pkg", "/p/b.pkg"});
            reached = failing.happened();
        }
        EXPECT_EQ(std::filesystem::exists(path), done) << call;
        EXPECT_EQ(readText(path), done ? "/p/a.pkg\n/p/b.pkg\n" : "") << call;
    }
    EXPECT_GT(call, 4U);
}

TEST(PackageListWrite, FailsOnADirectory) {
    std::filesystem::create_directory(path);
    EXPECT_FALSE(writePackageList({"/p/a.pkg"}));
}

// --- reading

TEST(PackageListRead, GivesNonEmptyLinesAsTheyStand) {
    writeText(path, std::string("\n/3.pkg\n\n\n /1.pkg \r\n\n/2\0.pkg", 28));
    EXPECT_THAT(*readPackageList(), ElementsAre("/3.pkg", " /1.pkg \r", std::string("/2\0.pkg", 7)));
    writeText(path, "");
    EXPECT_THAT(*readPackageList(), IsEmpty());
    writeText(path, "\n\n");
    EXPECT_THAT(*readPackageList(), IsEmpty());
}

TEST(PackageListRead, LosesNothingOfABigList) {
    EXPECT_TRUE(writePackageList(std::list<std::string>(200'000, "/p/a.pkg")));
    EXPECT_EQ(*readPackageList(), std::vector<std::string>(200'000, "/p/a.pkg"));
}

TEST(PackageListRead, TakesAnothersListForEmpty) {
    writeText(path, "/evil.pkg\n");
    ASSERT_EQ(chown(path.c_str(), 1, 0), 0);
    EXPECT_THAT(*readPackageList(), IsEmpty());
}

TEST(PackageListRead, TakesAListThatOthersMayWriteForEmpty) {
    writeText(path, "/evil.pkg\n");
    for (const mode_t mode : {0664U, 0646U, 0602U}) {
        ASSERT_EQ(chmod(path.c_str(), mode), 0);
        EXPECT_THAT(*readPackageList(), IsEmpty()) << mode;
    }
    ASSERT_EQ(chmod(path.c_str(), 0644), 0);
    EXPECT_THAT(*readPackageList(), ElementsAre("/evil.pkg"));
}

TEST(PackageListRead, TellsAMissingListFromAnEmptyOne) {
    EXPECT_FALSE(readPackageList());
    writeText(path, "");
    EXPECT_TRUE(readPackageList());
}

TEST(PackageListRead, TakesALinkForEmpty) {
    writeText("/tmp/own", "/p/a.pkg\n");
    std::filesystem::create_symlink("/tmp/own", path);
    EXPECT_THAT(*readPackageList(), IsEmpty());
    std::filesystem::remove("/tmp/own");
    EXPECT_THAT(*readPackageList(), IsEmpty()) << "a link that leads nowhere is no missing list";
}

// Whoever may write to the folder may name any file of root's there: its lines would be run by root's shell.
TEST(PackageListRead, TakesAHardLinkForEmpty) {
    writeText("/tmp/own", "/p/a.pkg\n");
    std::filesystem::create_hard_link("/tmp/own", path);
    EXPECT_THAT(*readPackageList(), IsEmpty());
    std::filesystem::remove("/tmp/own");
    EXPECT_THAT(*readPackageList(), ElementsAre("/p/a.pkg"));
}

TEST(PackageListRead, TakesWhatIsNoFileForEmptyAndDoesNotWait) {
    ASSERT_EQ(mkfifo(path.c_str(), 0644), 0);
    EXPECT_THAT(*readPackageList(), IsEmpty());
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
    EXPECT_THAT(*readPackageList(), IsEmpty());
}

TEST(PackageListRead, ThrowsWithoutMemoryAndNeverStaysOrGivesLess) {
    writeText(path, "/p/a/path/that/is/not/kept/in/place.pkg\n/p/another/path/not/kept/in/place.pkg\n");
    std::size_t allocation = 0;
    for (bool reached = true; reached; ++allocation) {
        const FailingAllocation failing(allocation);
        try {
            const std::size_t count = readPackageList()->size();
            reached = failing.happened();
            EXPECT_EQ(count, 2U) << allocation;
        } catch (const std::bad_alloc &) {
            reached = true;
        }
    }
    EXPECT_GT(allocation, 3U);
}

TEST(PackageListRead, ThrowsWhenTheSystemFailsAndNeverStaysOrGivesLess) {
    writeText(path, "/p/a.pkg\n/p/b.pkg\n");
    std::size_t call = 0;
    for (bool reached = true; reached; ++call) {
        const FailingFileCall failing(call);
        try {
            EXPECT_EQ(readPackageList()->size(), 2U) << call;
            reached = failing.happened();
        } catch (const std::system_error &) {
            reached = true;
        }
    }
    EXPECT_GT(call, 2U);
}

TEST(PackageListRead, ReadsOnWhenASignalInterrupts) {
    writeText(path, "/p/a.pkg\n/p/b.pkg\n");
    fileCalls.clear();
    ASSERT_EQ(readPackageList()->size(), 2U);
    const FailingFileCall interrupted(firstFileCall("read"), EINTR);
    EXPECT_EQ(readPackageList()->size(), 2U);
    EXPECT_TRUE(interrupted.happened());
}

// --- removing

TEST(PackageListRemove, TakesListAndMarkerAway) {
    writeText(path, "/p/a.pkg\n");
    writeText(marker, "");
    EXPECT_TRUE(removePackageList());
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_FALSE(std::filesystem::exists(marker));
    EXPECT_TRUE(removePackageList()) << "there is none";
}

TEST(PackageListRemove, TakesALinkAwayAndNotWhatItNames) {
    writeText("/tmp/passwd", "root");
    std::filesystem::create_symlink("/tmp/passwd", path);
    EXPECT_TRUE(removePackageList());
    EXPECT_FALSE(std::filesystem::is_symlink(path));
    EXPECT_EQ(readText("/tmp/passwd"), "root");
}

TEST(PackageListRemove, TellsAListThatStays) {
    writeText(path, "/p/a.pkg\n");
    writeText(marker, "");
    ASSERT_EQ(mount(path.c_str(), path.c_str(), nullptr, MS_BIND, nullptr), 0);
    EXPECT_FALSE(removePackageList());
    EXPECT_FALSE(std::filesystem::exists(marker));
    EXPECT_EQ(umount(path.c_str()), 0);
}

TEST(PackageListRemove, HasNothingToDoWithoutAListOnADiskThatTakesNoChanges) {
    ASSERT_EQ(mount("/tmp", "/tmp", nullptr, MS_BIND, nullptr), 0);
    ASSERT_EQ(mount(nullptr, "/tmp", nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr), 0);
    EXPECT_TRUE(removePackageList());
    EXPECT_EQ(umount("/tmp"), 0);
}

TEST(PackageListRemove, LeavesWhatWasNeverAList) {
    std::filesystem::create_directory(path);
    EXPECT_TRUE(removePackageList());
}

} // namespace
