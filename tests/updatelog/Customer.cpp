#include "Customer.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <optional>
#include <sstream>

#include <gtest/gtest.h>

#include "Background.h"
#include "ExpectedTrace.h"
#include "Job.h"
#include "Machine.h"
#include "Paths.h"
#include "TextFile.h"
#include "Updater.h"

namespace {

namespace fs = std::filesystem;

const std::string refusals = "/srv/rehearsal/installer-fails";
const std::string version = "1.0.0.5";
const std::string servicePaths[] = {"/velbrin/1.0.0.0/?reqtype=mac_update",
                                    "/velbrin/1.0.0.0/?reqtype=mac_web"};

std::string now() {
    const std::time_t seconds = std::time(nullptr);
    std::tm local{};
    localtime_r(&seconds, &local);
    char text[sizeof "2026-11-22.07:00:00"];
    std::strftime(text, sizeof text, "%Y-%m-%d.%H:%M:%S", &local);
    return text;
}

// A run, by whatever makes it, and the time that it took.
KnownRun timed(const std::function<KnownRun()> &run) {
    const std::string begin = now();
    KnownRun known = run();
    known.notBefore = begin;
    known.notAfter = now();
    return known;
}

// --- what the servers are told to do

std::string rulesFor(const std::string &target, const Fault &fault) {
    const std::size_t before = Witnesses::attemptsAt(target);
    std::string rules;
    for (std::size_t i = 0; i < fault.actions.size(); ++i)
        rules += target + " " + std::to_string(before + i + 1) + " " + fault.actions[i] + "\n";
    return fault.always ? rules + target + " * " + fault.actions.back() + "\n" : rules;
}

std::string rulesFor(Reply reply) {
    const char *const action = reply == Reply::page    ? "status 500 <html><body>Broken</body></html>"
                               : reply == Reply::empty ? "status 503"
                               : reply == Reply::none  ? "drop"
                                                       : "";
    std::string rules;
    for (const std::string &path : servicePaths) {
        if (*action != '\0')
            rules += path + " * " + action + "\n";
    }
    return rules;
}

void replyWith(Reply reply) {
    if (reply == Reply::noUpdate)
        answerWith("<productresponse status=\"1\"/>");
    else if (reply == Reply::refusal)
        answerWith("<productresponse "
                   "status=\"-1\"><error><errordetail>unknown</errordetail></error></productresponse>");
    else if (reply == Reply::unsupported)
        answerWith("<productresponse status=\"2\"/>");
}

std::string repliedIn(Reply reply) {
    switch (reply) {
    case Reply::release:
    case Reply::unfit:
        return "a release";
    case Reply::noUpdate:
        return "no update";
    case Reply::refusal:
    case Reply::unsupported:
        return "a refusal";
    case Reply::page:
        return "a reply";
    case Reply::empty:
    case Reply::none:
        break;
    }
    return "no reply";
}

// --- what the servers did

bool isPackage(const std::string &target) {
    return target.find(".pkg") != std::string::npos;
}

bool isWhole(const SeenRequest &request) {
    static const std::set<std::string> wholes = {"ok", "wrong", "no-length", "chunked",
                                                 "as", "slow",  "redirect"};
    return wholes.count(request.action) == 1 || (request.action == "no-ranges" && request.range.empty());
}

void count(KnownTransfer &transfer, const SeenRequest &request) {
    ++transfer.attempts;
    transfer.brokenOff += request.action == "cut" ? 1U : 0U;
    const bool isUnderWay = request.action == "stall";
    transfer.refused += isWhole(request) || request.action == "cut" || isUnderWay ? 0U : 1U;
    transfer.state = isUnderWay ? "did not end" : isWhole(request) ? "came" : "failed";
}

// A package has come when its hash was found to be right; behind two wrong ones nobody looks any more.
void judge(KnownTransfer &transfer, const std::vector<SeenHash> &hashes, const std::string &right) {
    for (const SeenHash &hash : hashes) {
        ++transfer.hashChecks;
        transfer.wrongHashes += hash.sum == right ? 0U : 1U;
    }
    const bool isRight = transfer.hashChecks > transfer.wrongHashes;
    if (transfer.state == "came" && !isRight)
        transfer.state = transfer.wrongHashes >= 2 ? "given up" : "failed";
}

std::vector<std::string> linesOf(const std::string &path) {
    std::istringstream text(readText(path));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    return lines;
}

// Every job begins by asking the service, the next one when the one before has ended.
std::vector<Turn> turnsOf(const Witnesses &witnesses) {
    std::vector<Turn> turns;
    const std::vector<SeenHash> hashes = witnesses.hashes();
    auto hash = hashes.begin();
    std::size_t number = 0;
    for (const SeenRequest &request : witnesses.requests()) {
        if (request.method == "POST")
            turns.emplace_back();
        turns.back().requests.push_back(request);
        for (++number; hash != hashes.end() && hash->requestsBefore <= number; ++hash)
            turns.back().hashes.push_back(*hash);
    }
    return turns;
}

// Ends it in the midst of its work.
void killOnce(const std::vector<std::string> &command, const std::function<bool()> &isTime) {
    Program program(command);
    EXPECT_TRUE(comesTrue(isTime));
    program.send(SIGKILL);
    EXPECT_EQ(program.wait().status, 128 + SIGKILL);
}

std::vector<std::string> checkCommand(const std::string &affiliate) {
    return updaterWith({version, affiliate, "CheckForInstall"});
}

void removeWhatWaits() {
    fs::remove(packageListPath);
    fs::remove(waitingMarker);
    fs::remove(updatedProdConfigXml);
}

bool isReadyToInstall() {
    const bool isListed = fs::exists(packageListPath);
    EXPECT_EQ(isListed, fs::exists(waitingMarker));
    EXPECT_EQ(isListed, fs::exists(updatedProdConfigXml));
    return isListed;
}

// --- installations

using Way = PlannedInstallation::Way;

void putInItsWay(const PlannedInstallation &plan) {
    std::string refused;
    for (const std::string &name : plan.refused)
        refused += name + " 3\n";
    writeText(refusals, refused);
    if (plan.way == Way::emptyList)
        writeText(packageListPath, "");
    if (plan.way == Way::noList)
        fs::remove(packageListPath);
    if (plan.way == Way::withoutScript)
        fs::remove_all(repostFolder);
}

// Its status; none where it was killed.
std::optional<int> install(Way way) {
    const std::size_t before = readText(traceLogPath).size();
    const auto hasBegun = [before] {
        return readText(traceLogPath).find("ProductUpdate\n", before) != std::string::npos;
    };
    if (way == Way::killed)
        killOnce(installCommand, [] { return fs::exists(installerScriptPath); });
    else if (way == Way::noList)
        killOnce(installCommand, hasBegun);
    else
        return run(deprivedOf("pauses", installCommand)).status;
    return std::nullopt;
}

std::map<std::string, std::string> installationsOf(const std::vector<std::string> &listed,
                                                   const Witnesses &witnesses) {
    std::map<std::string, std::string> installations;
    for (const std::string &path : listed)
        installations[path] = "not begun";
    for (const auto &[path, status] : witnesses.installed()) {
        // Of these the engine does not look how they end.
        const bool isBranding = path.find("DynamicBranding.pkg") != std::string::npos;
        installations[path] = isBranding ? "ended" : status == 0 ? "installed" : "failed";
    }
    return installations;
}

} // namespace

Customer::Customer()
    : m_configuration(readText(prodConfigXml))
    , m_propertyList(readText(configurationPlistPath)) {
    Witnesses::watchHashTool();
    for (const std::string &name : packageNames()) {
        m_contents[name] = packed({{"/opt/installed/" + name, name + someBytes(600)}});
        m_hotFixes[name] = publishPackage(scriptedHost + "/" + name, m_contents[name]);
        publish(scriptedHost + "/moved/" + name, m_contents[name]);
    }
    publish(scriptedHost + "/page.html", "<html><body>Log in first</body></html>");
}

const std::vector<std::string> &Customer::packageNames() {
    static const std::vector<std::string> names = {"One.pkg",  "Two.pkg",  "Three.pkg",
                                                   "Four.pkg", "Five.pkg", "Six.pkg"};
    return names;
}

void Customer::restore() const {
    fs::remove_all(keyCoreDownloadCache);
    fs::remove_all("/opt/installed");
    removeWhatWaits();
    fs::remove(installerScriptPath);
    fs::remove(traceLogPath);
    writeText(prodConfigXml, m_configuration);
    writeText(configurationPlistPath, m_propertyList);
}

std::vector<HotFix> Customer::hotFixesOf(const PlannedDownload &plan) const {
    std::vector<HotFix> hotFixes;
    for (const PlannedPackage &package : plan.packages) {
        HotFix hotFix = m_hotFixes.at(package.name);
        if (!package.fault->hasHash)
            hotFix.hash.clear();
        if (plan.reply == Reply::unfit)
            hotFix.minVer = "9.0";
        hotFixes.push_back(hotFix);
    }
    return hotFixes;
}

void Customer::offerAll(const PlannedDownload &plan, bool isFresh) const {
    Packages packages;
    std::string rules = rulesFor(plan.reply);
    for (const PlannedPackage &package : plan.packages) {
        packages[package.name] = m_contents.at(package.name);
        rules += rulesFor("/" + package.name, *package.fault);
    }
    std::string catalog = "/core_maccat.xml";
    if (isFresh) {
        offerPackages(freshInstallByHttps, packages);
        catalog = "/" + packages.begin()->first.substr(0, packages.begin()->first.find('.')) + "_maccat.xml";
    } else {
        offer(hotFixesOf(plan));
    }
    if (plan.catalogFault != nullptr)
        rules += rulesFor(catalog, *plan.catalogFault);
    replyWith(plan.reply);
    misbehave(rules);
}

std::map<std::string, KnownTransfer> Customer::transfersOf(const Turn &turn) const {
    std::map<std::string, KnownTransfer> transfers;
    for (const SeenRequest &request : turn.requests) {
        if (request.method == "GET" && request.target.find("/moved/") == std::string::npos)
            count(transfers["https://" + request.host + request.target], request);
    }
    for (auto &[url, transfer] : transfers) {
        const std::string name = url.substr(url.rfind('/') + 1);
        if (!isPackage(name))
            continue;
        std::vector<SeenHash> its;
        std::copy_if(
            turn.hashes.begin(), turn.hashes.end(), std::back_inserter(its),
            [&name](const SeenHash &hash) { return hash.file.substr(hash.file.rfind('/') + 1) == name; });
        judge(transfer, its, m_hotFixes.at(name).hash);
    }
    return transfers;
}

// All but how it ended.
KnownRun Customer::downloaded(const PlannedDownload &plan, const Turn &turn) const {
    KnownRun run;
    for (const SeenRequest &request : turn.requests) {
        if (request.method == "POST" && request.action != "drop")
            run.httpCode = request.status;
    }
    run.answer = repliedIn(plan.reply);
    run.transfers = transfersOf(turn);
    return run;
}

KnownRun Customer::check(const PlannedDownload &plan) const {
    return timed([this, &plan] {
        removeWhatWaits();
        offerAll(plan, false);
        const Witnesses witnesses;
        if (plan.isKilled)
            killOnce(checkCommand(plan.affiliate),
                     [&] { return witnesses.stalled() == plan.packages.size(); });
        else
            EXPECT_EQ(run(checkCommand(plan.affiliate)).status, 0);
        KnownRun known = downloaded(plan, {witnesses.requests(), witnesses.hashes()});
        known.kind = "check";
        known.version = version;
        known.affiliate = plan.affiliate;
        known.recorded = isReadyToInstall();
        const bool hasNone =
            plan.reply == Reply::noUpdate || (plan.reply == Reply::unfit && !plan.catalogFault);
        known.end = plan.isKilled    ? "stopped"
                    : known.recorded ? "well"
                    : hasNone        ? "nothing to do"
                                     : "failed";
        return known;
    });
}

std::vector<KnownRun> Customer::twoChecks(const PlannedDownload &plan) const {
    const std::string begin = now();
    removeWhatWaits();
    offerAll(plan, false);
    const Witnesses witnesses;
    Program first(checkCommand(plan.affiliate));
    EXPECT_TRUE(comesTrue([&] { return witnesses.requests().size() > 1 + plan.packages.size(); }));
    Program second(checkCommand(plan.affiliate));
    EXPECT_EQ(first.wait().status, 0);
    EXPECT_EQ(second.wait().status, 0);
    EXPECT_TRUE(isReadyToInstall());
    std::vector<KnownRun> runs;
    for (const Turn &turn : turnsOf(witnesses)) {
        runs.push_back(downloaded(plan, turn));
        runs.back().kind = "check";
        runs.back().end = "well";
        runs.back().version = version;
        runs.back().affiliate = plan.affiliate;
        runs.back().recorded = true;
        runs.back().notBefore = begin;
        runs.back().notAfter = now();
    }
    runs.back().waited = true;
    return runs;
}

std::vector<KnownRun> Customer::freshInstallation(const PlannedDownload &plan) const {
    const std::string begin = now();
    writeText(configurationPlistPath, m_propertyList);
    offerAll(plan, true);
    const Witnesses witnesses;
    std::vector<std::string> command = commandOf(freshInstallByHttps);
    command.insert(command.end(), {"--retry", std::to_string(plan.retries)});
    bool isComplete = false;
    if (plan.isKilled)
        killOnce(command, [&] { return witnesses.stalled() == plan.packages.size(); });
    else
        isComplete = run(command).status == 0;
    std::vector<KnownRun> runs;
    for (const Turn &turn : turnsOf(witnesses)) {
        runs.push_back(downloaded(plan, turn));
        runs.back().kind = "fresh installation";
        runs.back().end = "failed";
        runs.back().notBefore = begin;
        runs.back().notAfter = now();
    }
    runs.back().recorded = readText(configurationPlistPath) != m_propertyList;
    runs.back().end = plan.isKilled ? "stopped" : isComplete ? "well" : "failed";
    return runs;
}

// What a check would have left.
void Customer::leaveList(const PlannedInstallation &plan) const {
    if (plan.packages.empty() && fs::exists(packageListPath))
        return;
    const std::string folder = packageDirectory() + "/1.0.1.0/";
    fs::create_directories(folder);
    std::string list;
    for (const std::string &name : plan.packages) {
        const bool isBranding = m_contents.count(name) == 0;
        writeText(folder + name, m_contents.at(isBranding ? packageNames().front() : name));
        list += folder + name + "\n";
    }
    writeText(packageListPath, list);
    // The log has grown since the installation before.
    writeText(updatedProdConfigXml,
              m_configuration + "<!-- " + std::to_string(readText(traceLogPath).size()) + " -->\n");
}

KnownRun Customer::installation(const PlannedInstallation &plan) const {
    return timed([this, &plan] {
        fs::remove(installerScriptPath);
        leaveList(plan);
        putInItsWay(plan);
        const std::vector<std::string> listed = linesOf(packageListPath);
        const std::string prepared = readText(updatedProdConfigXml);
        const Witnesses witnesses;
        const std::optional<int> status = install(plan.way);
        EXPECT_EQ(status.value_or(1), listed.empty() && status ? 0 : 1);
        fs::create_directories(repostFolder);
        KnownRun known;
        known.version = version;
        known.affiliate = "105-1";
        // Until it has read its list no line tells that it is one.
        known.kind = plan.way == Way::noList ? "unknown" : "installation";
        known.installations = installationsOf(listed, witnesses);
        const bool isNew = !listed.empty() && readText(prodConfigXml) == prepared;
        known.end = !status ? "stopped" : isNew ? "well" : "failed";
        return known;
    });
}

KnownRun Customer::unknownMode() const {
    return timed([] {
        EXPECT_EQ(run(updaterWith({version, "105-1", "Check"})).status, 0);
        KnownRun known;
        known.kind = "unknown";
        known.end = "failed";
        known.version = version;
        known.affiliate = "105-1";
        return known;
    });
}

KnownRun Customer::missingArguments() const {
    return timed([] {
        EXPECT_EQ(run(updaterWith({"CheckForInstall"})).status, 255);
        KnownRun known;
        known.kind = "unknown";
        known.end = "failed";
        return known;
    });
}
