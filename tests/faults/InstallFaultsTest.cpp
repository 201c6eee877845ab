// Disks that fail an installation of what a check left. The engine gives its starter ten seconds before it
// runs the script, so most of these cases are left to the long run.

#include <filesystem>

#include <gtest/gtest.h>

#include "ExpectedTrace.h"
#include "JobTrace.h"
#include "Observed.h"
#include "Paths.h"
#include "Recovery.h"
#include "Release.h"
#include "SmallDisk.h"
#include "TextFile.h"
#include "Updater.h"

namespace {

namespace fs = std::filesystem;

constexpr std::size_t pageBytes = 4096;
const std::string suite = "/usr/local/Brovik";

class InstallFault : public testing::Test {
protected:
    InstallFault() { offerPackages(updateByHttps, packages); }

    // A configuration of so many bytes.
    static void enlargeConfiguration(std::size_t bytes) {
        std::string text = readText(prodConfigXml);
        const std::string end = "</ProductConfiguration>";
        const std::string note = "<Note></Note>";
        const std::size_t missing = bytes - text.size() - note.size();
        text.insert(text.find(end), "<Note>" + std::string(missing, 'n') + "</Note>");
        writeText(prodConfigXml, text);
    }

    // What the run says, from its beginning.
    std::string tracedInstallation(const std::string &scripts) const {
        return tracedStart("Install") + ">INFO: Installation of Updates starts\n" +
               ">INFO: Getting order of installation \n" + ">INFO: Installing " + package + " \n" +
               ">INFO : Installing Packages from /usr/local/repost/installer.sh\n" +
               ">Child process: executing /usr/local/repost/installer.sh \n" + scripts;
    }

    void check() const { ASSERT_TRUE(isComplete(updateByHttps, checkForInstall(), packages)); }

    // In a log of its own.
    static void expectInstallation(const std::string &trace) {
        fs::remove(traceLogPath);
        EXPECT_EQ(install().status, 1);
        EXPECT_EQ(transcript(), trace);
        EXPECT_FALSE(fs::exists(packageListPath));
    }

    void expectNothingInstalled() const {
        EXPECT_TRUE(before.areUnchanged());
        EXPECT_FALSE(fs::exists("/opt/product"));
        EXPECT_EQ(readText(package), packages.at("One.pkg"));
        EXPECT_FALSE(fs::exists(packageListPath));
    }

    // The next check and installation, in full.
    void expectInstalledNow() const {
        check();
        const std::string configuration = readText(updatedProdConfigXml);
        expectInstallation(tracedInstallation(installed));
        EXPECT_EQ(readText(prodConfigXml), configuration);
        EXPECT_EQ(readText("/opt/product"), "new");
        EXPECT_FALSE(fs::exists(keyCoreDownloadCache));
    }

    const Packages packages = {{"One.pkg", packed({{"/opt/product", "new"}})}};
    const std::string package = pathIn(updateByHttps, "One.pkg");
    const std::string installed = " Installing " + package + "\nInstalled " + package + " successfully\n";
    const std::string notExecuted = ">ERROR: execl failed ! Error: ";
    const InstalledFiles before;
};

// A known limit: the copy is cut, and the script goes on to remove what it was made of.
TEST_F(InstallFault, DiskIsFullAtTheCopyOfTheConfiguration) {
    enlargeConfiguration(pageBytes);
    shell("rm " + suite + "/qrn/bin/releasebench"); // the largest of what is installed, and not needed here
    shell("cp -a " + suite + " /srv/suite");
    constexpr std::size_t roomBeside = 16 * 1024 * 1024;
    const SmallDisk disk(suite, std::stoul(shell("du -sb " + suite)) + roomBeside);
    shell("cp -a /srv/suite/. " + suite);
    check();
    const std::string configuration = readText(updatedProdConfigXml);
    ASSERT_GT(configuration.size(), pageBytes);
    shell("dd if=/dev/zero of=" + suite + "/other bs=4096 2>/dev/null || true");
    expectInstallation(tracedInstallation(installed));
    const std::string installedOne = readText(prodConfigXml);
    EXPECT_LT(installedOne.size(), configuration.size());
    EXPECT_EQ(configuration.compare(0, installedOne.size(), installedOne), 0);
    EXPECT_EQ(readText("/opt/product"), "new");
}

// What stands in the script's way keeps it from being written whole; nothing is installed then.
TEST_F(InstallFault, DiskIsFullAtTheScriptLong) {
    const SmallDisk disk(repostFolder, pageBytes);
    writeText(repostFolder + "/other", std::string(pageBytes, 'x'));
    check();
    expectInstallation(tracedInstallation(notExecuted + "No such file or directory \n"));
    expectNothingInstalled();
    disk.grow(1000000);
    expectInstalledNow();
}

TEST_F(InstallFault, ScriptFolderIsReadOnlyLong) {
    const SmallDisk disk(repostFolder, "", MS_RDONLY);
    check();
    expectInstallation(tracedInstallation(notExecuted + "No such file or directory \n"));
    expectNothingInstalled();
    disk.change("");
    expectInstalledNow();
}

TEST_F(InstallFault, ScriptIsADirectoryLong) {
    fs::create_directory(installerScriptPath);
    check();
    expectInstallation(tracedInstallation(notExecuted + "Permission denied \n"));
    expectNothingInstalled();
    fs::remove(installerScriptPath);
    expectInstalledNow();
}

TEST_F(InstallFault, ScriptLargerThanAFileMayBeLong) {
    check();
    fs::remove(traceLogPath);
    EXPECT_EQ(run({"prlimit", "--fsize=300", updater, "1.0.0.5", "105-1", "Install"}).status, 1);
    expectNothingInstalled();
    expectInstalledNow();
}

// The script ends at the package that the disk does not take.
TEST_F(InstallFault, DiskIsFullAtThePackageLong) {
    fs::create_directories("/opt");
    const SmallDisk disk("/opt", pageBytes);
    writeText("/opt/other", std::string(pageBytes, 'x'));
    check();
    expectInstallation(
        tracedInstallation(" Installing " + package + "\nFailed to install " + package + "\n"));
    EXPECT_TRUE(before.areUnchanged());
    EXPECT_EQ(readText(package), packages.at("One.pkg"));
    disk.grow(1000000);
    expectInstalledNow();
}

} // namespace
