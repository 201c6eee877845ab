#include "Scenario.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "Paths.h"
#include "Release.h"
#include "TextFile.h"
#include "TraceFile.h"
#include "Updater.h"

namespace {

namespace fs = std::filesystem;

const std::string suite = "/usr/local/Brovik";
const std::string downloads = suite + "/TempDownload/";
const std::string release = downloadHost + "/release";

// --- the files of a machine

bool isWatched(const std::string &path) {
    static const std::vector<std::string> others = {
        suite + "/qrn/bin", suite + "/qrn/lib",  suite + "/qrn/include", suite + "/qrn/share",
        "/tmp/program.",    "/tmp/to-be-hashed", "/tmp/package/",        "/tmp/umask"};
    return std::none_of(others.begin(), others.end(), [&path](const std::string &other) {
        return path.compare(0, other.size(), other) == 0;
    });
}

WatchedFiles watchedFiles() {
    WatchedFiles files;
    for (const std::string folder : {suite.c_str(), repostFolder.c_str(), "/private/tmp", "/tmp"}) {
        for (const auto &entry : fs::recursive_directory_iterator(folder)) {
            if (entry.is_regular_file() && isWatched(entry.path()))
                files[entry.path()] = readText(entry.path());
        }
    }
    return files;
}

void restore(const WatchedFiles &files) {
    for (const auto &[path, content] : watchedFiles()) {
        if (files.count(path) == 0)
            fs::remove(path);
    }
    for (const auto &entry : fs::directory_iterator("/tmp")) {
        if (entry.path().string().compare(0, 13, "/tmp/program.") == 0)
            fs::remove_all(entry.path());
    }
    fs::remove_all(downloads);
    for (const auto &[path, content] : files) {
        fs::create_directories(fs::path(path).parent_path());
        writeText(path, content);
    }
    fs::create_directories(repostFolder);
    fs::remove(traceLogPath);
}

bool isThere(const WatchedFiles &files, const std::string &path) {
    return files.count(path) != 0;
}

bool isSame(const WatchedFiles &one, const WatchedFiles &other, const std::string &path) {
    const auto found = one.find(path);
    const auto otherOne = other.find(path);
    return found != one.end() && otherOne != other.end() && found->second == otherOne->second;
}

std::vector<std::string> linesOf(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

// --- the trace

// Without what differs from run to run: the run's number in URLs.
std::string withoutNumber(const std::string &line) {
    static const std::regex number("/run[0-9]+/");
    return std::regex_replace(line, number, "/run/");
}

std::set<std::string> traceLines() {
    std::set<std::string> lines;
    for (const std::string &message : traceMessages())
        lines.insert(withoutNumber(message));
    return lines;
}

bool isTraced(const std::string &text) {
    return traceText().find(text) != std::string::npos;
}

bool tellsTrouble(const std::string &line) {
    static const std::regex words("error|fail|not able|unable|caught|missing|no |cannot|exception",
                                  std::regex::icase);
    return std::regex_search(line, words);
}

std::string firstOther(const std::vector<std::string> &some, const std::vector<std::string> &usual) {
    std::vector<std::string> others;
    std::set_difference(some.begin(), some.end(), usual.begin(), usual.end(), std::back_inserter(others));
    return others.empty() ? "" : others.front();
}

std::string firstLine(const std::string &text) {
    const std::size_t begin = text.find_first_not_of('\n');
    return begin == std::string::npos ? "" : text.substr(begin, text.find('\n', begin) - begin);
}

// --- what is published

struct Package {
    std::string url;
    std::string content;
    std::string folder;  // below "Package"
    std::string catalog; // its file, without ".xml"
    std::string name() const { return url.substr(url.rfind('/') + 1); }
    std::string path() const { return downloads + "Package/" + folder + "/" + name(); }
};

// The same contents come again for every run.
const std::string &cachedSha1(const std::string &content) {
    static std::map<std::string, std::string> known;
    std::string &hash = known[content];
    if (hash.empty())
        hash = sha1(content);
    return hash;
}

HotFix published(const Package &package, const std::string &version, const std::string &repost = "") {
    HotFix hotFix;
    hotFix.url = package.url;
    hotFix.hash = cachedSha1(package.content);
    hotFix.productVer = version;
    hotFix.repost = repost;
    publish(package.url, package.content);
    return hotFix;
}

// A transfer that breaks off, and bytes that come wrong once.
void breakOffAndSpoil(const std::string &number) {
    misbehave("/" + number + "/Resumed.pkg 1 cut 20000\n/" + number + "/Spoilt.pkg 1 wrong 1000\n");
}

std::string packedBig(const std::string &name) {
    return packed({{suite + "/" + name, name + " is new"}, {suite + "/" + name + ".data", someBytes(40000)}});
}

} // namespace

bool Scenario::mayBeLeft(const std::string & /*path*/, const std::string & /*content*/) const {
    return false;
}

// libplist uses what it has no memory for, and so does the C library where it looks up a host's name; the
// loader ends the process when there is none for a thread's own variables.
bool Scenario::isLibrarysOwnEnd(const FaultedEnd &end) {
    const auto isNotOf = [](const char *library) {
        return [library](const std::string &frame) { return frame.find(library) == std::string::npos; };
    };
    if (end.stack.empty())
        return false;
    if (end.ended.status == 127)
        return !isNotOf("/ld-linux")(end.stack.front());
    const auto caller = std::find_if(end.stack.begin(), end.stack.end(), isNotOf("/libc.so"));
    return end.ended.status == 128 + SIGSEGV &&
           (caller == end.stack.end() || !isNotOf("/libplist")(*caller) ||
            std::all_of(end.stack.begin(), end.stack.end(), isNotOf("/libdownloadManager.so")));
}

void Scenario::startFromHere() {
    m_before = watchedFiles();
}

void Scenario::prepare() {
    restore(m_before);
    std::string number = std::to_string(++m_runs);
    publish("run" + std::string(6 - std::min<std::size_t>(number.size(), 6), '0') + number);
    // Answered requests of earlier runs fill the memory.
    if (m_runs % 100 == 0)
        static_cast<void>(shell("find /srv/rehearsal/log/requests -type f -delete; "
                                "find /srv/rehearsal/scripted -mindepth 1 -maxdepth 1 -name 'run*' -mmin +5 "
                                "-exec rm -r {} +"));
}

bool Scenario::learn(const FaultedEnd &end) {
    m_expected = watchedFiles();
    m_usualLines = traceLines();
    m_usualOpenFiles = end.openFiles;
    return judge(end).outcome == Outcome::complete;
}

// What no failure excuses; "" for nothing.
std::string Scenario::harm(const FaultedEnd &end, const WatchedFiles &after) const {
    for (const char *report : {"AddressSanitizer", "LeakSanitizer", "ThreadSanitizer", "runtime error:"}) {
        const std::size_t found = end.ended.err.find(report);
        if (found != std::string::npos)
            return "sanitizer: " + end.ended.err.substr(found, 2000);
    }
    if (end.hung)
        return "hung";
    if (end.ended.status > 128 && end.ended.status != 128 + SIGABRT && !isLibrarysOwnEnd(end))
        return "crashed: status " + std::to_string(end.ended.status);
    if (!end.leftProcesses.empty())
        return "left a process: " + end.leftProcesses.front();
    std::vector<std::string> open = end.openFiles;
    // A program's copies of its own streams go with it.
    open.erase(
        std::remove_if(open.begin(), open.end(),
                       [](const std::string &file) { return file.compare(0, 13, "/tmp/program.") == 0; }),
        open.end());
    if (!std::includes(m_usualOpenFiles.begin(), m_usualOpenFiles.end(), open.begin(), open.end()))
        return "left a file open that usually is not: " + firstOther(open, m_usualOpenFiles);
    const bool mayLeaveFiles = !end.hasEnded || end.failedCall == "unlink";
    for (const auto &[path, content] : after) {
        if (!isThere(m_before, path) && !isThere(m_expected, path)) {
            if (!mayLeaveFiles && !mayBeLeft(path, content))
                return "left " + path;
        } else if (!mayBeInPart(path, end) && !isSame(after, m_before, path) &&
                   !isSame(after, m_expected, path)) {
            return "spoilt " + path;
        }
    }
    for (const auto &[path, content] : m_before) {
        if (!isThere(after, path) && isThere(m_expected, path))
            return "removed " + path;
    }
    return "";
}

Judgement Scenario::judge(const FaultedEnd &end) const {
    const WatchedFiles after = watchedFiles();
    const std::string harmed = harm(end, after);
    if (!harmed.empty())
        return {Outcome::found, harmed};
    if (end.ended.status == 127 && isLibrarysOwnEnd(end))
        return {Outcome::aborted, firstLine(end.ended.err)};
    const Judgement result = judgeResult(end, after);
    if (result.outcome == Outcome::found && end.ended.status < 128)
        return result;
    if (end.ended.status > 128 && result.words.compare(0, 3, "lie") == 0)
        return result;
    if (end.ended.status == 128 + SIGABRT)
        return {Outcome::aborted, firstLine(end.ended.err)};
    if (isLibrarysOwnEnd(end))
        return {Outcome::aborted, "a library crashed"};
    return result;
}

// A run that is not complete must say why.
Judgement Scenario::failedOrTold(const std::string &what) const {
    for (const std::string &line : traceMessages()) {
        if (tellsTrouble(line) && m_usualLines.count(withoutNumber(line)) == 0)
            return {Outcome::told, firstLine(line)};
    }
    return {Outcome::found, what + " and the log says nothing"};
}

Judgement Scenario::limitedIfTold(const std::string &limit, const std::string &what) const {
    if (!isTraced(limit))
        return {Outcome::found, "lie: " + what};
    return {Outcome::limited, what + " (" + limit + ")"};
}

namespace {

// Those that were not fetched.
std::set<std::string> lostCatalogs(const std::vector<Package> &packages) {
    std::set<std::string> lost;
    if (!fs::exists(traceLogPath))
        return lost; // then nothing tells of one, and none may be missing
    for (const Package &package : packages) {
        if (!isTraced("Successfully downloaded: " + release + "/" + package.catalog + ".xml"))
            lost.insert(package.catalog);
    }
    return lost;
}

// A configuration with the values of other packages.
std::string withoutValues(const std::string &configuration) {
    static const std::regex value(">[^<\n]*<");
    return std::regex_replace(configuration, value, "><");
}

// --- "CheckForInstall": seven packages of three catalogs, one resumed, one fetched again

class Check : public Scenario {
public:
    Check() {
        furnish();
        startFromHere();
    }

    std::vector<std::string> command() const override {
        return updaterWith({"1.0.0.5", "105-1", "CheckForInstall"});
    }

    static void furnish() {
        writeText(prodConfigXml,
                  "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<ProductConfiguration>\n"
                  "  <AffID>105-1</AffID>\n  <AppID>quaformac</AppID>\n"
                  "  <ProductVersion>1.0.0.5</ProductVersion>\n  <BuildNumber>105</BuildNumber>\n"
                  "  <CoreRelVer>2.5</CoreRelVer>\n  <PartnerRelVer>1.5</PartnerRelVer>\n"
                  "  <ReleaseName>basicmac3.3</ReleaseName>\n  <CBRMSBuildNo>3</CBRMSBuildNo>\n"
                  "</ProductConfiguration>\n");
        writeText(dynaConfigPlistPath,
                  "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
                  "<key>InstallPkgOrder</key><array><string>ReTools.pkg</string>"
                  "<string>Resumed.pkg</string></array></dict></plist>\n");
        for (const std::string name :
             {"platform", "antivirus", "resumed", "spoilt", "partner", "branding", "repost"})
            writeText(suite + "/" + name, name + " is old");
    }

    static std::vector<Package> packages(const std::string &number) {
        const std::string scripted = scriptedHost + "/" + number;
        static const std::string resumed = packedBig("resumed");
        static const std::string spoilt = packedBig("spoilt");
        static const std::map<std::string, std::string> small = [] {
            std::map<std::string, std::string> contents;
            for (const std::string name : {"platform", "antivirus", "partner", "branding", "repost"})
                contents[name] = packed({{suite + "/" + name, name + " is new"}});
            return contents;
        }();
        return {{release + "/Platform.pkg", small.at("platform"), "1.0.1.0", "core_maccat"},
                {release + "/AntiVirus.pkg", small.at("antivirus"), "1.0.2.0", "core_maccat"},
                {scripted + "/Resumed.pkg", resumed, "1.0.1.0", "core_maccat"},
                {scripted + "/Spoilt.pkg", spoilt, "1.0.1.0", "core_maccat"},
                {release + "/ReTools.pkg", small.at("repost"), "repost/1.0.1.0", "core_maccat"},
                {release + "/DynamicBranding.pkg", small.at("branding"), "1.0.0.6", "dynamicbranding_maccat"},
                {release + "/Partner.pkg", small.at("partner"), "1.0.1.0", "partner_maccat"}};
    }

protected:
    void publish(const std::string &number) override {
        const std::vector<Package> all = packages(number);
        publishCatalog(release + "/core_maccat.xml",
                       {published(all[0], "1.0.1.0"), published(all[1], "1.0.2.0"),
                        published(all[2], "1.0.1.0"), published(all[3], "1.0.1.0"),
                        published(all[4], "1.0.1.0", "YES")});
        publishCatalog(release + "/dynamicbranding_maccat.xml", {published(all[5], "1.0.0.6")},
                       "    <cbrmsbuildno>7</cbrmsbuildno>\n");
        publishCatalog(release + "/partner_maccat.xml", {published(all[6], "1.0.1.0")});
        answerFrom(
            "<releases><release affid=\"105\" relname=\"basicmac3.4\" relver=\"3.1\" partnerrelver=\"2.2\">"
            "<product appid=\"quaformac\"><catalog root=\"" +
            release + "\" name=\"core_maccat\" version=\"7\"/><catalog root=\"" + release +
            "\" name=\"dynamicbranding_maccat\" version=\"8\"/></product><partner appid=\"quaformac\">"
            "<catalog root=\"" +
            release +
            "\" name=\"partner_maccat\" version=\"9\"/></partner>"
            "</release></releases>");
        breakOffAndSpoil(number);
    }

    bool mayBeInPart(const std::string &path, const FaultedEnd &end) const override {
        // Without one of the catalogs its values are others.
        if (path == updatedProdConfigXml && (isCatalogUnread(end) || !lostCatalogs(packages("run")).empty()))
            return withoutValues(readText(path)) == withoutValues(m_expected.at(path));
        // Nobody reads it without a list.
        if (path == updatedProdConfigXml && !fs::exists(packageListPath))
            return true;
        return path == packageListPath ||
               path.compare(0, downloads.size() + 8, downloads + "Package/") == 0 ||
               path.compare(0, downloads.size() + 8, downloads + "Catalog/") == 0;
    }

    static bool isCatalogUnread(const FaultedEnd &end) {
        return end.ended.err.find("Error: unable to parse file") != std::string::npos;
    }

    Judgement judgeResult(const FaultedEnd &end, const WatchedFiles &after) const override {
        if (!isThere(after, packageListPath)) {
            if (isThere(after, waitingMarker))
                return {Outcome::found, "lie: a marker without a list"};
            return end.ended.status == 0
                       ? failedOrTold("no list")
                       : Judgement{Outcome::found, "status " + std::to_string(end.ended.status)};
        }
        const std::vector<Package> all = packages("run");
        const std::vector<std::string> listed = linesOf(after.at(packageListPath));
        std::set<std::string> wanted;
        for (const Package &package : all)
            wanted.insert(package.path());
        for (const std::string &path : listed) {
            if (wanted.erase(path) == 0)
                return {Outcome::found, "lie: the list has " + path};
        }
        for (const Package &package : all) {
            const auto file = after.find(package.path());
            if (wanted.count(package.path()) == 0 && (file == after.end() || file->second != package.content))
                return {Outcome::found, "lie: listed and not right: " + package.path()};
        }
        const std::set<std::string> lost =
            wanted.empty() ? std::set<std::string>() : lostCatalogs(packages("run"));
        for (const Package &package : all) {
            if (lost.count(package.catalog) != 0)
                wanted.erase(package.path());
        }
        if (!wanted.empty() && isCatalogUnread(end))
            return {Outcome::limited, "complete without a catalog that the disk failed to read"};
        if (!wanted.empty())
            return limitedIfTold("Not able to initialize download helper",
                                 "complete without " + *wanted.begin());
        if (!lost.empty())
            return failedOrTold("").outcome == Outcome::told
                       ? Judgement{Outcome::limited, "complete without a catalog that could not be fetched"}
                       : Judgement{Outcome::found, "lie: complete without " + *lost.begin()};
        if (end.ended.status != 0)
            return {Outcome::found, "status " + std::to_string(end.ended.status)};
        if (!isThere(after, updatedProdConfigXml))
            return {Outcome::limited, "complete, no configuration is prepared (its writer reports nothing)"};
        if (!isThere(after, waitingMarker))
            return {Outcome::limited, "complete, no marker (its command is not examined)"};
        return {Outcome::complete, ""};
    }
};

// --- "Install" of what such a check has left

class Install : public Check {
public:
    Install() {
        Check::publish("run000000");
        static_cast<void>(run(Check::command()));
        startFromHere();
        if (!isThere(m_before, packageListPath) || !isThere(m_before, updatedProdConfigXml))
            throw std::runtime_error("the check left nothing to install");
    }

    std::vector<std::string> command() const override { return installCommand; }

protected:
    void publish(const std::string &) override {}

    bool mayBeInPart(const std::string &, const FaultedEnd &) const override { return false; }

    // A script that could not be run stays, whole.
    bool mayBeLeft(const std::string &path, const std::string &content) const override {
        const std::string end = std::string("rm -rf ") + installerScriptPath + "\n";
        return path == installerScriptPath && content.size() > end.size() &&
               content.compare(content.size() - end.size(), end.size(), end) == 0;
    }

    Judgement judgeResult(const FaultedEnd &end, const WatchedFiles &after) const override {
        const bool isRecorded = after.at(prodConfigXml) != m_before.at(prodConfigXml);
        std::set<std::string> missing;
        std::size_t installed = 0;
        for (const auto &[path, content] : m_expected) {
            if (path == prodConfigXml || isSame(m_before, m_expected, path))
                continue;
            if (isSame(after, m_expected, path))
                ++installed;
            else
                missing.insert(path);
        }
        if (end.ended.status != 0 && end.ended.status != 1 && end.hasEnded)
            return {Outcome::found, "status " + std::to_string(end.ended.status)};
        if (!isRecorded)
            return failedOrTold("not installed");
        if (missing.empty())
            return {Outcome::complete, ""};
        // A branding package is installed apart, and a failure of that is a line of the log only. Packages of
        // the repost folder are installed as the order says, which may be unreadable.
        const auto isOf = [&missing](const char *name) {
            return std::all_of(missing.begin(), missing.end(), [name](const std::string &path) {
                return path.compare(0, suite.size() + 1 + std::char_traits<char>::length(name),
                                    suite + "/" + name) == 0;
            });
        };
        if (isOf("branding"))
            return limitedIfTold("DynamicBranding.pkg Failed", "installed without branding");
        if (isOf("repost"))
            return limitedIfTold("Unable to get the order of installation", "installed without repost");
        return {Outcome::found, "lie: recorded as installed without " + *missing.begin()};
    }
};

// --- a fresh installation by the installed host

class Fresh : public Scenario {
public:
    Fresh() {
        Check::furnish();
        startFromHere();
    }

    std::vector<std::string> command() const override {
        return {"/usr/local/Brovik/qrn/bin/freshinstall", "--json", "--timeout", "140"};
    }

protected:
    static std::vector<Package> packages(const std::string &number) {
        const std::string scripted = scriptedHost + "/" + number;
        static const std::string resumed = someBytes(90000);
        static const std::string spoilt = someBytes(60000);
        static const std::string plain = someBytes(30000);
        return {{scripted + "/Resumed.pkg", resumed, "2.0.0.0", "Resumed_maccat"},
                {scripted + "/Spoilt.pkg", spoilt, "2.0.1.0", "Spoilt_maccat"},
                {release + "/Plain.pkg", plain, "2.0.0.0", "Plain_maccat"}};
    }

    void publish(const std::string &number) override {
        std::string catalogs;
        for (const Package &package : packages(number)) {
            const std::string name = package.name().substr(0, package.name().find('.')) + "_maccat";
            ::publish(package.url, package.content);
            ::publish(release + "/" + name + ".xml",
                      "<product_catalog><configuration><version>" + package.folder +
                          "</version><mainbuildno>210</mainbuildno></configuration><manifest>"
                          "<server_package_information><fullinstall_package_list><server_package name=\"" +
                          package.name() + "\" url=\"" + package.url + "\" hash=\"" +
                          cachedSha1(package.content) +
                          "\"/></fullinstall_package_list></server_package_information></manifest>"
                          "</product_catalog>");
            catalogs += "<catalog root=\"" + release + "\" name=\"" + name + "\" version=\"1\"/>";
        }
        answerFrom("<releases><release affid=\"*\" relname=\"basicmac4.0\" relver=\"4\" partnerrelver=\"3\">"
                   "<product appid=\"quaformac\">" +
                   catalogs + "</product></release></releases>");
        breakOffAndSpoil(number);
    }

    bool mayBeInPart(const std::string &path, const FaultedEnd &) const override {
        // Without one of the catalogs its values are others.
        if (path == configurationPlistPath && !lostCatalogs(packages("run")).empty())
            return withoutValues(readText(path)) == withoutValues(m_expected.at(path));
        return path.compare(0, downloads.size(), downloads) == 0;
    }

    Judgement judgeResult(const FaultedEnd &end, const WatchedFiles &after) const override {
        const std::string plist = configurationPlistPath;
        const int status = end.ended.status;
        const bool isRecorded = after.at(plist) != m_before.at(plist);
        std::string missing;
        std::string notTold;
        for (const Package &package : packages("run")) {
            const auto file = after.find(package.path());
            const bool isTold = end.ended.out.find("\"path\":\"" + package.path()) != std::string::npos ||
                                end.ended.out.find("\"path\": \"" + package.path()) != std::string::npos;
            const bool isRight = file != after.end() && file->second == package.content;
            if (isTold && !isRight && end.ended.out.find("\"finished\"") != std::string::npos)
                return {Outcome::found, "lie: told and not right: " + package.path()};
            if (!isRight)
                missing = package.path();
            if (!isTold)
                notTold = package.path();
        }
        if (status == 0 && !missing.empty() && !lostCatalogs(packages("run")).empty())
            return failedOrTold("").outcome == Outcome::told
                       ? Judgement{Outcome::limited, "complete without a catalog that could not be fetched"}
                       : Judgement{Outcome::found, "lie: complete without a catalog"};
        if ((isRecorded || status == 0) && !missing.empty())
            return limitedIfTold("Not able to initialize download helper", "complete without " + missing);
        if (status == 0 && !notTold.empty())
            return limitedIfTold("Not able to initialize download helper", "done without telling " + notTold);
        if (status == 0)
            return isRecorded ? Judgement{Outcome::complete, ""} : failedOrTold("not recorded");
        static const std::set<int> statuses = {1, 2, 69, 70, 72, 74};
        if (end.hasEnded && statuses.count(status) == 0)
            return {Outcome::found, "status " + std::to_string(status)};
        if (!end.ended.err.empty())
            return {Outcome::told, firstLine(end.ended.err)};
        if (end.ended.out.find("\"message\"") != std::string::npos && status != 1 && status != 2)
            return {Outcome::told, end.ended.out.substr(end.ended.out.find("\"message\""), 100)};
        return failedOrTold("status " + std::to_string(status));
    }
};

} // namespace

std::unique_ptr<Scenario> makeScenario(const std::string &name) {
    if (name == "check")
        return std::make_unique<Check>();
    if (name == "install")
        return std::make_unique<Install>();
    if (name == "fresh")
        return std::make_unique<Fresh>();
    throw std::invalid_argument("there is no run \"" + name + "\"");
}
