#include "HostedFiles.h"

#include <algorithm>
#include <optional>
#include <set>

#include "UnusableInput.h"
#include "UrlParts.h"

namespace {

namespace fs = std::filesystem;

const fs::path servers = "/srv/rehearsal";

// One file that the release publishes.
struct Published {
    std::string url;
    std::string place; // in release.json
    fs::path file;
};

std::vector<Published> publishedBy(const Release &release, const fs::path &built) {
    std::vector<Published> all;
    const auto add = [&](const ReleasePackage &package) {
        all.push_back({package.url, package.place + "/url", fs::absolute(release.folder / package.file)});
    };
    for (const ReleaseCatalog &catalog : release.catalogs) {
        all.push_back({catalog.url(), catalog.place + "/root", built / "catalogs" / (catalog.name + ".xml")});
        if (catalog.fullInstall)
            add(*catalog.fullInstall);
        std::for_each(catalog.hotFixes.begin(), catalog.hotFixes.end(), add);
    }
    return all;
}

std::optional<UrlParts> partsForServer(const std::string &url) {
    std::optional<UrlParts> parts = partsOf(url);
    if (parts && parts->scheme != "http" && parts->scheme != "https")
        return std::nullopt;
    return parts;
}

// The sealed machine has these hosts in any case; rehearsal/README.md tells of them.
fs::path folderOf(const std::string &host) {
    if (host == "download.brovik.example")
        return servers / "download";
    if (host == "scripted.brovik.example" || host == "catalogs.brovik.example" ||
        host == "packages.brovik.example")
        return servers / "scripted";
    return servers / "hosts" / host;
}

bool isName(const std::string &host) {
    return host.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789.-") == std::string::npos &&
           host.find_first_not_of("0123456789.") != std::string::npos && host != "localhost";
}

} // namespace

std::vector<std::string> hostsOf(const Release &release) {
    std::set<std::string> hosts;
    for (const Published &one : publishedBy(release, "")) {
        const std::optional<UrlParts> parts = partsForServer(one.url);
        if (!parts)
            continue;
        if (!isName(parts->host))
            throw UnusableInput(release.at(one.place) + ": " + one.url +
                                " is on a host that no machine can stand in for, expected a host's name");
        hosts.insert(parts->server());
    }
    return {hosts.begin(), hosts.end()};
}

HostedFiles hostedFilesOf(const Release &release, const fs::path &built) {
    HostedFiles files;
    for (const Published &one : publishedBy(release, built)) {
        const std::optional<UrlParts> parts = partsForServer(one.url);
        if (!parts)
            continue;
        const fs::path hosted = folderOf(parts->host) / fs::path(parts->path).relative_path();
        const auto [entry, isNew] = files.emplace(hosted.lexically_normal(), one.file);
        if (!isNew && entry->second.lexically_normal() != one.file.lexically_normal())
            throw UnusableInput(release.at(one.place) + ": " + one.url + " is " + entry->second.string() +
                                " already, expected one file at a URL");
    }
    return files;
}
