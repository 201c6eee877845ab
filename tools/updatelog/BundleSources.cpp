#include "BundleSources.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Descriptor.h"
#include "Paths.h"
#include "Readable.h"

namespace {

// Made by the system or by the suite's installer; on some systems they are links of the system's own. Below
// them nothing is followed: what stands there may be anybody's.
constexpr std::array<const char *, 6> trustedFolders = {"/System/Library/CoreServices",
                                                        "/private/tmp",
                                                        "/tmp",
                                                        "/usr/local/Brovik",
                                                        "/usr/local/repost",
                                                        "/var/log"};

// What keeps a file out.
class NotTaken : public std::runtime_error {
public:
    explicit NotTaken(const std::string &why)
        : std::runtime_error(why) {}
    // For errno.
    static NotTaken byError() {
        const bool isGone = errno == ENOENT || errno == ENOTDIR;
        NotTaken reason(isGone ? "there is none" : std::generic_category().message(errno));
        reason.isAbsent = isGone;
        return reason;
    }

    bool isAbsent = false;
};

std::vector<std::string> partsOf(std::string_view path) {
    std::vector<std::string> parts;
    while (!path.empty()) {
        const std::size_t end = std::min(path.find('/'), path.size());
        if (end > 0)
            parts.emplace_back(path.substr(0, end));
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return parts;
}

std::string trustedFolderOf(const std::string &path) {
    for (std::string folder : trustedFolders) {
        if (path.rfind(folder + "/", 0) == 0)
            return folder;
    }
    throw NotTaken("it is in no folder of the engine's");
}

struct stat statusOf(int folder, const std::string &name) {
    struct stat status {};
    if (fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        throw NotTaken::byError();
    if (S_ISLNK(status.st_mode))
        throw NotTaken("a link, which is not followed: " + name);
    return status;
}

Descriptor folderIn(int folder, const std::string &name) {
    static_cast<void>(statusOf(folder, name));
    Descriptor inner(openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!inner)
        throw NotTaken::byError();
    return inner;
}

// A second name may be one that somebody gave to a file of somebody else's.
void expectPlainFile(const struct stat &status) {
    if (!S_ISREG(status.st_mode))
        throw NotTaken("no regular file");
    if (status.st_nlink > 1)
        throw NotTaken("it has a second name, so it may be another file");
}

// Looked at before, since to open a device may set something off, and after, since it may be another one.
Descriptor fileIn(int folder, const std::string &name, struct stat &status) {
    expectPlainFile(statusOf(folder, name));
    Descriptor file(openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file || fstat(file.number(), &status) != 0)
        throw NotTaken::byError();
    expectPlainFile(status);
    return file;
}

// The folder in which the path's last part is.
Descriptor folderOf(const std::string &path) {
    const std::string trusted = trustedFolderOf(path);
    const std::vector<std::string> parts = partsOf(std::string_view(path).substr(trusted.size()));
    std::optional<Descriptor> folder(std::in_place,
                                     open(trusted.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!*folder)
        throw NotTaken::byError();
    for (std::size_t i = 0; i + 1 < parts.size(); ++i) {
        Descriptor inner = folderIn(folder->number(), parts[i]);
        folder.emplace(std::move(inner));
    }
    return std::move(*folder);
}

// As much as there is, but no more than that.
std::string contentOf(int file, std::size_t most) {
    std::string content;
    std::array<char, 65536> block{};
    while (content.size() < most) {
        const ssize_t count = read(file, block.data(), std::min(block.size(), most - content.size()));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw NotTaken::byError();
        if (count == 0)
            break;
        content.append(block.data(), static_cast<std::size_t>(count));
    }
    return content;
}

// Half a line tells nothing, and may hold half a value that is to be masked.
void beginWithLine(std::string &text) {
    const std::size_t end = text.find('\n');
    text.erase(0, end == std::string::npos ? text.size() : end + 1);
}

bool isBranchEnd(const std::string &name) {
    return name == "." || name == "..";
}

// In the order of their names; one more than may be taken at most.
std::vector<std::string> namesIn(Descriptor folder) {
    const int copy = dup(folder.number());
    DIR *const opened = copy < 0 ? nullptr : fdopendir(copy);
    if (opened == nullptr) {
        const NotTaken reason = NotTaken::byError();
        if (copy >= 0)
            static_cast<void>(close(copy));
        throw reason;
    }
    const std::unique_ptr<DIR, int (*)(DIR *)> entries(opened, closedir);
    std::vector<std::string> names;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody else has the stream
    while (const dirent *const entry = readdir(entries.get())) {
        if (!isBranchEnd(entry->d_name))
            names.emplace_back(entry->d_name);
        if (names.size() > mostBundledFiles)
            break;
    }
    std::sort(names.begin(), names.end());
    return names;
}

bool hasControls(const std::string &name) {
    return std::any_of(name.begin(), name.end(), [](char character) {
        const auto code = static_cast<unsigned char>(character);
        return code < 0x20 || code == 0x7f;
    });
}

class Collection {
public:
    void take(const std::string &path, std::size_t mostOfEnd = 0) {
        try {
            takeFrom(folderOf(path), path, mostOfEnd);
        } catch (const NotTaken &reason) {
            m_content.missing.push_back({path, reason.what(), reason.isAbsent});
        }
    }
    // The files that stand right in it.
    void takeFolder(const std::string &path) {
        try {
            const Descriptor above = folderOf(path);
            const std::vector<std::string> names = namesIn(folderIn(above.number(), partsOf(path).back()));
            for (const std::string &name : names)
                takeNamed(path, name);
            if (names.size() > mostBundledFiles)
                throw NotTaken("it holds more files than are looked at");
        } catch (const NotTaken &reason) {
            m_content.missing.push_back({path, reason.what(), reason.isAbsent});
        }
    }
    BundleContent content() && { return std::move(m_content); }

private:
    // A list of files has a line for each, and no archive that means well has such a name.
    void takeNamed(const std::string &folder, const std::string &name) {
        if (hasControls(name))
            m_content.missing.push_back({folder + "/" + printable(name), "its name has control characters"});
        else
            take(folder + "/" + name);
    }

    void takeFrom(const Descriptor &folder, const std::string &path, std::size_t mostOfEnd) {
        if (m_content.files.size() == mostBundledFiles)
            throw NotTaken("there are too many files");
        struct stat status {};
        const Descriptor file = fileIn(folder.number(), partsOf(path).back(), status);
        BundledFile taken;
        taken.path = path;
        taken.bytes = static_cast<std::uint64_t>(status.st_size);
        const std::size_t most = mostOfEnd == 0 ? m_left : std::min(mostOfEnd, m_left);
        taken.isEndOnly = mostOfEnd != 0 && taken.bytes > most;
        if (!taken.isEndOnly && taken.bytes > most)
            throw NotTaken("it is too long");
        if (taken.isEndOnly && lseek(file.number(), static_cast<off_t>(taken.bytes - most), SEEK_SET) == -1)
            throw NotTaken::byError();
        taken.content = contentOf(file.number(), most);
        if (taken.isEndOnly)
            beginWithLine(taken.content);
        m_left -= taken.content.size();
        m_content.files.push_back(std::move(taken));
    }

    BundleContent m_content;
    std::size_t m_left = mostBundledBytes;
};

} // namespace

BundleContent bundleSources() {
    Collection collection;
    collection.take(traceLogPath, mostBundledOfLog); // first, so that nothing else takes its room
    for (const std::string &path :
         {prodConfigXml, updatedProdConfigXml, std::string(configurationPlistPath),
          std::string(dynaConfigPlistPath), std::string(systemVersionPlistPath), std::string(packageListPath),
          std::string(installerScriptPath), std::string(newInstallerScriptPath)})
        collection.take(path);
    collection.takeFolder(coreCatalogDirectory());
    collection.takeFolder(partnerCatalogDirectory());
    return std::move(collection).content();
}
