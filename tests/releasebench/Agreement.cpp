#include "Agreement.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "Program.h"
#include "TextFile.h"
#include "Updater.h"

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;
using Texts = std::vector<std::string>;

const std::string bench = "/usr/local/Brovik/qrn/bin/releasebench";
const std::string freshInstall = "/usr/local/Brovik/qrn/bin/freshinstall";
const std::string folder = "/tmp/release";
const std::string served = "/srv/rehearsal/scripted";
const std::string suite = "/usr/local/Brovik";
const std::string installerLog = "/srv/rehearsal/log/installer.log";
const std::string prepared = suite + "/TempDownload/ProductConfig.xml";
const std::string packageList = "/tmp/packagelist.txt";
const std::string script = "/usr/local/repost/installer.sh";
const std::string trace = "/var/log/DownloadManager.log";
const std::string edition = "/private/tmp/configuration.plist";
const std::string listBegin = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>";
const std::string listEnd = "</dict></plist>\n";

Texts linesOf(const std::string &text) {
    Texts lines;
    std::istringstream input(text);
    for (std::string line; std::getline(input, line);)
        lines.push_back(line);
    return lines;
}

Texts question(const char *command, const ChanceRelease &release) {
    return {bench, command, folder, "--affiliate", release.affiliate, "--app", release.application};
}

Texts questionOfUpdate(const char *command, const ChanceRelease &release) {
    Texts words = question(command, release);
    words.insert(words.end(), {"--product", release.product, "--system", release.system});
    return words;
}

std::string between(const std::string &text, const std::string &before, const std::string &after) {
    const std::size_t found = text.find(before);
    if (found == std::string::npos)
        return "";
    const std::size_t begin = found + before.size();
    return text.substr(begin, text.find(after, begin) - begin);
}

std::string entry(const std::string &key, const std::string &value) {
    return "<key>" + key + "</key><string>" + value + "</string>";
}

void describeMachine(const ChanceRelease &release) {
    writeText(suite + "/ProductConfig.xml", "<ProductConfiguration><AppID>" + release.application +
                                                "</AppID><ProductVersion>" + release.product +
                                                "</ProductVersion></ProductConfiguration>");
    writeText("/System/Library/CoreServices/SystemVersion.plist",
              listBegin + entry("ProductVersion", release.system) + listEnd);
    writeText(edition,
              listBegin + entry("AffID", release.affiliate) + entry("AppID", release.application) + listEnd);
}

void forgetTheLastRun() {
    for (const std::string &path : {suite + "/TempDownload", packageList, script, trace, installerLog})
        fs::remove_all(path);
}

// "-package PATH -target / | STATUS"
Texts installedAtOnce() {
    Texts paths;
    for (const std::string &line : linesOf(readText(installerLog))) {
        const std::size_t begin = line.find(' ') + 1;
        paths.push_back(line.substr(begin, line.find(" -target", begin) - begin));
    }
    return paths;
}

Texts sorted(Texts texts) {
    std::sort(texts.begin(), texts.end());
    return texts;
}

// What is told alike of both jobs.
Done doneBy(const Json &told) {
    Done done;
    done.isDone = told["outcome"] == "done";
    const std::string reason = told["reason"];
    done.reason = reason.substr(0, reason.find(" ("));
    if (!done.isDone)
        return done;
    for (const Json &download : told["downloads"])
        done.packages.push_back(download["path"]);
    for (const char *key :
         {"version", "build", "coreVersion", "partnerVersion", "releaseName", "brandingBuild"})
        done.configuration.push_back(told["afterwards"][key]);
    return done;
}

// What was foretold, when the log says so too.
std::string reasonBy(const std::string &foretold, const std::string &ended) {
    const std::string log = readText(trace);
    return log.find(foretold) != std::string::npos ? foretold : ended + "\n" + log;
}

} // namespace

void publishBuilt(const ChanceRelease &release) {
    fs::remove_all(folder);
    fs::remove_all(served);
    fs::create_directories(folder + "/packages");
    fs::create_directories(served);
    writeText(folder + "/release.json", release.release.dump());
    for (const auto &[file, content] : release.files) {
        fs::create_directories(fs::path(folder + "/" + file).parent_path());
        writeText(folder + "/" + file, content);
    }
    fs::copy(folder + "/packages", served + "/p", fs::copy_options::recursive);
    shell(bench + " build " + folder + " --out /tmp/built");
    fs::copy("/tmp/built/catalogs", served + "/c");
    fs::copy("/tmp/built/releases.xml", "/srv/rehearsal/service/releases.xml",
             fs::copy_options::overwrite_existing);
    fs::copy("/tmp/built/DynaConfig.plist", suite + "/DynaConfig.plist",
             fs::copy_options::overwrite_existing);
}

Done foretold(const ChanceRelease &release) {
    Texts command = questionOfUpdate("explain", release);
    command.insert(command.end(), {"--format", "json"});
    const Json told = Json::parse(run(command).out);
    Done done = doneBy(told);
    if (!done.isDone)
        return done;
    done.branding = told["branding"].get<Texts>();
    done.script = run(questionOfUpdate("script", release)).out;
    return done;
}

Done carriedOut(const ChanceRelease &release, const Done &foretold) {
    forgetTheLastRun();
    describeMachine(release);
    const Ended check = run({updater, release.product, release.affiliate, "CheckForInstall"});
    Done done;
    done.isDone = fs::exists(packageList);
    if (!done.isDone) {
        // The process may end before it can say why.
        const bool isAbort = check.status >= 128 && foretold.reason.find("process ends") != std::string::npos;
        done.reason =
            isAbort ? foretold.reason : reasonBy(foretold.reason, "status " + std::to_string(check.status));
        return done;
    }
    done.packages = linesOf(readText(packageList));
    const std::string configuration = readText(prepared);
    for (const std::string name :
         {"ProductVersion", "BuildNumber", "CoreRelVer", "PartnerRelVer", "ReleaseName", "CBRMSBuildNo"})
        done.configuration.push_back(between(configuration, "<" + name + ">", "<"));

    if (sorted(done.packages) == sorted(foretold.packages)) {
        done.packages = foretold.packages;
        std::string lines;
        for (const std::string &path : foretold.packages)
            lines += path + "\n";
        writeText(packageList, lines);
    }
    run({"env", std::string("LD_PRELOAD=") + END_BEFORE_SCRIPT, updater, release.product, release.affiliate,
         "Install"});
    done.branding = installedAtOnce();
    done.script = readText(script);
    return done;
}

Done foretoldFresh(const ChanceRelease &release) {
    Texts command = question("explain", release);
    command.insert(command.end(), {"--fresh", "--format", "json"});
    Done done = doneBy(Json::parse(run(command).out));
    done.packages = sorted(done.packages);
    return done;
}

Done carriedOutFresh(const ChanceRelease &release, const Done &foretold) {
    forgetTheLastRun();
    describeMachine(release);
    const Json end = Json::parse(linesOf(run({freshInstall, "--json"}).out).back());
    const std::string outcome = end["outcome"];
    Done done;
    done.isDone = outcome == "done";
    if (!done.isDone) {
        // Of a file that is no package the log has no line.
        const bool isUncounted =
            outcome == "downloads-failed" && foretold.reason.find("never counts") != std::string::npos;
        done.reason = isUncounted ? foretold.reason : reasonBy(foretold.reason, outcome);
        return done;
    }
    for (const Json &package : end["packages"])
        done.packages.push_back(package["path"]);
    done.packages = sorted(done.packages);
    const std::string list = readText(edition);
    for (const std::string key :
         {"Version", "BuildNo", "CoreRelVer", "PartnerRelVer", "RelName", "CBRMSBuildNo"})
        done.configuration.push_back(
            between(between(list, "<key>" + key + "</key>", "</string>"), "<string>", "<"));
    return done;
}
