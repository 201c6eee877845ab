// The installation of updates ends the process, so every case runs it in a child process. The steps that no
// machine can be brought to fail at will go through the linker's --wrap, see CMakeLists.txt.
#include "UpdateManager.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DownloadController.h"
#include "FailingAllocation.h"
#include "FullDisk.h"
#include "InstallerScript.h"
#include "InstallerScriptFile.h"
#include "TextFile.h"
#include "Trace.h"
#include "TraceFile.h"

namespace {

using testing::ElementsAre;
using testing::ExitedWithCode;

using Texts = std::vector<std::string>;

constexpr const char *script = "/usr/local/repost/installer.sh";
// Another name of the script's file, given once it is written: stays when the script removes itself.
constexpr const char *scriptKept = "/usr/local/repost/kept.sh";
// What the engine asked of the operating system, a line each.
constexpr const char *askedFor = "/tmp/asked-for";

enum class ForkAnswer { real, failure };
enum class WaitAnswer { real, failureFirst };
enum class ExeclAnswer { real, returnsZero };
enum class FsyncAnswer { real, failure };
ForkAnswer forkAnswer = ForkAnswer::real;
bool isStreamRefused = false;
WaitAnswer waitAnswer = WaitAnswer::real;
ExeclAnswer execlAnswer = ExeclAnswer::real;
FsyncAnswer fsyncAnswer = FsyncAnswer::real;

void note(const std::string &what) {
    std::ofstream(askedFor, std::ios::app) << what << "\n";
}

// "" unless there is a file of that name.
std::string modeOf(const char *path) {
    struct stat found {};
    if (lstat(path, &found) != 0 || !S_ISREG(found.st_mode))
        return "";
    std::ostringstream text;
    text << std::oct << (found.st_mode & 07777U);
    return text.str();
}

} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the names that the linker's --wrap asks for
extern "C" {
unsigned __wrap_sleep(unsigned seconds);
pid_t __real_fork();
pid_t __wrap_fork();
pid_t __real_waitpid(pid_t child, int *status, int options);
pid_t __wrap_waitpid(pid_t child, int *status, int options);
int __real_execl(const char *path, const char *argument, ...);
int __wrap_execl(const char *path, const char *argument, ...);
int __real_fsync(int file);
int __wrap_fsync(int file);
int __real_rename(const char *from, const char *to);
int __wrap_rename(const char *from, const char *to);
std::FILE *__real_fdopen(int file, const char *mode);
std::FILE *__wrap_fdopen(int file, const char *mode);

// Nobody waits in a test; that the engine would is noted, and how the script stands there by then.
unsigned __wrap_sleep(unsigned seconds) {
    const std::string mode = modeOf(script);
    note("sleep " + std::to_string(seconds) + (mode.empty() ? "" : " after the script of mode " + mode));
    std::error_code cannotBeKept; // nor written where that is so
    std::filesystem::create_hard_link(script, scriptKept, cannotBeKept);
    return 0;
}

int __wrap_fsync(int file) {
    note("fsync");
    if (fsyncAnswer == FsyncAnswer::real)
        return __real_fsync(file);
    errno = ENOSPC;
    return -1;
}

int __wrap_rename(const char *from, const char *to) {
    note(std::string("rename to ") + to);
    return __real_rename(from, to);
}

std::FILE *__wrap_fdopen(int file, const char *mode) {
    return isStreamRefused ? nullptr : __real_fdopen(file, mode);
}

pid_t __wrap_fork() {
    if (forkAnswer == ForkAnswer::real)
        return __real_fork();
    errno = EAGAIN;
    return -1;
}

pid_t __wrap_waitpid(pid_t child, int *status, int options) {
    if (waitAnswer == WaitAnswer::real)
        return __real_waitpid(child, status, options);
    waitAnswer = WaitAnswer::real;
    errno = EINVAL;
    return -1;
}

int __wrap_execl(const char *path, const char *argument, ...) {
    note(std::string("execl ") + path + " " + argument);
    // The engine gives the script no arguments beyond its own name.
    return execlAnswer == ExeclAnswer::real ? __real_execl(path, argument, nullptr) : 0;
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

const std::string header = "#!/bin/bash\n"
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

const std::string earlierScript =
    "#!/bin/bash\necho executed >/tmp/earlier\nexit\n" + std::string(100'000, '#');

const std::string closing =
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

std::string packageLines(const std::string &path) {
    return "echo \" Installing " + path + "\" >> $LOG_NAME\n" +                   //
           "sudo installer -package " + path + " -target / 2>&1 > /dev/null \n" + //
           "checkStatus $? " + path + "\n";
}

std::string installerCall(const std::string &path) {
    return "-package " + path + " -target / | 0\n";
}

// Downloaded packages on a machine whose product waits to be updated.
class UpdateInstallation : public testing::Test {
protected:
    UpdateInstallation() {
        std::filesystem::create_directories("/usr/local/Brovik/TempDownload/Package");
        std::filesystem::create_directories("/private/tmp/ZTKProductUpdate/something");
        writeText("/usr/local/Brovik/TempDownload/ProductConfig.xml", "the new configuration");
        writeText("/usr/local/Brovik/ProductConfig.xml", "the old configuration");
        writeText("/usr/local/Brovik/DynaConfig.plist",
                  "<plist><dict><key>InstallPkgOrder</key><array><string>Repost.pkg</string>"
                  "<string>Firewall.pkg</string></array></dict></plist>");
        leaveEarlierScript();
        DownloadController::getInstance();
    }

    // A script of an earlier run, longer than the new one may be, that tells when it is executed.
    static void leaveEarlierScript() {
        writeText(script, earlierScript);
        std::filesystem::permissions(script, std::filesystem::perms(0755));
    }

    // A package that the installer unpacks.
    static std::string package(const std::string &name) {
        std::string path = "/usr/local/Brovik/TempDownload/Package/" + name;
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        EXPECT_TRUE(UpdateManager().runCommand(("tar -c -T /dev/null -f " + path).c_str()));
        return path;
    }

    static void install(const Texts &packages) { endWith(UpdateManager().installUpdatePackages(packages)); }

    // Tells an installation that returned from one that ended the process.
    [[noreturn]] static void endWith(int result) {
        std::exit(result + 100); // NOLINT(concurrency-mt-unsafe): this is the only thread
    }

    static std::string installerCalls() { return readText("/srv/rehearsal/log/installer.log"); }
};

const std::string starts = "INFO: Installation of Updates starts\n";
const std::string readsOrder = "INFO: Getting order of installation \n";
const std::string installs = "INFO : Installing Packages from /usr/local/repost/installer.sh\n";
const std::string executes = "Child process: executing /usr/local/repost/installer.sh \n";

std::string installing(const std::string &path) {
    return "INFO: Installing " + path + " \n";
}

std::string installedByScript(const std::string &path) {
    return " Installing " + path + "\nInstalled " + path + " successfully\n";
}

TEST_F(UpdateInstallation, InstallsInOrderThroughAScriptThatCleansUp) {
    writeText("/usr/local/Brovik/TempDownload/NeedRestartForRepost", "");
    // The service control is called by the script itself, so it sees what the script sees.
    writeText("/usr/local/Brovik/qrn/bin/qrn", "#!/bin/bash\necho \"$*\" >/tmp/qrn\numask >>/tmp/qrn\n"
                                               "cut -d' ' -f6 /proc/$$/stat >/tmp/session\n");
    const std::string later = package("1.0.1.0/Zeta.pkg");
    const std::string named = package("1.0.0.9/Firewall.pkg");
    const std::string other = package("1.0.0.9/Alpha.pkg");
    const std::string branding = package("1.0.0.9/DynamicBranding.pkg");
    const std::string repost = package("repost/1.0.0.9/Repost.pkg");
    const std::string unnamedRepost = package("repost/1.0.0.9/Second.pkg");
    const auto installAll = [&] {
        writeText("/tmp/updater", std::to_string(getpid()) + "\n");
        install({later, other, branding, unnamedRepost, repost, named});
    };
    EXPECT_EXIT(installAll(), ExitedWithCode(1), "");

    EXPECT_EQ(readText(scriptKept), header + packageLines(repost) + packageLines(named) +
                                        packageLines(other) + packageLines(later) + closing);
    EXPECT_EQ(std::filesystem::status(scriptKept).permissions(), std::filesystem::perms(0755));
    EXPECT_EQ(installerCalls(), installerCall(branding) + installerCall(repost) + installerCall(named) +
                                    installerCall(other) + installerCall(later));
    EXPECT_THAT(traceMessages(),
                ElementsAre(starts, installing(branding), "INFO: Installation " + branding + " Succeded \n",
                            readsOrder, installing(repost), installing(named), installing(other),
                            installing(later), installs,
                            executes + installedByScript(repost) + installedByScript(named) +
                                installedByScript(other) + installedByScript(later) +
                                "Restarting QRN ...\nRestarted QRN\n"));
    EXPECT_EQ(readText(askedFor), "fsync\nrename to /usr/local/repost/installer.sh\n"
                                  "sleep 10 after the script of mode 644\n"
                                  "execl /usr/local/repost/installer.sh /usr/local/repost/installer.sh\n");

    EXPECT_EQ(readText("/tmp/qrn"), "restart\n0027\n");
    EXPECT_EQ(readText("/tmp/session"), readText("/tmp/updater"));
    EXPECT_EQ(readText("/usr/local/Brovik/ProductConfig.xml"), "the new configuration");
    EXPECT_FALSE(std::filesystem::exists("/usr/local/Brovik/TempDownload"));
    EXPECT_FALSE(std::filesystem::exists("/private/tmp/ZTKProductUpdate"));
    EXPECT_FALSE(std::filesystem::exists(script));
}

TEST_F(UpdateInstallation, EmptyListStillCopiesTheConfigurationAndCleansUp) {
    EXPECT_EXIT(install({}), ExitedWithCode(1), "");
    EXPECT_EQ(readText(scriptKept), header + closing);
    EXPECT_THAT(traceMessages(), ElementsAre(starts, readsOrder, installs, executes));
    EXPECT_EQ(readText("/usr/local/Brovik/ProductConfig.xml"), "the new configuration");
    EXPECT_FALSE(std::filesystem::exists("/usr/local/Brovik/TempDownload"));
    EXPECT_FALSE(std::filesystem::exists(script));
    // Nobody asked for a restart.
    EXPECT_EQ(readText("/srv/rehearsal/log/qrn.log"), "");
}

TEST_F(UpdateInstallation, FailingPackageEndsTheScriptAndLeavesTheRest) {
    const std::string first = package("1.0.0.8/A.pkg");
    const std::string failing = package("1.0.0.9/B.pkg");
    const std::string never = package("1.0.1.0/C.pkg");
    writeText("/usr/local/Brovik/TempDownload/NeedRestartForRepost", "");
    writeText("/srv/rehearsal/installer-fails", "B.pkg 7\n");
    // Whatever the script's own status.
    EXPECT_EXIT(install({first, failing, never}), ExitedWithCode(1), "");

    EXPECT_EQ(installerCalls(), installerCall(first) + "-package " + failing + " -target / | 7\n");
    EXPECT_THAT(traceMessages(), ElementsAre(starts, readsOrder, installing(first), installing(failing),
                                             installing(never), installs,
                                             executes + installedByScript(first) + " Installing " + failing +
                                                 "\nFailed to install " + failing + "\n"));
    EXPECT_EQ(readText(script),
              header + packageLines(first) + packageLines(failing) + packageLines(never) + closing);
    EXPECT_EQ(readText("/usr/local/Brovik/ProductConfig.xml"), "the old configuration");
    EXPECT_TRUE(std::filesystem::exists("/usr/local/Brovik/TempDownload"));
    EXPECT_TRUE(std::filesystem::exists("/private/tmp/ZTKProductUpdate"));
    EXPECT_EQ(readText("/srv/rehearsal/log/qrn.log"), "");
}

TEST_F(UpdateInstallation, FailingBrandingPackageDoesNotStopTheOthers) {
    const std::string branding = package("1.0.0.9/DynamicBranding.pkg");
    const std::string other = package("1.0.0.9/A.pkg");
    writeText("/srv/rehearsal/installer-fails", "DynamicBranding.pkg 1\n");
    EXPECT_EXIT(install({branding, other}), ExitedWithCode(1), "");
    EXPECT_EQ(installerCalls(), "-package " + branding + " -target / | 1\n" + installerCall(other));
    EXPECT_EQ(readText(scriptKept), header + packageLines(other) + closing);
}

TEST_F(UpdateInstallation, ScriptThatCannotBeWrittenEndsTheRunWhereItIsExecuted) {
    std::filesystem::remove_all("/usr/local/repost");
    EXPECT_EXIT(install({package("1.0/A.pkg")}), ExitedWithCode(1), "");
    EXPECT_THAT(traceMessages(),
                ElementsAre(starts, readsOrder,
                            installing("/usr/local/Brovik/TempDownload/Package/1.0/A.pkg"), installs,
                            executes, "ERROR: execl failed ! Error: No such file or directory \n"));
    EXPECT_FALSE(std::filesystem::exists("/usr/local/repost"));
    EXPECT_EQ(readText("/usr/local/Brovik/ProductConfig.xml"), "the old configuration");
    EXPECT_TRUE(std::filesystem::exists("/usr/local/Brovik/TempDownload"));
}

TEST_F(UpdateInstallation, ScriptWithoutAStreamLeavesNoFile) {
    isStreamRefused = true;
    EXPECT_EXIT(install({package("1.0/A.pkg")}), ExitedWithCode(1), "");
    EXPECT_EQ(traceMessages().back(), "ERROR: execl failed ! Error: No such file or directory \n");
    EXPECT_TRUE(std::filesystem::is_empty("/usr/local/repost"));
}

TEST_F(UpdateInstallation, ScriptThatCannotBeExecutedIsAnErrorLine) {
    std::filesystem::remove(script);
    std::filesystem::create_directory(script);
    const auto installNothing = [] {
        downloadManagerTraceFlagvalue = Trace::errorLevel;
        install({});
    };
    EXPECT_EXIT(installNothing(), ExitedWithCode(1), "");
    EXPECT_THAT(traceMessages(), ElementsAre("ERROR: execl failed ! Error: Permission denied \n"));
}

// --- a script that is not whole

// The run ends like one whose script cannot be executed; nothing was.
void expectNothingExecuted(const std::string &reason) {
    EXPECT_EQ(traceMessages().back(), "ERROR: execl failed ! Error: " + reason + " \n");
    EXPECT_FALSE(std::filesystem::exists("/tmp/earlier"));
    EXPECT_EQ(readText("/srv/rehearsal/log/installer.log"), "");
    EXPECT_EQ(readText("/usr/local/Brovik/ProductConfig.xml"), "the old configuration");
    EXPECT_TRUE(std::filesystem::exists("/usr/local/Brovik/TempDownload"));
}

// A disk of its own for the script's folder.
void mountScriptFolder(const std::string &options) {
    ASSERT_EQ(mount("scripts", "/usr/local/repost", "tmpfs", 0, options.c_str()), 0);
}

class FullDisk : public UpdateInstallation, public testing::WithParamInterface<int> {};

// The cut would fall into other lines each time: such a script would have removed more than the downloads.
TEST_P(FullDisk, LeavesNoScriptAndExecutesNone) {
    mountScriptFolder("size=4096");
    Texts packages;
    for (int number = 10; number < 10 + GetParam(); ++number)
        packages.push_back(package("1.0.0.9/Package" + std::to_string(number) + ".pkg"));
    ASSERT_GT(header.size() + packages.size() * packageLines(packages[0]).size() + closing.size(), 4096U);
    EXPECT_EXIT(install(packages), ExitedWithCode(1), "");
    expectNothingExecuted("No such file or directory");
    EXPECT_TRUE(std::filesystem::is_empty("/usr/local/repost"));
}

INSTANTIATE_TEST_SUITE_P(UpdateInstallation, FullDisk, testing::Range(14, 20));

TEST_F(UpdateInstallation, FullDiskLeavesNoEarlierScriptEither) {
    mountScriptFolder("size=4096");
    writeText(script, "#!/bin/bash\necho executed >/tmp/earlier\n");
    std::filesystem::permissions(script, std::filesystem::perms(0755));
    EXPECT_EXIT(install(Texts(20, package("1.0.0.9/A.pkg"))), ExitedWithCode(1), "");
    expectNothingExecuted("No such file or directory");
    EXPECT_TRUE(std::filesystem::is_empty("/usr/local/repost"));
}

// Room that comes too late brings the end of the script, not what was lost in its middle.
TEST_F(UpdateInstallation, ScriptThatLostAPartIsNotPlaced) {
    mountScriptFolder("size=4096");
    InstallerScriptFile file;
    file.begin();
    file.write(std::string(20'000, '#') + "\n");
    ASSERT_EQ(mount(nullptr, "/usr/local/repost", nullptr, MS_REMOUNT, "size=1m,mode=755"), 0);
    file.write("rm -rf /usr/local/repost/installer.sh\n");
    EXPECT_FALSE(file.finish());
    EXPECT_TRUE(std::filesystem::is_empty("/usr/local/repost"));
}

// The first is written line by line, the second in the end; closing a stream tries once more what failed.
TEST_F(UpdateInstallation, ScriptThatMayNotGrowEndsNobodyAndIsNotPlaced) {
    for (const int lines : {400, 1}) {
        const ::FullDisk fullDisk(50);
        InstallerScriptFile file;
        file.begin();
        for (int line = 0; line < lines; ++line)
            file.write(std::string(100, '#') + "\n");
        EXPECT_FALSE(file.finish());
        EXPECT_TRUE(std::filesystem::is_empty("/usr/local/repost"));
    }
}

TEST_F(UpdateInstallation, ScriptThatMayNotGrowCanBeGivenUp) {
    const ::FullDisk fullDisk(50);
    InstallerScriptFile file;
    file.begin();
    file.write(std::string(100, '#') + "\n");
    file.discard();
    EXPECT_TRUE(std::filesystem::is_empty("/usr/local/repost"));
}

TEST_F(UpdateInstallation, ScriptThatTheDiskDoesNotTakeIsNotExecuted) {
    const auto installOnFailingDisk = [] {
        fsyncAnswer = FsyncAnswer::failure;
        install({});
    };
    EXPECT_EXIT(installOnFailingDisk(), ExitedWithCode(1), "");
    expectNothingExecuted("No such file or directory");
    EXPECT_TRUE(std::filesystem::is_empty("/usr/local/repost"));
}

TEST_F(UpdateInstallation, EarlierScriptThatCannotBeRemovedIsNotExecuted) {
    // What is mounted on cannot be removed or replaced, and can be executed.
    ASSERT_EQ(mount(script, script, nullptr, MS_BIND, nullptr), 0);
    EXPECT_EXIT(install({package("1.0.0.9/A.pkg")}), ExitedWithCode(1), "");
    expectNothingExecuted("Not a directory");
    EXPECT_EQ(readText(script), earlierScript);
}

TEST_F(UpdateInstallation, EarlierScriptOnAReadOnlyDiskIsNotExecuted) {
    mountScriptFolder("");
    leaveEarlierScript();
    ASSERT_EQ(mount(nullptr, "/usr/local/repost", nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    EXPECT_EXIT(install({package("1.0.0.9/A.pkg")}), ExitedWithCode(1), "");
    expectNothingExecuted("Not a directory");
    EXPECT_EQ(readText(script), earlierScript);
}

// --- a script that is written anew

// One of an earlier run may still be read by the shell that runs it.
TEST_F(UpdateInstallation, EarlierScriptIsReplacedAndNotRewritten) {
    std::filesystem::create_hard_link(script, "/usr/local/repost/earlier.sh");
    EXPECT_EXIT(install({}), ExitedWithCode(1), "");
    EXPECT_EQ(readText("/usr/local/repost/earlier.sh"), earlierScript);
    EXPECT_EQ(readText(scriptKept), header + closing);
}

TEST_F(UpdateInstallation, LinksInTheScriptsPlacesAreNotFollowed) {
    writeText("/tmp/one", "one");
    writeText("/tmp/two", "two");
    std::filesystem::remove(script);
    std::filesystem::create_symlink("/tmp/one", script);
    std::filesystem::create_symlink("/tmp/two", "/usr/local/repost/installer.sh.new");
    EXPECT_EXIT(install({}), ExitedWithCode(1), "");
    EXPECT_EQ(readText("/tmp/one"), "one");
    EXPECT_EQ(readText("/tmp/two"), "two");
    EXPECT_EQ(readText(scriptKept), header + closing);
    EXPECT_EQ(readText("/usr/local/Brovik/ProductConfig.xml"), "the new configuration");
}

// A daemon that a branding package starts would keep the script from being executed by it.
TEST_F(UpdateInstallation, BrandingPackagesDoNotInheritTheScript) {
    // The real one closes what it inherits.
    writeText("/usr/bin/sudo", "#!/bin/bash\nexec \"$@\"\n");
    writeText("/usr/local/bin/installer", "#!/bin/bash\nls -l /proc/self/fd >>/tmp/descriptors\n");
    EXPECT_EXIT(install({package("1.0.0.9/DynamicBranding.pkg")}), ExitedWithCode(1), "");
    EXPECT_THAT(readText("/tmp/descriptors"), testing::HasSubstr("/proc/"));
    EXPECT_THAT(readText("/tmp/descriptors"), testing::Not(testing::HasSubstr("/usr/local/repost")));
}

TEST(InstallerScript, IsTheTextOfTheOrderedPackages) {
    EXPECT_EQ(installerScript({"/p/B.pkg", "/p/A.pkg"}),
              header + packageLines("/p/B.pkg") + packageLines("/p/A.pkg") + closing);
    EXPECT_EQ(installerScript({}), header + closing);
}

// --- a run that ends otherwise

TEST_F(UpdateInstallation, ScriptThatSudoDoesNotMakeExecutableIsNotRun) {
    // Without sudo nothing makes it executable, and nobody looks at that.
    std::filesystem::remove("/usr/bin/sudo");
    EXPECT_EXIT(install({}), ExitedWithCode(1), "");
    EXPECT_THAT(traceMessages().back(), "ERROR: execl failed ! Error: Permission denied \n");
}

TEST_F(UpdateInstallation, FailedForkGivesZeroAndLeavesTheScript) {
    const auto installWithoutFork = [] {
        forkAnswer = ForkAnswer::failure;
        install({});
    };
    EXPECT_EXIT(installWithoutFork(), ExitedWithCode(100), "");
    EXPECT_THAT(traceMessages(), ElementsAre(starts, readsOrder, installs, "Fork Failed\n"));
    EXPECT_EQ(readText(script), header + closing);
    EXPECT_EQ(readText("/usr/local/Brovik/ProductConfig.xml"), "the old configuration");
}

TEST_F(UpdateInstallation, InterruptedWaitEndsWithStatusZero) {
    // The installer interrupts the updater until it is gone, so at least once while it waits.
    writeText("/usr/local/bin/installer",
              "#!/bin/bash\n"
              "updater=$(</tmp/updater)\n"
              "while kill -USR1 $updater && ! grep -q 'State:.Z' /proc/$updater/status\n"
              "do :; done 2>/dev/null\n");
    const std::string path = package("1.0/A.pkg");
    const auto installInterrupted = [&path] {
        struct sigaction ignoring {};
        ignoring.sa_handler = [](int) {};
        EXPECT_EQ(sigaction(SIGUSR1, &ignoring, nullptr), 0);
        writeText("/tmp/updater", std::to_string(getpid()));
        install({path});
    };
    EXPECT_EXIT(installInterrupted(), ExitedWithCode(0), "");
}

TEST_F(UpdateInstallation, OtherFailureOfTheWaitIsToldAndWaitedOn) {
    const auto installWithFailingWait = [] {
        waitAnswer = WaitAnswer::failureFirst;
        install({});
    };
    EXPECT_EXIT(installWithFailingWait(), ExitedWithCode(1), "");
    // The two processes write in either order.
    EXPECT_THAT(traceText(), testing::HasSubstr(" : Error Invalid argument\n"));
    EXPECT_FALSE(std::filesystem::exists(script));
}

TEST_F(UpdateInstallation, ExeclThatReturnsAnythingElseRemovesTheRepostFolder) {
    const auto installWithoutExec = [] {
        execlAnswer = ExeclAnswer::returnsZero;
        install({});
    };
    EXPECT_EXIT(installWithoutExec(), ExitedWithCode(1), "");
    EXPECT_FALSE(std::filesystem::exists("/usr/local/repost"));
    EXPECT_TRUE(std::filesystem::exists("/usr/local/Brovik/TempDownload"));
    EXPECT_THAT(traceMessages(), ElementsAre(starts, readsOrder, installs, executes));
}

TEST_F(UpdateInstallation, ExceptionIsAnErrorLineAndEndsTheProcess) {
    const auto installWithoutMemory = [] {
        downloadManagerTraceFlagvalue = Trace::errorLevel;
        UpdateManager updateManager;
        Texts packages;
        const FailingAllocation failingAllocation(0);
        endWith(updateManager.installUpdatePackages(std::move(packages)));
    };
    EXPECT_EXIT(installWithoutMemory(), ExitedWithCode(1), "");
    EXPECT_THAT(traceMessages(), ElementsAre("ERROR: Caught Exception - Installation Failed\n"));
    EXPECT_TRUE(std::filesystem::is_empty("/usr/local/repost"));
}

TEST_F(UpdateInstallation, LinesAreInfoLines) {
    const auto installQuietly = [] {
        downloadManagerTraceFlagvalue = 4;
        install({});
    };
    EXPECT_EXIT(installQuietly(), ExitedWithCode(1), "");
    EXPECT_EQ(traceText(), "");
}

} // namespace

// --- a rewrite that fails
// ---------------------------------------------------------------------------------------

namespace {
bool rewriteFails = false;
}

// LibXmlWrapper::UpdateNodeWithValue; the file would have to vanish between two steps for it to fail.
// NOLINTBEGIN(bugprone-reserved-identifier): the names that the linker's --wrap asks for
extern "C" int __real__ZN13LibXmlWrapper19UpdateNodeWithValueEPKcS1_S1_(const char *, const char *,
                                                                        const char *);
extern "C" int __wrap__ZN13LibXmlWrapper19UpdateNodeWithValueEPKcS1_S1_(const char *, const char *,
                                                                        const char *);
extern "C" int __wrap__ZN13LibXmlWrapper19UpdateNodeWithValueEPKcS1_S1_(const char *path, const char *xpath,
                                                                        const char *value) {
    if (rewriteFails)
        return -1;
    return __real__ZN13LibXmlWrapper19UpdateNodeWithValueEPKcS1_S1_(path, xpath, value);
}
// NOLINTEND(bugprone-reserved-identifier)

TEST(ProductConfiguration, FailedRewriteIsAnErrorAndStillCalledUpdated) {
    writeText("/tmp/ProductConfig.xml", "<ProductConfiguration><A>1</A></ProductConfiguration>");
    DownloadController::getInstance();
    rewriteFails = true;
    EXPECT_EQ(UpdateManager().updateProductConfigXml("/tmp/ProductConfig.xml", "A", "2"), -1);
    EXPECT_THAT(traceMessages(),
                ElementsAre("INFO: Updating Productconfig.xml with A element and its value 2 .\n",
                            "ERROR: Update Productconfig.xml with A element and its value 2 Failed !\n",
                            "INFO: Updated Productconfig.xml with A element and its value 2 .\n"));
}
