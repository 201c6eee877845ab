// What somebody else puts into the two folders that are open to everybody, /tmp and /private/tmp, before the
// engine or while it works.

#include <array>
#include <chrono>
#include <filesystem>
#include <functional>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "Background.h"
#include "ExpectedTrace.h"
#include "Job.h"
#include "Observed.h"
#include "OtherUsers.h"
#include "Paths.h"
#include "Release.h"
#include "TextFile.h"
#include "Updater.h"

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

const Packages packages = {{"One.pkg", someBytes(5000)}, {"Two.pkg", someBytes(20000)}};

// A file of root's that nobody else may read. Its lines would be commands, in a list.
const std::string victim = "/srv/victim/secret";
const std::string secret = "/x.pkg;touch${IFS}/srv/harmed\nsecret text of root's\n";

std::string asNobody(const std::string &script) {
    const Ended ended =
        run({"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", "bash", "-euc", script});
    if (ended.status != 0)
        throw std::runtime_error(script + ": " + ended.err);
    return ended.out;
}

void bindSocket(const std::string &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const int listening = socket(AF_UNIX, SOCK_STREAM, 0);
    const auto *name = reinterpret_cast<const sockaddr *>(&address);
    ASSERT_EQ(bind(listening, name, sizeof address), 0);
    ASSERT_EQ(close(listening), 0);
    ASSERT_EQ(lchown(path.c_str(), 65534, 65534), 0);
}

struct Plant {
    const char *name;
    void (*put)(const std::string &path);
};

// Those that a whole job is run for come first. A hard link to a file of root's is made by root here: not
// every system keeps users from making one.
constexpr std::size_t forJobs = 7;
const std::array<Plant, 12> plants = {{
    {"a link to root's file", [](const std::string &path) { asNobody("ln -s " + victim + " " + path); }},
    {"a link to nothing", [](const std::string &path) { asNobody("ln -s /srv/victim/new " + path); }},
    {"a hard link to root's file",
     [](const std::string &path) {
         shell("umask 077; cp " + victim + " " + path + ".roots; ln -f " + path + ".roots " + path);
     }},
    {"a FIFO", [](const std::string &path) { asNobody("mkfifo -m 666 " + path); }},
    {"a file of root's that all may write",
     [](const std::string &path) {
         writeText(path, "/tmp/x.pkg;touch /srv/harmed\n");
         shell("chmod 666 " + path);
     }},
    {"a huge file", [](const std::string &path) { asNobody("truncate -s 64G " + path); }},
    {"a socket", bindSocket},
    {"a link to the configuration",
     [](const std::string &path) { asNobody("ln -s " + prodConfigXml + " " + path); }},
    {"a link to a folder", [](const std::string &path) { asNobody("ln -s /srv/victim " + path); }},
    {"a link to itself", [](const std::string &path) { asNobody("ln -s " + path + " " + path); }},
    {"a file of theirs",
     [](const std::string &path) { asNobody("echo '/tmp/x.pkg;touch /srv/harmed' >" + path); }},
    {"a file of theirs that all may write",
     [](const std::string &path) { asNobody("umask 0; echo /tmp/x.pkg >" + path); }},
}};

void forEachPlant(std::size_t count, const std::function<void(const Plant &)> &body) {
    for (std::size_t i = 0; i < count; ++i) {
        SCOPED_TRACE(plants.at(i).name);
        body(plants.at(i));
    }
}

class Planted : public testing::Test {
protected:
    void SetUp() override {
        if (!hasOtherUsers())
            GTEST_SKIP() << noOtherUsers;
        shell("chmod 1777 /tmp /private/tmp; mkdir -m 755 /srv/victim; umask 077; touch " + victim);
        writeText(victim, secret);
        m_configuration = readText(prodConfigXml);
        m_traced = 0;
    }

    // Root's files are as they were, and nothing of theirs was told to anybody.
    void expectNoHarm(const Ended &ended) {
        EXPECT_EQ(readText(victim), secret);
        EXPECT_TRUE(sameFiles({{"secret", secret}}, filesBelow("/srv/victim")));
        EXPECT_FALSE(std::filesystem::exists("/srv/harmed"));
        EXPECT_EQ(readText(prodConfigXml), m_configuration);
        EXPECT_EQ(shell("stat -c '%a %U' " + victim + " " + prodConfigXml), "600 root\n644 root\n");
        EXPECT_THAT(readText(traceLogPath) + ended.out + ended.err, Not(HasSubstr("secret text")));
        for (const std::string &request : updateRequests())
            EXPECT_THAT(request, Not(HasSubstr("secret text")));
    }

    // What the last run wrote.
    std::string newTranscript() {
        const std::string all = transcript();
        const std::string added = all.substr(m_traced);
        m_traced = all.size();
        return added;
    }

    Ended runWithin(const std::vector<std::string> &command) {
        Program program(command);
        EXPECT_TRUE(program.endsWithin(std::chrono::seconds(30)));
        return program.endsWithin(std::chrono::seconds(0)) ? program.wait() : Ended();
    }

    std::string m_configuration;
    std::size_t m_traced = 0;
};

using PlantedList = Planted;
using PlantedPropertyList = Planted;
using PlantedScratchFolder = Planted;

TEST_F(PlantedList, IsNeverInstalledFrom) {
    forEachPlant(plants.size(), [this](const Plant &plant) {
        plant.put(packageListPath);
        const Ended ended = runWithin(installCommand);
        EXPECT_EQ(ended.status, 0);
        EXPECT_EQ(newTranscript(), tracedStart("Install") + ">No Updates available\n" + tracedEnd);
        EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(packageListPath)));
        EXPECT_FALSE(std::filesystem::exists(installerScriptPath));
        expectNoHarm(ended);
    });
    // A folder can only be refused.
    asNobody(std::string("mkdir ") + packageListPath + "; touch " + packageListPath + "/theirs");
    const Ended ended = runWithin(installCommand);
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(newTranscript(), tracedStart("Install") + ">No Updates available\n" + tracedEnd);
    EXPECT_TRUE(std::filesystem::exists(packageListPath + std::string("/theirs")));
    expectNoHarm(ended);
}

TEST_F(PlantedList, IsReplacedByTheOneOfACheck) {
    offerPackages(updateByHttps, packages);
    forEachPlant(forJobs, [this](const Plant &plant) {
        plant.put(packageListPath);
        const Ended ended = runWithin(commandOf(updateByHttps));
        EXPECT_EQ(ended.status, 0);
        EXPECT_TRUE(isComplete(updateByHttps, ended, packages));
        EXPECT_EQ(shell(std::string("stat -c '%F %a %U %h' ") + packageListPath),
                  "regular file 644 root 1\n");
        expectNoHarm(ended);
        std::filesystem::remove(packageListPath);
    });
}

TEST_F(PlantedList, RefusesACheckWhereAFolderStands) {
    offerPackages(updateByHttps, packages);
    asNobody(std::string("mkdir ") + packageListPath);
    const Ended first = runWithin(commandOf(updateByHttps));
    EXPECT_EQ(first.status, 0);
    EXPECT_THAT(transcript(), HasSubstr(">ERROR: Not able to write the package list\n" + tracedEnd));
    EXPECT_FALSE(std::filesystem::exists(waitingMarker));
    EXPECT_TRUE(std::filesystem::is_directory(packageListPath));
    expectNoHarm(first);

    std::filesystem::remove(packageListPath);
    EXPECT_TRUE(isComplete(updateByHttps, runJob(updateByHttps), packages));
}

TEST_F(PlantedPropertyList, IsNeitherFollowedNorWaitedFor) {
    offerPackages(freshInstallByHttps, packages);
    forEachPlant(forJobs, [this](const Plant &plant) {
        std::filesystem::remove(configurationPlistPath);
        plant.put(configurationPlistPath);
        const Ended ended = runWithin(commandOf(freshInstallByHttps));
        EXPECT_TRUE(isComplete(freshInstallByHttps, ended, packages));
        EXPECT_THAT(updateRequests().back(), HasSubstr("<affid>0</affid>")) << "the default";
        EXPECT_THAT(transcript(), HasSubstr(">INFO: Version and Build no Updated to plist successfully\n"));
        EXPECT_THAT(readText(configurationPlistPath), HasSubstr("<key>BuildInfo</key>"));
        expectNoHarm(ended);
    });
}

TEST_F(PlantedPropertyList, LeavesAFolderAndSaysSo) {
    offerPackages(freshInstallByHttps, packages);
    std::filesystem::remove(configurationPlistPath);
    asNobody(std::string("mkdir ") + configurationPlistPath);
    const Ended ended = runWithin(commandOf(freshInstallByHttps));
    EXPECT_TRUE(isComplete(freshInstallByHttps, ended, packages));
    EXPECT_THAT(transcript(), HasSubstr(">ERROR: Version and Build no Updated to plist Failed !\n"));
    expectNoHarm(ended);

    std::filesystem::remove(configurationPlistPath);
    EXPECT_TRUE(isComplete(freshInstallByHttps, runJob(freshInstallByHttps), packages));
    EXPECT_THAT(readText(configurationPlistPath), HasSubstr("<key>BuildInfo</key>"));
}

// A readable list of another user's is taken for the installer's (kept): it decides which product is asked
// for.
TEST_F(PlantedPropertyList, OfAnotherUserIsTakenForTheInstallers) {
    offerPackages(freshInstallByHttps, packages);
    std::filesystem::remove(configurationPlistPath);
    asNobody("echo '<plist version=\"1.0\"><dict><key>AffID</key><string>666</string><key>Mine</key><true/>"
             "</dict></plist>' >" +
             std::string(configurationPlistPath));
    const Ended ended = runWithin(commandOf(freshInstallByHttps));
    EXPECT_TRUE(isComplete(freshInstallByHttps, ended, packages));
    EXPECT_THAT(updateRequests().back(), HasSubstr("<affid>666</affid>"));
    EXPECT_THAT(readText(configurationPlistPath), HasSubstr("<key>Mine</key>"));
    EXPECT_EQ(shell(std::string("stat -c %U ") + configurationPlistPath), "nobody\n");
    expectNoHarm(ended);
}

// The script removes the folder of that name; what links in it lead to stays.
TEST_F(PlantedScratchFolder, IsRemovedAndNotWhatItsLinksLeadTo) {
    const std::string folder = updateScratchFolder;
    asNobody("mkdir -p " + folder + "/a/b; ln -s /srv/victim " + folder + "/folder; ln -s " + victim + " " +
             folder + "/a/file; mkfifo " + folder + "/a/fifo");
    shell("ln " + victim + " " + folder + "/hard");
    offerPackages(updateByHttps, {{"One.pkg", packed({{"/opt/installed/One.pkg", "installed"}})}});
    EXPECT_EQ(runWithin(commandOf(updateByHttps)).status, 0);
    EXPECT_EQ(runWithin(installCommand).status, 1);
    EXPECT_EQ(readText("/opt/installed/One.pkg"), "installed");
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(folder)));
    EXPECT_TRUE(sameFiles({{"secret", secret}}, filesBelow("/srv/victim")));
}

// Puts links, FIFOs and files of its own under a name, one after the other, as fast as it can. The name is
// there all the time but for what the engine removes.
class Racer {
public:
    explicit Racer(const std::string &path)
        : m_path(path)
        , m_program({"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", "bash", "-c",
                     "f=" + path + "; while :; do ln -s " + victim + " $f.1; mv -Tf $f.1 $f; ln -s " +
                         prodConfigXml +
                         " $f.1; mv -Tf $f.1 $f; echo /tmp/x.pkg >$f.1; mv -Tf $f.1 $f; mkfifo $f.1; mv -Tf "
                         "$f.1 $f; done"}) {
        waitForPlant();
    }
    void waitForPlant() const {
        ASSERT_TRUE(
            comesTrue([this] { return std::filesystem::exists(std::filesystem::symlink_status(m_path)); }));
    }

private:
    std::string m_path;
    Program m_program;
};

class RacedList : public Planted {
protected:
    void installManyTimes(int runs) {
        const Racer racer(packageListPath);
        for (int i = 0; i < runs; ++i) {
            racer.waitForPlant();
            const Ended ended = runWithin(installCommand);
            ASSERT_EQ(ended.status, 0);
            ASSERT_EQ(newTranscript(), tracedStart("Install") + ">No Updates available\n" + tracedEnd);
        }
        expectNoHarm({});
    }
    void checkManyTimes(int runs) {
        offerPackages(updateByHttps, packages);
        const Racer racer(packageListPath);
        for (int i = 0; i < runs; ++i)
            ASSERT_EQ(runWithin(commandOf(updateByHttps)).status, 0);
        expectNoHarm({});
    }
};

TEST_F(RacedList, IsNeverInstalledFrom) {
    installManyTimes(25);
}

TEST_F(RacedList, LeadsNoCheckToAnotherFile) {
    checkManyTimes(4);
}

TEST_F(RacedList, LongNeverInstalledFrom) {
    installManyTimes(500);
}

TEST_F(RacedList, LongLeadsNoCheckToAnotherFile) {
    checkManyTimes(200);
}

class RacedPropertyList : public Planted {
protected:
    void installManyTimes(int runs) {
        offerPackages(freshInstallByHttps, packages);
        std::filesystem::remove(configurationPlistPath);
        const Racer racer(configurationPlistPath);
        for (int i = 0; i < runs; ++i) {
            const Ended ended = runWithin(commandOf(freshInstallByHttps));
            ASSERT_TRUE(isComplete(freshInstallByHttps, ended, packages));
        }
        expectNoHarm({});
    }
};

TEST_F(RacedPropertyList, LeadsToNoOtherFile) {
    installManyTimes(3);
}

TEST_F(RacedPropertyList, LongLeadsToNoOtherFile) {
    installManyTimes(100);
}

} // namespace
