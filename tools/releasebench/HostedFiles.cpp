#include "HostedFiles.h"

#include <algorithm>
#include <cctype>
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

bool isLetterOrDigit(char character) {
    return std::isalnum(static_cast<unsigned char>(character)) != 0;
}

bool isName(const std::string &host) {
    return isLetterOrDigit(host.front()) && isLetterOrDigit(host.back()) &&
           host.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789.-") == std::string::npos &&
           host.find_first_not_of("0123456789.") != std::string::npos && host != "localhost";
}

// Where a server has it; none for a folder, and for what lies above the server's own.
std::optional<fs::path> hostedAt(const std::string &url) {
    const std::optional<UrlParts> parts = partsForServer(url);
    if (!parts)
        return std::nullopt;
    const fs::path folder = folderOf(parts->host);
    const fs::path hosted = (folder / fs::path(parts->path).relative_path()).lexically_normal();
    const bool isBelow = hosted.string().rfind(folder.string() + "/", 0) == 0;
    return isBelow && hosted.has_filename() ? std::optional(hosted) : std::nullopt;
}

using PublishedAt = std::map<fs::path, Published>;

[[noreturn]] void refuse(const Release &release, const Published &one, const std::string &why) {
    throw UnusableInput(release.at(one.place) + ": " + one.url + " " + why);
}

// A server has no file where it has a folder.
void checkAbove(const fs::path &hosted, const PublishedAt &all, const Release &release) {
    for (fs::path above = hosted.parent_path(); above.has_relative_path(); above = above.parent_path()) {
        const auto found = all.find(above);
        if (found != all.end())
            refuse(release, all.at(hosted), "lies below " + found->second.url + ", which is a file");
    }
}

} // namespace

std::vector<std::string> hostsOf(const Release &release) {
    std::set<std::string> hosts;
    for (const Published &one : publishedBy(release, "")) {
        const std::optional<UrlParts> parts = partsForServer(one.url);
        if (!parts)
            continue;
        if (!isName(parts->host))
            refuse(release, one, "is on a host that no machine can stand in for, expected a host's name");
        hosts.insert(parts->server());
    }
    return {hosts.begin(), hosts.end()};
}

HostedFiles hostedFilesOf(const Release &release, const fs::path &built) {
    PublishedAt all;
    for (const Published &one : publishedBy(release, built)) {
        const std::optional<fs::path> hosted = hostedAt(one.url);
        if (!hosted)
            continue;
        const auto [entry, isNew] = all.emplace(*hosted, one);
        const fs::path &other = entry->second.file;
        if (!isNew && other.lexically_normal() != one.file.lexically_normal())
            refuse(release, one, "is " + other.string() + " already, expected one file at a URL");
    }
    HostedFiles files;
    for (const auto &[hosted, one] : all) {
        checkAbove(hosted, all, release);
        files.emplace(hosted, one.file);
    }
    return files;
}
