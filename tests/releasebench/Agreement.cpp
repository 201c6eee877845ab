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
const std::string folder = "/tmp/release";
const std::string served = "/srv/rehearsal/scripted";
const std::string suite = "/usr/local/Brovik";
const std::string installerLog = "/srv/rehearsal/log/installer.log";
const std::string prepared = suite + "/TempDownload/ProductConfig.xml";
const std::string packageList = "/tmp/packagelist.txt";
const std::string script = "/usr/local/repost/installer.sh";
const std::string trace = "/var/log/DownloadManager.log";

Texts linesOf(const std::string &text) {
    Texts lines;
    std::istringstream input(text);
    for (std::string line; std::getline(input, line);)
        lines.push_back(line);
    return lines;
}

Texts question(const char *command, const ChanceRelease &release) {
    return {bench,
            command,
            folder,
            "--product",
            release.product,
            "--system",
            release.system,
            "--affiliate",
            release.affiliate,
            "--app",
            release.application};
}

std::string element(const std::string &document, const std::string &name) {
    const std::size_t begin = document.find("<" + name + ">");
    if (begin == std::string::npos)
        return "";
    const std::size_t text = begin + name.size() + 2;
    return document.substr(text, document.find('<', text) - text);
}

void describeMachine(const ChanceRelease &release) {
    writeText(suite + "/ProductConfig.xml", "<ProductConfiguration><AppID>" + release.application +
                                                "</AppID><ProductVersion>" + release.product +
                                                "</ProductVersion></ProductConfiguration>");
    writeText(
        "/System/Library/CoreServices/SystemVersion.plist",
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict><key>ProductVersion</key>"
        "<string>" +
            release.system + "</string></dict></plist>\n");
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

} // namespace

void publishBuilt(const ChanceRelease &release) {
    fs::remove_all(folder);
    fs::remove_all(served);
    fs::create_directories(folder + "/packages");
    fs::create_directories(served + "/p");
    writeText(folder + "/release.json", release.release.dump());
    for (const auto &[file, content] : release.files) {
        writeText(folder + "/" + file, content);
        writeText(served + "/p/" + fs::path(file).filename().string(), content);
    }
    shell(bench + " build " + folder + " --out /tmp/built");
    fs::copy("/tmp/built/catalogs", served + "/c");
    fs::copy("/tmp/built/releases.xml", "/srv/rehearsal/service/releases.xml",
             fs::copy_options::overwrite_existing);
    fs::copy("/tmp/built/DynaConfig.plist", suite + "/DynaConfig.plist",
             fs::copy_options::overwrite_existing);
}

Done foretold(const ChanceRelease &release) {
    Texts command = question("explain", release);
    command.emplace_back("--json");
    const Json told = Json::parse(run(command).out);
    Done done;
    done.isUpdate = told["outcome"] == "done";
    const std::string reason = told["reason"];
    done.reason = reason.substr(0, reason.find(" ("));
    if (!done.isUpdate)
        return done;
    for (const Json &download : told["downloads"])
        done.packages.push_back(download["path"]);
    done.branding = told["branding"].get<Texts>();
    for (const char *key :
         {"version", "build", "coreVersion", "partnerVersion", "releaseName", "brandingBuild"})
        done.configuration.push_back(told["afterwards"][key]);
    done.script = run(question("script", release)).out;
    return done;
}

Done carriedOut(const ChanceRelease &release, const Done &foretold) {
    forgetTheLastRun();
    describeMachine(release);
    const Ended check = run({updater, release.product, release.affiliate, "CheckForInstall"});
    Done done;
    done.isUpdate = fs::exists(packageList);
    if (!done.isUpdate) {
        // The process may end before it can say why.
        const bool isToldOf =
            check.status < 128 && readText(trace).find(foretold.reason) != std::string::npos;
        const bool isAbort = check.status >= 128 && foretold.reason.find("process ends") != std::string::npos;
        done.reason = isToldOf || isAbort ? foretold.reason
                                          : "status " + std::to_string(check.status) + "\n" + readText(trace);
        return done;
    }
    done.packages = linesOf(readText(packageList));
    const std::string configuration = readText(prepared);
    for (const char *name :
         {"ProductVersion", "BuildNumber", "CoreRelVer", "PartnerRelVer", "ReleaseName", "CBRMSBuildNo"})
        done.configuration.push_back(element(configuration, name));

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
