#include "Servers.h"

#include <atomic>
#include <cerrno>
#include <numeric>
#include <optional>
#include <set>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "Build.h"
#include "CertificateCheck.h"
#include "Descriptor.h"
#include "ExternalLibraries.h"
#include "FileCheck.h"
#include "HashBar.h"
#include "Paper.h"
#include "ReleaseFile.h"
#include "ReplyCheck.h"
#include "Sha1.h"
#include "SideBySide.h"
#include "Statuses.h"
#include "UrlParts.h"

namespace {

namespace fs = std::filesystem;

std::string bytesOf(const fs::path &file, std::uint64_t offset, std::size_t count) {
    const Descriptor descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC));
    std::string bytes(count, '\0');
    std::size_t got = 0;
    ssize_t more = descriptor ? 1 : -1;
    while (got < count && more > 0) {
        more = pread(descriptor.number(), bytes.data() + got, count - got, static_cast<off_t>(offset + got));
        got += more > 0 ? static_cast<std::size_t>(more) : 0;
    }
    if (more < 0)
        throw std::system_error(errno, std::generic_category(), file.string());
    bytes.resize(got);
    return bytes;
}

PublishedFile publishedPackage(const Release &release, const ReleasePackage &package,
                               const PackageFacts &facts) {
    const fs::path file = release.folder / package.file;
    const FileFacts &known = facts.at(file);
    return {package.url, package.file, std::stoull(known.size), known.hash,
            [file](std::uint64_t offset, std::size_t count) { return bytesOf(file, offset, count); }};
}

PublishedFile publishedText(std::string url, std::string name, const std::string &text) {
    Sha1 sha1;
    sha1.add(text.data(), text.size());
    return {std::move(url), std::move(name), text.size(), sha1.hex(),
            [text](std::uint64_t offset, std::size_t count) { return text.substr(offset, count); }};
}

// Each URL once.
std::vector<PublishedFile> publishedFiles(const Release &release) {
    const PackageFacts facts = factsOfPackages(release);
    const FolderFiles built = publicationOf(release, facts);
    std::vector<PublishedFile> files;
    std::set<std::string> urls;
    const auto add = [&](PublishedFile file) {
        if (urls.insert(file.url).second)
            files.push_back(std::move(file));
    };
    for (const ReleaseCatalog &catalog : release.catalogs) {
        const std::string name = "catalogs/" + catalog.name + ".xml";
        add(publishedText(catalog.url(), name, built.at(name)));
    }
    for (const ReleaseCatalog &catalog : release.catalogs) {
        if (catalog.fullInstall)
            add(publishedPackage(release, *catalog.fullInstall, facts));
        for (const ReleaseHotFix &hotFix : catalog.hotFixes)
            add(publishedPackage(release, hotFix, facts));
    }
    return files;
}

// Everybody whom the release names, in both jobs. Where it is for everybody, somebody without an affiliate
// asks.
std::vector<ServiceRequest> requestsOf(const Release &release, const ServersOptions &options) {
    std::set<std::pair<std::string, std::string>> askers;
    for (const Audience &audience : release.audience) {
        for (const std::string &affiliate : audience.affiliates) {
            for (const ReleaseProduct &product : audience.products)
                askers.emplace(affiliate == "*" ? "0" : affiliate, product.application);
        }
    }
    std::vector<ServiceRequest> requests;
    for (const auto &[affiliate, application] : askers) {
        for (const Job job : {Job::update, Job::freshInstall})
            requests.push_back({{affiliate, application},
                                job,
                                serviceUrl(job, options.service),
                                options.system,
                                options.releaseName});
    }
    return requests;
}

std::vector<std::string> secureServersOf(const std::vector<PublishedFile> &files,
                                         const std::vector<ServiceRequest> &requests) {
    std::set<std::string> servers;
    const auto add = [&servers](const std::string &url) {
        const auto parts = partsOf(url);
        if (parts && parts->scheme == "https")
            servers.insert(parts->server());
    };
    for (const PublishedFile &file : files)
        add(file.url);
    for (const ServiceRequest &request : requests)
        add(request.url);
    return {servers.begin(), servers.end()};
}

// What the work gives for each of the items, several at a time.
template <typename Item, typename Work, typename Watch>
auto sideBySide(const std::vector<Item> &items, std::size_t parallel, Work work, Watch watch) {
    std::vector<decltype(work(items.front()))> results(items.size()); // each written by one thread
    runSideBySide(
        items.size(), parallel, [&](std::size_t i) { results[i] = work(items[i]); }, watch);
    return results;
}

// With a bar for the bytes that come. Replies are read when nothing is drawn, since the engine prints while
// it reads.
std::vector<ServerCheck> checkAll(const Release &release, const ServersOptions &options) {
    const std::vector<PublishedFile> files = publishedFiles(release);
    const std::vector<ServiceRequest> requests = requestsOf(release, options);
    const AskingTime time{std::chrono::seconds(options.timeout),
                          std::chrono::steady_clock::now() + std::chrono::seconds(options.totalTimeout)};
    const auto bytes =
        std::accumulate(files.begin(), files.end(), std::uintmax_t{0},
                        [](std::uintmax_t before, const PublishedFile &file) { return before + file.size; });
    std::atomic<std::uintmax_t> bytesRead{0};
    std::optional<HashBar> bar("asking");
    const auto watch = [&] { bar->show({bytesRead, bytes}); };

    std::vector<ServerCheck> checks = sideBySide(
        secureServersOf(files, requests), options.parallel,
        [&](const std::string &server) { return checkCertificate(server, time); }, watch);
    const std::vector<ServiceAnswer> answers = sideBySide(
        requests, options.parallel, [&](const ServiceRequest &request) { return askService(request, time); },
        watch);
    HttpAskers askers(time);
    const auto checkOne = [&](const PublishedFile &file) {
        return askers.with([&](const HttpAsker &asker) { return checkFile(file, asker, bytesRead); });
    };
    const std::vector<ServerCheck> fileChecks = sideBySide(files, options.parallel, checkOne, watch);
    bar.reset();
    checks.reserve(checks.size() + requests.size() + files.size());
    for (std::size_t i = 0; i < requests.size(); ++i)
        checks.push_back(checkReply(requests[i], answers[i], release));
    checks.insert(checks.end(), fileChecks.begin(), fileChecks.end());
    return checks;
}

std::size_t findingsOf(const std::vector<ServerCheck> &checks) {
    std::size_t findings = 0;
    for (const ServerCheck &check : checks)
        findings += check.findings.size();
    return findings;
}

void tell(const std::vector<ServerCheck> &checks, Paper &paper) {
    constexpr std::size_t hanging = 6;
    for (const ServerCheck &check : checks) {
        const bool isWell = check.findings.empty();
        std::string line = std::string(isWell ? "ok       " : "DIFFERS  ") + check.kind + " " + check.subject;
        for (std::size_t i = 0; i < check.facts.size(); ++i)
            line += (i == 0 ? ": " : ", ") + check.facts[i];
        paper.line(line, hanging, isWell ? Colour::green : Colour::red);
        for (const ServerFinding &finding : check.findings)
            paper.line("    " + finding.id + ": " + finding.text, hanging);
    }
    const std::size_t findings = findingsOf(checks);
    paper.line(std::to_string(checks.size()) + " checks, " +
               (findings == 0   ? "all as the folder says"
                : findings == 1 ? "1 finding"
                                : std::to_string(findings) + " findings"));
}

} // namespace

int runServers(const ServersOptions &options) {
    initialiseExternalLibraries(); // before any thread
    const std::vector<ServerCheck> checks = checkAll(readRelease(options.folder), options);
    Paper paper;
    if (options.format == "json")
        paper.verbatim(checksInJson(checks) + "\n");
    else
        tell(checks, paper);
    paper.finish();
    return findingsOf(checks) == 0 ? Statuses::done : Statuses::findings;
}
