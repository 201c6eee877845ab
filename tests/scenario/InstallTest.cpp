// Installations of what a check left, by hand-made lists.

#include <filesystem>

#include <gtest/gtest.h>

#include "Background.h"
#include "ExpectedTrace.h"
#include "Observed.h"
#include "Paths.h"
#include "Release.h"
#include "TextFile.h"
#include "Updater.h"

namespace {

const std::string folder = "/usr/local/Brovik/TempDownload/Package/";
const std::string newConfiguration =
    "<ProductConfiguration><ProductVersion>2</ProductVersion></ProductConfiguration>";
const std::string installerRecord = "/srv/rehearsal/log/installer.log";

const std::string scriptHeader = "#!/bin/bash\n"
                                 "set -x\n"
                                 "LOG_NAME=/var/log/DownloadManager.log\n"
                                 "checkStatus()\n"
                                 "{\n"
                                 "status=$1\n"
                                 "PackageName=$2\n"
                                 "if [ $status -ne 0 ] ; then\n"
                                 "echo \"Failed to install $PackageName\" >> $LOG_NAME\n"
                                 "exit -1\n"
                                 "fi\n"
                                 "echo \"Installed $PackageName successfully\" >> $LOG_NAME\n"
                                 "}\n";

const std::string scriptClosing =
    "echo \"Updating ProductConfig.xml ...\"\n"
    "sudo cp /usr/local/Brovik/TempDownload/ProductConfig.xml /usr/local/Brovik/ProductConfig.xml\n"
    "if [ -e /usr/local/Brovik/TempDownload/NeedRestartForRepost ] ; then\n"
    "echo \"Restarting QRN ...\" >> $LOG_NAME\n"
    "/usr/local/Brovik/qrn/bin/qrn restart >> /dev/null 2>&1\n"
    "echo \"Restarted QRN\" >> $LOG_NAME\n"
    "fi\n"
    "sudo rm -rf /usr/local/Brovik/TempDownload\n"
    "rm -rf /private/tmp/ZTKProductUpdate\n"
    "rm -rf /usr/local/repost/installer.sh\n";

std::string scripted(const std::string &path) {
    return "echo \" Installing " + path + "\" >> $LOG_NAME\n" + "sudo installer -package " + path +
           " -target / 2>&1 > /dev/null \n" + "checkStatus $? " + path + "\n";
}

// A downloaded package, whose installation leaves a file named as it is under /opt/installed.
std::string leavePackage(const std::string &path) {
    const std::string name = std::filesystem::path(path).filename();
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    writeText(path, packed({{"/opt/installed/" + name, "installed"}}));
    return path;
}

Files installedFiles() {
    return filesBelow("/opt/installed");
}

void leaveConfiguration() {
    std::filesystem::create_directories(keyCoreDownloadCache);
    writeText(updatedProdConfigXml, newConfiguration);
}

std::string installing(const std::string &path) {
    return ">INFO: Installing " + path + " \n";
}

std::string installed(const std::string &path) {
    return " Installing " + path + "\nInstalled " + path + " successfully\n";
}

// What bash shows of one package until its status is looked at.
std::string shown(const std::string &path, const std::string &status) {
    return "+ echo ' Installing " + path + "'\n" + "+ sudo installer -package " + path + " -target /\n" +
           "+ checkStatus " + status + " " + path + "\n" + "+ status=" + status + "\n" +
           "+ PackageName=" + path + "\n" + "+ '[' " + status + " -ne 0 ']'\n";
}

const std::string scriptRuns = ">INFO : Installing Packages from /usr/local/repost/installer.sh\n"
                               ">Child process: executing /usr/local/repost/installer.sh \n";

// Versions first to last, blank lines skipped, no repost package without an order; the script ends at the
// first package that fails, and everything behind it stays as it is.
TEST(Install, StopsAtTheFirstPackageThatFails) {
    leaveConfiguration();
    const std::string before = readText(prodConfigXml);
    std::filesystem::remove(dynaConfigPlistPath);
    const std::string first = leavePackage(folder + "1.0.1.0/First.pkg");
    const std::string second = leavePackage(folder + "1.0.2.0/Second.pkg");
    const std::string third = leavePackage(folder + "1.0.3.0/Third.pkg");
    const std::string repost = leavePackage(folder + "repost/1.0.1.0/Repost.pkg");
    writeText(packageListPath, "\n" + third + "\n\n\n" + repost + "\n" + first + "\n\n" + second + "\n\n");
    writeText("/srv/rehearsal/installer-fails", "Second.pkg 3\n");
    const Files downloads = filesBelow(keyCoreDownloadCache);

    const Ended ended = install();
    EXPECT_EQ(ended.status, 1);
    // The installer's complaint, whose standard error goes where the script's standard output goes.
    EXPECT_EQ(ended.out, "installer: The install failed. (The installer was told to refuse Second.pkg.)\n");
    // The script shows what it does.
    EXPECT_EQ(ended.err, "+ LOG_NAME=/var/log/DownloadManager.log\n" + shown(first, "0") +
                             "+ echo 'Installed " + first + " successfully'\n" + shown(second, "3") +
                             "+ echo 'Failed to install " + second + "'\n" + "+ exit -1\n");
    EXPECT_EQ(transcript(), tracedStart("Install") + ">INFO: Installation of Updates starts\n" +
                                installing(first) + installing(second) + installing(third) + scriptRuns +
                                installed(first) + " Installing " + second + "\n" + "Failed to install " +
                                second + "\n");
    EXPECT_EQ(readText(installerScriptPath),
              scriptHeader + scripted(first) + scripted(second) + scripted(third) + scriptClosing);
    EXPECT_EQ(shell("stat -c %a /usr/local/repost/installer.sh"), "755\n");
    EXPECT_EQ(readText(installerRecord),
              "-package " + first + " -target / | 0\n-package " + second + " -target / | 3\n");
    EXPECT_TRUE(sameFiles({{"First.pkg", "installed"}}, installedFiles()));
    EXPECT_TRUE(sameFiles(downloads, filesBelow(keyCoreDownloadCache)));
    EXPECT_EQ(readText(prodConfigXml), before);
    EXPECT_FALSE(std::filesystem::exists(packageListPath));
}

// Wherever the name stands in the path, and whatever the installer says; no last line end is needed.
TEST(Install, InstallsBrandingPackagesAtOnceAndOutsideTheScript) {
    leaveConfiguration();
    const std::string branding = leavePackage(folder + "1.0.1.0/DynamicBranding.pkg");
    const std::string inFolder = leavePackage(folder + "1.0.2.0/DynamicBranding.pkg.d/Icons.pkg");
    const std::string refused = leavePackage(folder + "1.0.3.0/NewDynamicBranding.pkg");
    writeText(packageListPath, branding + "\n" + inFolder + "\n" + refused);
    writeText("/srv/rehearsal/installer-fails", "NewDynamicBranding.pkg 1\n");

    const Ended ended = install();
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.out, "Updating ProductConfig.xml ...\n");
    const auto atOnce = [](const std::string &path) {
        return installing(path) + ">INFO: Installation " + path + " Succeded \n";
    };
    // The directory of the second is no version, so that it counts as 0.
    EXPECT_EQ(transcript(), tracedStart("Install") + ">INFO: Installation of Updates starts\n" +
                                atOnce(inFolder) + atOnce(branding) + atOnce(refused) +
                                ">INFO: Getting order of installation \n" + scriptRuns);
    EXPECT_EQ(readText(installerRecord), "-package " + inFolder + " -target / | 0\n-package " + branding +
                                             " -target / | 0\n-package " + refused + " -target / | 1\n");
    EXPECT_TRUE(
        sameFiles({{"DynamicBranding.pkg", "installed"}, {"Icons.pkg", "installed"}}, installedFiles()));
    EXPECT_EQ(readText(prodConfigXml), newConfiguration);
    EXPECT_FALSE(std::filesystem::exists(keyCoreDownloadCache));
    EXPECT_FALSE(std::filesystem::exists(installerScriptPath));
    // Nobody asked for a restart.
    EXPECT_FALSE(std::filesystem::exists("/srv/rehearsal/log/qrn.log"));
}

// The order within a version is the configured one, the order between versions that of their texts.
TEST(Install, OrdersByVersionTextAndConfiguredNames) {
    leaveConfiguration();
    writeText(dynaConfigPlistPath, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                   "<plist version=\"1.0\"><dict><key>InstallPkgOrder</key><array>"
                                   "<string>Zeta.pkg</string><integer>5</integer><string>tools</string>"
                                   "<string>Alpha.pkg</string></array></dict></plist>\n");
    const std::string nine = leavePackage(folder + "9.1.0.0/Nine.pkg");
    const std::string alpha = leavePackage(folder + "10.0.0.0/Alpha.pkg");
    const std::string other = leavePackage(folder + "10.0.0.0/Other.pkg");
    const std::string zeta = leavePackage(folder + "10.0.0.0/Zeta.pkg");
    // One name admits one of them, the older one; no name admits the third.
    const std::string tools = leavePackage(folder + "repost/1.0.1.0/TOOLS.pkg");
    const std::string newTools = leavePackage(folder + "repost/1.0.2.0/NewTools.pkg");
    const std::string unlisted = leavePackage(folder + "repost/1.0.1.0/Unlisted.pkg");
    writeText(packageListPath, nine + "\n" + alpha + "\n" + newTools + "\n" + other + "\n" + unlisted + "\n" +
                                   zeta + "\n" + tools + "\n");

    const Ended ended = install();
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.out, "Updating ProductConfig.xml ...\n");
    EXPECT_EQ(transcript(), tracedStart("Install") + ">INFO: Installation of Updates starts\n" +
                                ">INFO: Getting order of installation \n" + installing(tools) +
                                installing(zeta) + installing(alpha) + installing(other) + installing(nine) +
                                scriptRuns + installed(tools) + installed(zeta) + installed(alpha) +
                                installed(other) + installed(nine));
    EXPECT_EQ(readText(prodConfigXml), newConfiguration);
    EXPECT_FALSE(std::filesystem::exists(keyCoreDownloadCache));
}

// An order file without an order admits no repost package.
TEST(Install, EndsWithoutAScriptWhereItsFolderIsMissing) {
    leaveConfiguration();
    const std::string before = readText(prodConfigXml);
    writeText(dynaConfigPlistPath, "<plist version=\"1.0\"><dict/></plist>\n");
    std::filesystem::remove_all(repostFolder);
    const std::string package = leavePackage(folder + "1.0.1.0/One.pkg");
    const std::string repost = leavePackage(folder + "repost/1.0.1.0/Repost.pkg");
    writeText(packageListPath, package + "\n" + repost + "\n");
    const Files downloads = filesBelow(keyCoreDownloadCache);

    const Ended ended = install();
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.out, "");
    EXPECT_EQ(transcript(), tracedStart("Install") + ">INFO: Installation of Updates starts\n" +
                                ">INFO: Getting order of installation \n" + installing(package) + scriptRuns +
                                ">ERROR: execl failed ! Error: No such file or directory \n");
    EXPECT_FALSE(std::filesystem::exists(installerRecord));
    EXPECT_FALSE(std::filesystem::exists(repostFolder));
    EXPECT_TRUE(sameFiles(downloads, filesBelow(keyCoreDownloadCache)));
    EXPECT_EQ(readText(prodConfigXml), before);
    EXPECT_FALSE(std::filesystem::exists(packageListPath));
}

// --- what may not go wrong for root

// A disk that is full after 4096 bytes cut such a script into a command that removes the product.
TEST(Install, ExecutesNoScriptThatTheDiskCutShort) {
    leaveConfiguration();
    const std::string dangerous = "sudo rm -rf /usr/local/Brovik";
    const std::string before = scriptClosing.substr(0, scriptClosing.find(dangerous)) + dangerous;
    std::string list;
    std::string script = scriptHeader;
    for (int number = 10; number < 21; ++number) {
        const std::string package =
            leavePackage(folder + "1.0.1.0/Package" + std::to_string(number) + ".pkg");
        list += package + "\n";
        script += scripted(package);
    }
    // The last name stands in three lines and has the length that makes the cut fall where it does most harm.
    const std::string lastFolder = folder + "1.0.1.0/";
    const std::size_t left = 4096 - script.size() - before.size() - scripted(lastFolder).size();
    const std::string last = leavePackage(lastFolder + std::string(left / 3, 'Z'));
    script += scripted(last) + scriptClosing;
    ASSERT_EQ(script.substr(4096 - dangerous.size(), dangerous.size()), dangerous);
    writeText(packageListPath, list + last + "\n");
    shell("mount -t tmpfs -o size=4096 scripts " + repostFolder);

    EXPECT_EQ(install().status, 1);
    EXPECT_NE(transcript().find(scriptRuns + ">ERROR: execl failed ! Error: No such file or directory \n"),
              std::string::npos)
        << transcript();
    EXPECT_FALSE(std::filesystem::exists(installerRecord));
    EXPECT_TRUE(std::filesystem::exists(prodConfigXml));
    EXPECT_TRUE(std::filesystem::exists(last));
    EXPECT_TRUE(std::filesystem::is_empty(repostFolder));
}

TEST(Install, DoesNotWaitForADaemonThatABrandingPackageStarts) {
    leaveConfiguration();
    const std::string branding = leavePackage(folder + "1.0.1.0/DynamicBranding.pkg");
    const std::string package = leavePackage(folder + "1.0.1.0/One.pkg");
    writeText(packageListPath, branding + "\n" + package + "\n");
    writeText("/usr/local/bin/installer", "#!/bin/bash\n[[ $* != *Branding* ]] || sleep 1000 &\n");
    EXPECT_EQ(install().status, 1);
    EXPECT_EQ(readText(prodConfigXml), newConfiguration);
    EXPECT_EQ(shell("pgrep -c -x sleep"), "1\n");
}

TEST(Install, LetsNobodyElseWriteTheScript) {
    leaveConfiguration();
    writeText(packageListPath, leavePackage(folder + "1.0.1.0/One.pkg") + "\n");
    // Sees the script before its mode is changed.
    writeText("/usr/bin/sudo",
              "#!/bin/bash\n[[ $1 != chmod ]] || stat -c %a \"$3\" >/tmp/mode\nexec \"$@\"\n");
    EXPECT_EQ(
        run({"bash", "-c", "umask 0; exec \"$@\"", "bash", updater, "1.0.0.5", "105-1", "Install"}).status,
        1);
    EXPECT_EQ(readText("/tmp/mode"), "644\n");
    EXPECT_EQ(readText(prodConfigXml), newConfiguration);
}

TEST(Install, HandsTheStartersOpenFileLimitOnToTheService) {
    leaveConfiguration();
    writeText(restartMarkerPath, "");
    writeText(serviceControlPath, "#!/bin/bash\nulimit -S -n >/tmp/limit\n");
    writeText(packageListPath, leavePackage(folder + "1.0.1.0/One.pkg") + "\n");
    EXPECT_EQ(
        run({"bash", "-c", "ulimit -S -n 64; exec \"$@\"", "bash", updater, "1.0.0.5", "105-1", "Install"})
            .status,
        1);
    EXPECT_EQ(readText("/tmp/limit"), "64\n");
}

// --- nothing to install

struct List {
    const char *name;
    const char *text;
};

class ListWithoutPackages : public testing::TestWithParam<List> {};

TEST_P(ListWithoutPackages, IsRemovedAndInstallsNothing) {
    leaveConfiguration();
    const std::string before = readText(prodConfigXml);
    writeText(packageListPath, GetParam().text);
    const Ended ended = install();
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.out, "");
    EXPECT_EQ(ended.err, "");
    EXPECT_EQ(transcript(), tracedStart("Install") + ">No Updates available\n" + tracedEnd);
    EXPECT_FALSE(std::filesystem::exists(packageListPath));
    EXPECT_FALSE(std::filesystem::exists(installerScriptPath));
    EXPECT_EQ(readText(prodConfigXml), before);
    EXPECT_TRUE(sameFiles({{"ProductConfig.xml", newConfiguration}}, filesBelow(keyCoreDownloadCache)));
}

INSTANTIATE_TEST_SUITE_P(Install, ListWithoutPackages,
                         testing::Values(List{"Empty", ""}, List{"OneLineEnd", "\n"},
                                         List{"BlankLines", "\n\n\n"}),
                         caseName);

// Kept: the run waits for whoever started it too early.
TEST(Install, WithoutAListNeverEnds) {
    const Program program(installCommand);
    ASSERT_TRUE(comesTrue([] { return transcript() == tracedStart("Install"); })) << transcript();
    EXPECT_FALSE(program.endsWithin(std::chrono::seconds(4)));
    EXPECT_EQ(transcript(), tracedStart("Install"));
}

} // namespace
