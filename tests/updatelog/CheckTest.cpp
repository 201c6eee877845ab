// "updatelog check", installed: each way in which a machine can be unfit is made so, is found, and nothing
// else is; and looking changes nothing.
#include <algorithm>
#include <cctype>
#include <csignal>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <spawn.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Background.h"
#include "Check.h"
#include "OtherUsers.h"
#include "Paths.h"
#include "Program.h"
#include "SmallDisk.h"
#include "TextFile.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string installed = "/usr/local/Brovik/qrn";
const std::string program = installed + "/bin/updatelog";
const std::string service = "update.brovik.example";

// --- running it

// That of whoever runs the tests may lead anywhere.
class SystemsPath : public testing::Environment {
    void SetUp() override {
        setenv("PATH", "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin",
               1); // NOLINT(concurrency-mt-unsafe)
    }
};

testing::Environment *const systemsPath = testing::AddGlobalTestEnvironment(new SystemsPath); // it is gtest's

// A file that stands nowhere: neither a shell nor a folder is needed, which a test may have taken away.
class OutputFile {
public:
    OutputFile()
        : m_descriptor(memfd_create("output", MFD_CLOEXEC)) {}
    ~OutputFile() { close(m_descriptor); }
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;

    int descriptor() const { return m_descriptor; }
    std::string text() const {
        std::string text(static_cast<std::size_t>(lseek(m_descriptor, 0, SEEK_END)), '\0');
        EXPECT_EQ(pread(m_descriptor, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
        return text;
    }

private:
    int m_descriptor;
};

Ended runQuietly(std::vector<std::string> command) {
    const OutputFile out;
    const OutputFile err;
    posix_spawn_file_actions_t streams;
    posix_spawn_file_actions_init(&streams);
    posix_spawn_file_actions_addopen(&streams, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&streams, out.descriptor(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&streams, err.descriptor(), STDERR_FILENO);
    std::vector<char *> words;
    for (std::string &word : command)
        words.push_back(word.data());
    words.push_back(nullptr);
    pid_t process = 0;
    const int error = posix_spawnp(&process, words.front(), &streams, nullptr, words.data(), environ);
    posix_spawn_file_actions_destroy(&streams);
    if (error != 0)
        throw std::runtime_error("the test cannot start " + command.front());
    int status = 0;
    if (waitpid(process, &status, 0) != process)
        throw std::runtime_error("the test cannot wait for " + command.front());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), out.text(), err.text()};
}

Ended check(const std::vector<std::string> &options = {}, std::vector<std::string> before = {}) {
    before.insert(before.end(), {program, "check"});
    before.insert(before.end(), options.begin(), options.end());
    return runQuietly(before);
}

std::vector<std::string> idsOf(const Ended &ended) {
    std::vector<std::string> ids;
    const nlohmann::json told = nlohmann::json::parse(ended.out);
    for (const nlohmann::json &finding : told.at("findings"))
        ids.push_back(finding.at("id"));
    return ids;
}

// --- what it must not change

// Where the engine has anything, and where its tools or their libraries might.
const std::vector<std::string> engineFolders = {"/private",          "/System",           "/tmp",
                                                "/usr/local/Brovik", "/usr/local/repost", "/var/log",
                                                "/var/run/",         "/var/lib/sudo"};
// Other programs of the machine outside change what else there is.
const std::vector<std::string> allFolders = {"/etc",       "/private", "/System",   "/tmp",
                                             "/usr/local", "/var/log", "/var/run/", "/var/lib/sudo"};

// Everything that stands there.
std::map<std::string, std::string> treeOf(const std::vector<std::string> &folders) {
    std::map<std::string, std::string> tree;
    const auto add = [&tree](const fs::path &path) {
        struct stat status {};
        if (lstat(path.c_str(), &status) != 0)
            return;
        const auto timeOf = [](const auto &time) {
            return std::to_string(time.tv_sec) + "." + std::to_string(time.tv_nsec);
        };
        tree[path] = std::to_string(status.st_mode) + " " + std::to_string(status.st_uid) + " " +
                     std::to_string(status.st_size) + " " + timeOf(status.st_mtim);
        // A folder's is also set by the sealed machine's file system, when it is read for the first time.
        if (!S_ISDIR(status.st_mode))
            tree[path] += " " + std::to_string(status.st_nlink) + " " + timeOf(status.st_ctim);
    };
    for (const std::string &folder : folders) {
        add(folder);
        std::error_code ignored;
        for (const fs::directory_entry &entry :
             fs::recursive_directory_iterator(folder, fs::directory_options::skip_permission_denied, ignored))
            add(entry.path());
    }
    return tree;
}

// The paths that are another way than they were, are new, or are gone.
std::vector<std::string> changedSince(const std::map<std::string, std::string> &before,
                                      const std::vector<std::string> &folders) {
    const std::map<std::string, std::string> now = treeOf(folders);
    std::vector<std::string> changed;
    for (const auto &[path, status] : now)
        if (before.count(path) == 0 || before.at(path) != status)
            changed.push_back(path);
    for (const auto &entry : before)
        if (now.count(entry.first) == 0)
            changed.push_back(entry.first);
    return changed;
}

// --- making a machine unfit

// Whatever is held undoes what was done when it goes away.
using Held = std::shared_ptr<void>;

Held undoneBy(std::function<void()> undo) {
    return {nullptr, [undo = std::move(undo)](void *) { undo(); }};
}

Held both(const Held &first, const Held &second) {
    return std::make_shared<std::pair<Held, Held>>(first, second);
}

// A tool's name, or a path.
std::string pathOf(const std::string &name) {
    if (name.front() == '/')
        return fs::canonical(fs::path(name).parent_path()) / fs::path(name).filename();
    const std::string found = shell("command -v " + name);
    return pathOf(found.substr(0, found.size() - 1));
}

Held missing(const std::string &name) {
    const std::string path = pathOf(name);
    fs::rename(path, path + "-aside");
    return undoneBy([path] {
        fs::remove_all(path);
        fs::rename(path + "-aside", path);
    });
}

Held madeFolder(const std::string &path) {
    fs::create_directories(path);
    return undoneBy([path] { fs::remove_all(path); });
}

Held madeFile(const std::string &path, const std::string &text = "") {
    fs::create_directories(fs::path(path).parent_path());
    writeText(path, text);
    fs::permissions(path, fs::perms(0644));
    return undoneBy([path] { fs::remove_all(path); });
}

Held changedTo(const std::string &path, const std::string &text) {
    const std::string before = readText(path);
    writeText(path, text);
    return undoneBy([path, before] { writeText(path, before); });
}

Held withMode(const std::string &path, unsigned mode) {
    const fs::perms before = fs::status(path).permissions();
    fs::permissions(path, fs::perms(mode));
    return undoneBy([path, before] { fs::permissions(path, before); });
}

Held scriptAt(const std::string &name, const std::string &line) {
    const std::string path = pathOf(name);
    const Held held = missing(path);
    replaceProgram(path, "#!/bin/bash\n" + line + "\n");
    return held;
}

Held disk(const std::string &folder, const std::string &options, unsigned long flags = 0) {
    return std::make_shared<SmallDisk>(folder, options, flags);
}

Held limited(decltype(RLIMIT_NOFILE) resource, rlim_t value) {
    rlimit before{};
    getrlimit(resource, &before);
    const rlimit lower = {value, before.rlim_max};
    EXPECT_EQ(setrlimit(resource, &lower), 0);
    return undoneBy([resource, before] { setrlimit(resource, &before); });
}

// As a check leaves it.
const std::string waitingPackage = packageDirectory() + "/1.0.1.0/One.pkg";

Held waitingUpdate() {
    const Held downloads = madeFolder(keyCoreDownloadCache);
    fs::create_directories(fs::path(waitingPackage).parent_path());
    writeText(waitingPackage, "package");
    fs::copy_file(prodConfigXml, updatedProdConfigXml);
    return both(both(downloads, madeFile(packageListPath, waitingPackage + "\n")),
                madeFile(updateMarkerPath));
}

Held waitingUpdateWithout(const std::string &path) {
    const Held held = waitingUpdate();
    fs::remove(path);
    return held;
}

Held linkedTwice() {
    const Held held = waitingUpdate();
    fs::create_hard_link(packageListPath, "/tmp/another-name");
    return both(undoneBy([] { fs::remove("/tmp/another-name"); }), held);
}

Held linkInPlaceOf(const std::string &path) {
    const Held held = missing(path);
    fs::create_symlink(path + "-aside", path);
    return held;
}

Held lockedByAnother() {
    const int file = open(jobLockPath, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    EXPECT_EQ(flock(file, LOCK_EX), 0);
    return undoneBy([file] {
        close(file);
        fs::remove(jobLockPath);
    });
}

Held pipeAt(const std::string &path) {
    EXPECT_EQ(mkfifo(path.c_str(), 0644), 0);
    return undoneBy([path] { fs::remove(path); });
}

Held pipeInPlaceOf(const std::string &path) {
    const Held held = missing(path);
    EXPECT_EQ(mkfifo(path.c_str(), 0644), 0);
    return held;
}

Held ownedByAnother(const std::string &path) {
    EXPECT_EQ(chown(path.c_str(), 65534, 65534), 0);
    return undoneBy([path] { EXPECT_EQ(chown(path.c_str(), 0, 0), 0); });
}

std::string configurationWith(const std::string &from, const std::string &to) {
    std::string text = readText(prodConfigXml);
    const std::size_t at = text.find(from);
    if (at == std::string::npos)
        throw std::runtime_error("the product's configuration has no " + from);
    return text.replace(at, from.size(), to);
}

Held withVariable(const std::string &name, const std::string &value) {
    const char *const before = getenv(name.c_str()); // NOLINT(concurrency-mt-unsafe)
    setenv(name.c_str(), value.c_str(), 1);          // NOLINT(concurrency-mt-unsafe)
    if (before == nullptr)
        return undoneBy([name] { unsetenv(name.c_str()); }); // NOLINT(concurrency-mt-unsafe)
    return undoneBy([name, was = std::string(before)] {
        setenv(name.c_str(), was.c_str(), 1); // NOLINT(concurrency-mt-unsafe)
    });
}

Held pathWith(const std::string &first) {
    return withVariable("PATH", first + getenv("PATH")); // NOLINT(concurrency-mt-unsafe)
}

Held sharedFolder(const std::string &path) {
    const Held held = madeFolder(path);
    fs::permissions(path, fs::perms(0777));
    return held;
}

Held applicationIs(const std::string &id) {
    return changedTo(prodConfigXml, configurationWith("quaformac", id));
}

Held askedSubscription() {
    return madeFile(appIdMarkerPath);
}

// --- what is found

struct Unfit {
    const char *id;
    const char *how;
    Held (*make)();
};

void PrintTo(const Unfit &unfit, std::ostream *out) {
    *out << unfit.id << ", " << unfit.how;
}

const std::string markerFolder = installed + "/var";

const std::vector<Unfit> &unfitMachines() {
    static const std::vector<Unfit> all = {
        {"others-may-write", "Folder", [] { return withMode(markerFolder, 0757); }},
        {"others-may-write", "Tool", [] { return withMode(hashToolPath, 0775); }},
        {"others-may-write", "FolderAround", [] { return withMode("/usr/local", 0775); }},
        {"others-may-write", "WaitingPackage",
         [] {
             const Held held = waitingUpdate();
             fs::permissions(waitingPackage, fs::perms(0666));
             return held;
         }},
        {"others-may-write", "FolderOfTheWaitingPackage",
         [] {
             const Held held = waitingUpdate();
             fs::permissions(fs::path(waitingPackage).parent_path(), fs::perms(0777));
             return held;
         }},
        {"path-others-may-write", "Writable",
         [] { return both(pathWith("/tmp/tools:"), sharedFolder("/tmp/tools")); }},
        {"path-others-may-write", "Here", [] { return pathWith(":"); }},
        {"path-others-may-write", "Relative", [] { return pathWith("tools:"); }},
        {"variable-decides", "Bash", [] { return withVariable("BASH_ENV", "/tmp/of-bash"); }},
        {"variable-decides", "Keys", [] { return withVariable("SSLKEYLOGFILE", "/tmp/keys"); }},

        {"downloads-blocked", "File", [] { return madeFile(keyCoreDownloadCache); }},
        {"downloads-unwritable", "ReadOnly",
         [] {
             const Held folder = madeFolder(keyCoreDownloadCache);
             return both(folder, disk(keyCoreDownloadCache, "mode=755", MS_RDONLY));
         }},
        {"prepared-configuration-is-a-folder", "Folder",
         [] {
             const Held downloads = madeFolder(keyCoreDownloadCache);
             return both(madeFolder(updatedProdConfigXml), downloads);
         }},
        {"configuration-unwritable", "ReadOnly",
         [] {
             shell("mount --bind " + prodConfigXml + " " + prodConfigXml + " && mount -o remount,ro,bind " +
                   prodConfigXml);
             return undoneBy([] { shell("umount " + prodConfigXml); });
         }},
        {"script-folder-missing", "Missing",
         [] {
             fs::remove(installerScriptFolder);
             return undoneBy([] { fs::create_directory(installerScriptFolder); });
         }},
        {"script-folder-unwritable", "ReadOnly",
         [] { return disk(installerScriptFolder, "mode=755", MS_RDONLY); }},
        {"script-is-a-folder", "Script", [] { return madeFolder(installerScriptPath); }},
        {"script-is-a-folder", "Draft", [] { return madeFolder(newInstallerScriptPath); }},
        {"log-unwritable", "ReadOnly", [] { return disk("/var/log", "mode=755", MS_RDONLY); }},
        {"log-is-no-file", "Folder", [] { return madeFolder(traceLogPath); }},
        {"log-is-no-file", "Pipe", [] { return pipeAt(traceLogPath); }},
        {"lock-unwritable", "ReadOnly", [] { return disk("/var/run", "mode=755", MS_RDONLY); }},
        {"lock-unwritable", "ReadOnlyWithItsFile",
         [] {
             const auto small = std::make_shared<SmallDisk>("/var/run", "mode=755");
             writeText(jobLockPath, "");
             small->change("mode=755", MS_RDONLY);
             return Held(small);
         }},
        {"lock-is-no-file", "Folder", [] { return madeFolder(jobLockPath); }},
        {"lock-is-no-file", "Link",
         [] {
             fs::create_symlink("/var/run/elsewhere", jobLockPath);
             return undoneBy([] { fs::remove(jobLockPath); });
         }},
        {"list-unwritable", "ReadOnly", [] { return disk("/tmp", "", MS_RDONLY); }},
        {"list-is-a-folder", "Folder", [] { return madeFolder(packageListPath); }},
        {"marker-unwritable", "ReadOnly", [] { return disk(markerFolder, "mode=755", MS_RDONLY); }},
        {"property-list-unwritable", "ReadOnly", [] { return disk("/private/tmp", "", MS_RDONLY); }},
        {"property-list-is-a-folder", "Folder",
         [] {
             const Held held = missing(configurationPlistPath);
             fs::create_directory(configurationPlistPath);
             return held;
         }},

        {"shell-fails", "Missing", [] { return missing("/bin/sh"); }},
        {"bash-missing", "Missing", [] { return missing("/bin/bash"); }},
        {"hash-tool-missing", "Missing", [] { return missing(hashToolPath); }},
        {"hash-tool-missing", "NotExecutable", [] { return withMode(hashToolPath, 0644); }},
        {"awk-missing", "Missing", [] { return missing("awk"); }},
        {"hash-wrong", "SaysNothing", [] { return scriptAt(hashToolPath, "exit 1"); }},
        {"hash-wrong", "SaysAnother", [] { return scriptAt(hashToolPath, "echo 00"); }},
        {"sudo-missing", "Missing", [] { return missing("sudo"); }},
        {"sudo-refuses", "Refuses", [] { return scriptAt("sudo", "exit 1"); }},
        {"mkdir-missing", "Missing", [] { return missing("mkdir"); }},
        {"touch-missing", "Missing", [] { return missing("touch"); }},
        {"rm-missing", "Missing", [] { return missing("rm"); }},
        {"chmod-missing", "Missing", [] { return missing("chmod"); }},
        {"cp-missing", "Missing", [] { return missing("cp"); }},
        {"installer-missing", "Missing", [] { return missing("installer"); }},

        {"job-running", "Locked", lockedByAnother},
        {"job-running", "WithItsMarker", [] { return both(lockedByAnother(), madeFile(updateMarkerPath)); }},
        {"marker-without-list", "Alone", [] { return madeFile(updateMarkerPath); }},
        {"list-without-marker", "Alone", [] { return waitingUpdateWithout(updateMarkerPath); }},
        {"list-without-configuration", "Alone", [] { return waitingUpdateWithout(updatedProdConfigXml); }},
        {"list-not-taken", "OthersMayWrite",
         [] {
             const Held held = waitingUpdate();
             fs::permissions(packageListPath, fs::perms(0666));
             return held;
         }},
        {"list-not-taken", "SecondName", linkedTwice},
        {"list-not-taken", "Pipe", [] { return pipeAt(packageListPath); }},
        {"package-missing", "Missing", [] { return waitingUpdateWithout(waitingPackage); }},
        {"download-is-no-file", "Package",
         [] {
             return both(madeFolder(keyCoreDownloadCache),
                         madeFolder(packageDirectory() + "/1.0.1.0/One.pkg"));
         }},
        {"download-is-no-file", "Catalog",
         [] {
             const Held downloads = madeFolder(keyCoreDownloadCache);
             fs::create_directories(partnerCatalogDirectory());
             return both(downloads, pipeAt(partnerCatalogDirectory() + "/a.xml"));
         }},
        {"left-beside", "List", [] { return madeFile(std::string(packageListPath) + ".4711"); }},
        {"left-beside", "PropertyList", [] { return madeFile(std::string(configurationPlistPath) + ".1"); }},

        {"downloads-full", "Full",
         [] {
             const Held folder = madeFolder(keyCoreDownloadCache);
             return both(folder, disk(keyCoreDownloadCache, "mode=755,size=1m"));
         }},
        {"downloads-no-file-numbers", "Full",
         [] {
             const Held folder = madeFolder(keyCoreDownloadCache);
             return both(folder, disk(keyCoreDownloadCache, "mode=755,nr_inodes=5"));
         }},
        {"log-full", "Full", [] { return disk("/var/log", "mode=755,size=4096"); }},
        {"lock-no-file-numbers", "Full", [] { return disk("/var/run", "mode=755,nr_inodes=1"); }},
        {"list-full", "Full", [] { return disk("/tmp", "size=4096"); }},
        {"list-full", "NoFileNumbers", [] { return disk("/tmp", "nr_inodes=1"); }},
        {"configuration-full", "Full",
         [] {
             const Held folder = madeFolder("/srv/small");
             const Held small = both(folder, disk("/srv/small", "size=8192"));
             fs::copy_file(prodConfigXml, "/srv/small/ProductConfig.xml");
             const Held link = missing(prodConfigXml);
             fs::create_symlink("/srv/small/ProductConfig.xml", prodConfigXml);
             return both(small, link);
         }},
        {"property-list-full", "Full", [] { return disk("/private/tmp", "size=4096"); }},
        {"script-full", "Full", [] { return disk(installerScriptFolder, "mode=755,size=4096"); }},
        {"marker-no-file-numbers", "Full", [] { return disk(markerFolder, "mode=755,nr_inodes=1"); }},

        {"open-file-limit", "Soft", [] { return limited(RLIMIT_NOFILE, 100); }},
#if !defined(__SANITIZE_ADDRESS__) &&                                                                        \
    !defined(__SANITIZE_THREAD__) // which take all the address space there is
        {"memory-limit", "Soft", [] { return limited(RLIMIT_AS, 900 << 20); }},
#endif
        {"time-limit", "Soft", [] { return limited(RLIMIT_CPU, 600); }},
        {"file-size-limit", "Soft", [] { return limited(RLIMIT_FSIZE, 100 << 20); }},

        {"configuration-unreadable", "Missing", [] { return missing(prodConfigXml); }},
        {"configuration-unreadable", "Cut",
         [] { return changedTo(prodConfigXml, "<ProductConfiguration><A"); }},
        {"configuration-is-a-pipe", "Pipe", [] { return pipeInPlaceOf(prodConfigXml); }},
        {"application-unknown", "NoId", [] { return both(askedSubscription(), applicationIs("")); }},
        {"subscription-missing", "NoId", [] { return applicationIs(""); }},
        {"subscription-missing", "LeftToIt", [] { return applicationIs("quiformac"); }},
        {"setting-twice", "Twice",
         [] {
             return changedTo(prodConfigXml, configurationWith("<BuildNumber>",
                                                               "<BuildNumber>1</BuildNumber><BuildNumber>"));
         }},
        {"order-missing", "Missing", [] { return missing(dynaConfigPlistPath); }},
        {"order-missing", "Cut", [] { return changedTo(dynaConfigPlistPath, "<plist>"); }},
        {"property-list-is-no-file", "Link", [] { return linkInPlaceOf(configurationPlistPath); }},
        {"property-list-unreadable", "NoList", [] { return changedTo(configurationPlistPath, "no list"); }},
        {"property-list-of-another", "OthersMayWrite", [] { return withMode(configurationPlistPath, 0666); }},
        {"system-version-unknown", "NoList", [] { return changedTo(systemVersionPlistPath, "no list"); }},
    };
    return all;
}

// Those of the network.
Held withCertificate(const std::string &kind) {
    shell(std::string(BAD_CERTIFICATE) + " " + service + " " + kind);
    return undoneBy([] { shell(std::string(BAD_CERTIFICATE) + " " + service + " --remove"); });
}

Held withHandshake(const std::string &what) {
    return madeFile("/srv/rehearsal/service/handshakes", service + " " + what + "\n");
}

Held hostsWith(const std::string &name, const std::string &addition) {
    std::string hosts = readText("/etc/hosts");
    const std::size_t at = hosts.find(service);
    return changedTo("/etc/hosts", hosts.replace(at, service.size(), name) + addition);
}

Held withoutAuthorities() {
    return changedTo("/etc/ssl/certs/ca-certificates.crt", "none");
}

const std::vector<Unfit> &unfitNetworks() {
    static const std::vector<Unfit> all = {
        {"service-unknown", "Unknown", [] { return hostsWith("another.example", ""); }},
        {"service-unreachable", "PortClosed",
         [] { return hostsWith("another.example", "127.0.0.77 " + service + "\n"); }},
        {"proxy-unknown", "Unknown",
         [] { return withVariable("https_proxy", "http://proxy.example.invalid:1"); }},
        {"service-certificate", "NoStoreOfAuthorities", withoutAuthorities},
        {"service-certificate", "Expired", [] { return withCertificate("expired"); }},
        {"service-certificate", "OfAnother", [] { return withCertificate("wrong-name"); }},
        {"service-tls", "Old", [] { return withHandshake("tls1.0"); }},
        {"service-tls", "Closed", [] { return withHandshake("drop"); }},
        {"service-certificate-ends", "Soon", [] { return withCertificate("ends-soon"); }},
    };
    return all;
}

// Those that take their time.
const std::vector<Unfit> &slowMachines() {
    static const std::vector<Unfit> all = {
        {"hash-hangs", "Hangs", [] { return scriptAt(hashToolPath, "exec sleep 1000"); }},
        {"hash-hangs", "AwkHangs", [] { return scriptAt("awk", "exec sleep 1000"); }},
        {"sudo-hangs", "Hangs", [] { return scriptAt("sudo", "exec sleep 1000"); }},
        {"service-silent", "Silent", [] { return withHandshake("silent"); }},
        {"service-slow", "Slow",
         [] {
             const Held reply = madeFile("/srv/rehearsal/service/reply.xml", std::string(500, ' '));
             return both(reply, madeFile("/srv/rehearsal/service/script", "* * slow 25\n"));
         }},
    };
    return all;
}

void expectFoundAlone(const Unfit &unfit, const std::vector<std::string> &options) {
    const Held held = unfit.make();
    const auto before = treeOf(engineFolders);
    const Ended ended = check(options);
    EXPECT_THAT(changedSince(before, engineFolders), IsEmpty());
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.err, "");
    EXPECT_THAT(idsOf(ended), ElementsAre(unfit.id)) << ended.out;
}

class UnfitMachine : public testing::TestWithParam<Unfit> {};
class UnfitNetwork : public testing::TestWithParam<Unfit> {};
class LongUnfit : public testing::TestWithParam<Unfit> {};

TEST_P(UnfitMachine, IsFoundAndNothingElse) {
    if (std::string(GetParam().id) == "bash-missing" && !hasOtherUsers())
        GTEST_SKIP() << "the stand-in for sudo is bash's: " << noOtherUsers;
    expectFoundAlone(GetParam(), {"--json"});
}

TEST_P(UnfitNetwork, IsFoundAndNothingElse) {
    expectFoundAlone(GetParam(), {"--network", "--json"});
    EXPECT_THAT(idsOf(check({"--json"})), IsEmpty()); // unless it is asked for
}

TEST_P(LongUnfit, IsFoundAndNothingElse) {
    expectFoundAlone(GetParam(), {"--network", "--json"});
}

std::string nameOf(const testing::TestParamInfo<Unfit> &unfit) {
    std::string name;
    bool isFirst = true;
    for (const char letter : std::string(unfit.param.id)) {
        if (letter != '-')
            name += isFirst ? static_cast<char>(std::toupper(static_cast<unsigned char>(letter))) : letter;
        isFirst = letter == '-';
    }
    return name + unfit.param.how;
}

INSTANTIATE_TEST_SUITE_P(Check, UnfitMachine, testing::ValuesIn(unfitMachines()), nameOf);
INSTANTIATE_TEST_SUITE_P(Check, UnfitNetwork, testing::ValuesIn(unfitNetworks()), nameOf);
INSTANTIATE_TEST_SUITE_P(Check, LongUnfit, testing::ValuesIn(slowMachines()), nameOf);

// --- what holds for all

TEST(Check, FindsNothingOnAFitMachineAndChangesNothing) {
    const auto before = treeOf(allFolders);
    const Ended ended = check();
    EXPECT_EQ(ended.out, "Nothing is found that a run would trip over.\n");
    EXPECT_EQ(ended.err, "");
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(check({"--json"}).out, "{\"findings\":[]}\n");
    EXPECT_EQ(check({"--network"}).status, 0);
    EXPECT_THAT(changedSince(before, allFolders), IsEmpty());
}

TEST(Check, FindsNothingWhereAnUpdateWaitsToBeInstalled) {
    const Held held = waitingUpdate();
    EXPECT_THAT(idsOf(check({"--json"})), IsEmpty());
}

TEST(Check, TellsNothingOfFilesThatOnlyLookLikeThoseLeftBehind) {
    const Held held =
        both(madeFile(std::string(packageListPath) + ".old"), madeFile(std::string(packageListPath) + "."));
    EXPECT_THAT(idsOf(check({"--json"})), IsEmpty());
}

TEST(Check, FindsWhatBelongsToAnotherUser) {
    if (!hasOtherUsers())
        GTEST_SKIP() << noOtherUsers;
    {
        const Held held = ownedByAnother(prodConfigXml);
        EXPECT_THAT(idsOf(check({"--json"})), ElementsAre("others-may-write"));
    }
    const Held held = ownedByAnother(configurationPlistPath);
    EXPECT_THAT(idsOf(check({"--json"})), ElementsAre("property-list-of-another"));
}

TEST(Check, LooksAtTheLimitThatACheckIsRaisedTo) {
    const Ended ended = check({"--json"}, {"prlimit", "--nofile=100:100"});
    EXPECT_THAT(idsOf(ended), ElementsAre("open-file-limit"));
    EXPECT_THAT(ended.out, HasSubstr("a run may have only 100 files open"));
}

TEST(Check, TellsSeveralFindingsWithTheirRemediesAndRows) {
    const Held held = both(madeFile(updateMarkerPath), missing(dynaConfigPlistPath));
    const Ended ended = check();
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.out, HasSubstr("marker-without-list: " + std::string(updateMarkerPath) +
                                     " stands without /tmp/packagelist.txt\n"));
    EXPECT_THAT(ended.out, HasSubstr("\n  To do: Run a check, which brings the list back.\n"
                                     "  Rests on docs/limits.md: An \"Install\" run removes its list"));
    EXPECT_THAT(ended.out, HasSubstr("\norder-missing: "));
    const nlohmann::json json = nlohmann::json::parse(check({"--json"}).out);
    const nlohmann::json &finding = json.at("findings").at(0);
    EXPECT_EQ(finding.at("document"), "docs/limits.md");
    EXPECT_EQ(finding.at("remedy"), "Run a check, which brings the list back.");
    for (const char *key : {"id", "text", "consequence", "row"})
        EXPECT_NE(finding.at(key), "") << key;
}

TEST(Check, TellsNothingOfWhatStandsTwiceWithoutHarm) {
    const Held held =
        changedTo(prodConfigXml, configurationWith("<BuildNumber>", "<Own>1</Own><Own>1</Own><BuildNumber>"));
    EXPECT_THAT(idsOf(check({"--json"})), IsEmpty());
}

// What a check by the engine asks the service for.
std::string products() {
    runQuietly({installed + "/bin/productUpdater", "1.0.0.5", "105-1", "CheckForInstall"});
    const std::string log = readText(traceLogPath);
    fs::remove(traceLogPath);
    fs::remove(jobLockPath);
    const std::size_t begin = log.find("<products ");
    return begin == std::string::npos ? log : log.substr(begin, log.find("</products>", begin) - begin);
}

// What is told of a machine is what a run of the engine does there.
TEST(Check, IsRightAboutWhatARunAsksFor) {
    const std::string inGeneral = "relver=\"1\"><product appid=\"quaformac\"/>";
    {
        const Held unreadable = missing(prodConfigXml);
        EXPECT_EQ(products(), "<products relname=\"legacy\" " + inGeneral);
        const Held asked = askedSubscription();
        EXPECT_EQ(products(), "<products relname=\"legacy\" relver=\"1\">");
    }
    for (const char *const id : {"", "quiformac"}) { // subscription-missing
        const Held held = applicationIs(id);
        EXPECT_EQ(products(), "<products relname=\"basicmac3.3\" " + inGeneral) << id;
    }
    const Held unknown = both(askedSubscription(), applicationIs(""));
    EXPECT_EQ(products(), "<products relname=\"basicmac3.3\" relver=\"1\">");
}

TEST(Check, LooksAlsoWhereTheStarterIgnoresTheEndsOfProcesses) {
    EXPECT_EQ(check({"--json"}, {"env", "--ignore-signal=CHLD"}).out, "{\"findings\":[]}\n");
}

TEST(Check, LooksAlsoWhereTheStarterSetsNoPath) {
    EXPECT_EQ(check({"--json"}, {"env", "-u", "PATH"}).out, "{\"findings\":[]}\n");
}

pid_t startedCheck() {
    std::string words[] = {program, "check"};
    char *const arguments[] = {words[0].data(), words[1].data(), nullptr};
    pid_t process = 0;
    if (posix_spawn(&process, program.c_str(), nullptr, nullptr, arguments, environ) != 0)
        throw std::runtime_error("the test cannot start a check");
    return process;
}

TEST(Check, EndsWhatItWaitsForWhenItIsInterrupted) {
    const Held held =
        scriptAt(hashToolPath, "echo $$ >/tmp/started && mv /tmp/started /tmp/at-work; exec sleep 1000");
    const pid_t process = startedCheck();
    ASSERT_TRUE(comesTrue([] { return fs::exists("/tmp/at-work"); }));
    const std::string tool = "/proc/" + std::to_string(std::stoi(readText("/tmp/at-work"))) + "/cmdline";
    fs::remove("/tmp/at-work");
    EXPECT_EQ(kill(process, SIGTERM), 0);
    int status = 0;
    EXPECT_EQ(waitpid(process, &status, 0), process);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
    EXPECT_TRUE(comesTrue([&tool] { return readText(tool).empty(); }));
}

TEST(Check, LongAPipeInPlaceOfTheConfigurationIsWaitedForByARun) {
    const Held held = pipeInPlaceOf(prodConfigXml);
    const std::string engine = installed + "/bin/productUpdater";
    EXPECT_EQ(runQuietly({"timeout", "2", engine, "1.0.0.5", "105-1", "CheckForInstall"}).status, 124);
    fs::remove(traceLogPath);
    fs::remove(jobLockPath);
}

// Every rule is set off above.
TEST(Check, HasATestForEachOfItsRules) {
    std::vector<std::string> tested;
    for (const auto &cases : {unfitMachines(), unfitNetworks(), slowMachines()})
        for (const Unfit &unfit : cases)
            tested.emplace_back(unfit.id);
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    tested.emplace_back("memory-limit");
#endif
    for (const CheckRule *rule : checkRules())
        EXPECT_THAT(tested, testing::Contains(rule->id));
}

bool hasRow(const std::string &document, const std::string &beginning) {
    return readText(installed + "/share/doc/downloadManager/" + document).find("\n| " + beginning) !=
           std::string::npos;
}

TEST(Check, RestsOnRowsThatAreThere) {
    for (const CheckRule *rule : checkRules()) {
        if (rule->document == CheckDocument::limits)
            EXPECT_TRUE(hasRow("limits.md", rule->row)) << rule->id;
        else
            EXPECT_TRUE(hasRow("faults.md", "`" + std::string(rule->row) + "` |")) << rule->id;
    }
}

TEST(Check, HasAllItsFindingsInTheManual) {
    const std::string manual = readText(installed + "/share/man/man1/updatelog.1");
    for (const CheckRule *rule : checkRules())
        EXPECT_THAT(manual, HasSubstr(".It Ql " + std::string(rule->id) + "\n"));
}

TEST(Check, RefusesToLookAsAnotherUserAndWrongCalls) {
    EXPECT_EQ(check({"--nonsense"}).status, 2);
    EXPECT_EQ(check({"/tmp/some.log"}).status, 2);
    if (!hasOtherUsers())
        GTEST_SKIP() << noOtherUsers;
    const Ended ended = check({}, {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"});
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.err,
              "updatelog: only root sees what the engine will meet: run this as root, or by sudo\n");
}

TEST(Check, TellsItsUsageWithAnExampleThatWorks) {
    const Ended help = check({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.out, HasSubstr("--network"));
    EXPECT_THAT(help.out, HasSubstr("  $ updatelog check --json\n"));
    EXPECT_THAT(runQuietly({program, "--help"}).out, HasSubstr("check"));
}

} // namespace
