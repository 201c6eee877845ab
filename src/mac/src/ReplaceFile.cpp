#include "ReplaceFile.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <optional>
#include <random>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Descriptor.h"
#include "WriteSignalBlock.h"

namespace {

constexpr mode_t modeOfNewFile = 0666;     // less the file-creation mask, as standard I/O has it
constexpr mode_t modeOfNewListFile = 0644; // never writable for others, whatever the mask
constexpr int mostLinks = 40;

bool writeAll(const Descriptor &file, std::string_view bytes) {
    const WriteSignalBlock block;
    while (!bytes.empty()) {
        const ssize_t count = write(file.number(), bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

std::string folderOf(const std::string &path) {
    return path.substr(0, path.rfind('/') + 1);
}

// Without it a loss of power could bring the old name back. Some file systems cannot; the content is whole in
// either case.
void flushFolderOf(const std::string &path) {
    const std::string folder = folderOf(path);
    const Descriptor descriptor(open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_CLOEXEC));
    if (descriptor)
        static_cast<void>(fsync(descriptor.number()));
}

// A new file beside another one, removed again unless it takes the other one's place.
class ReplacementFile {
public:
    ReplacementFile(std::string target, mode_t mode)
        : m_target(std::move(target))
        , m_path(m_target + "." + std::to_string(std::random_device()()))
        , m_file(open(m_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode))
        , m_isThere(static_cast<bool>(m_file)) {
        if (!m_file)
            m_error = errno;
    }
    ~ReplacementFile() {
        if (m_isThere)
            static_cast<void>(unlink(m_path.c_str())); // nobody could be told of another failure
    }
    ReplacementFile(const ReplacementFile &) = delete;
    ReplacementFile &operator=(const ReplacementFile &) = delete;

    bool takeOwnerAndMode(const struct stat &other) {
        struct stat own {};
        if (!m_file || fstat(m_file.number(), &own) != 0)
            return false;
        const bool isOwnersAlready = own.st_uid == other.st_uid && own.st_gid == other.st_gid;
        if ((isOwnersAlready || fchown(m_file.number(), other.st_uid, other.st_gid) == 0) &&
            fchmod(m_file.number(), other.st_mode & 07777U) == 0)
            return true;
        m_error = errno;
        return false;
    }

    // To be called once.
    bool fillAndCommit(std::string_view bytes) {
        if (!m_file || !writeAll(m_file, bytes))
            return false;
        // On the disk before it takes the place, or a loss of power could leave neither content.
        if (fsync(m_file.number()) != 0 || !m_file.close())
            return false;
        if (std::rename(m_path.c_str(), m_target.c_str()) != 0) {
            m_error = errno;
            return false;
        }
        m_isThere = false;
        flushFolderOf(m_target);
        return true;
    }

    // Whether there may be no other file in the other one's place: the folder takes none, its owner cannot be
    // given, or the name is a mount or as long as a name can be.
    bool isRefused() const {
        return m_error == EACCES || m_error == EPERM || m_error == EBUSY || m_error == ENAMETOOLONG;
    }

private:
    std::string m_target;
    std::string m_path;
    Descriptor m_file;
    bool m_isThere;
    int m_error = 0;
};

enum class Replaced { yes, no, refused };

// Never more open to others than the file that is replaced, from the first moment.
Replaced replaceKeepingMode(const std::string &path, const struct stat &old, std::string_view bytes) {
    ReplacementFile file(path, old.st_mode & 0777U);
    if (file.takeOwnerAndMode(old) && file.fillAndCommit(bytes))
        return Replaced::yes;
    return file.isRefused() ? Replaced::refused : Replaced::no;
}

// The path that a path leads to, link by link, so that a link to a file that is not there yet is followed
// too.
std::optional<std::string> followLinks(std::string path) {
    std::array<char, PATH_MAX> link{};
    for (int links = 0; links < mostLinks; ++links) {
        const ssize_t length = readlink(path.c_str(), link.data(), link.size());
        if (length < 0)
            return errno == EINVAL || errno == ENOENT ? std::optional(std::move(path)) : std::nullopt;
        const std::string next(link.data(), static_cast<std::size_t>(length));
        path = next.substr(0, 1) == "/" ? next : folderOf(path).append(next);
    }
    return std::nullopt;
}

// A name below /proc or /dev may lead to a file by other means than its text.
bool isSameFile(const std::string &path, const struct stat &file) {
    struct stat found {};
    return lstat(path.c_str(), &found) == 0 && found.st_dev == file.st_dev && found.st_ino == file.st_ino;
}

// Nobody is waited for: neither a writer to let a file go nor a reader to open a FIFO.
Descriptor openToWrite(const std::string &path) {
    return Descriptor(open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

bool writeInPlace(Descriptor file, std::string_view bytes) {
    const int flags = file ? fcntl(file.number(), F_GETFL) : -1;
    // A slow reader, though, has its time.
    if (flags < 0 || fcntl(file.number(), F_SETFL, flags & ~O_NONBLOCK) != 0)
        return false;
    return writeAll(file, bytes) && file.close();
}

} // namespace

bool replaceFile(const std::string &path, std::string_view bytes) {
    struct stat old {};
    if (lstat(path.c_str(), &old) == 0 && S_ISREG(old.st_mode))
        return replaceKeepingMode(path, old, bytes) == Replaced::yes;
    return replaceByOwnFile(path, bytes);
}

bool replaceByOwnFile(const std::string &path, std::string_view bytes) {
    return ReplacementFile(path, modeOfNewListFile).fillAndCommit(bytes);
}

bool rewriteFile(const std::string &path, std::string_view bytes) {
    const std::optional<std::string> target = followLinks(path);
    if (!target)
        return false;
    struct stat old {};
    if (stat(path.c_str(), &old) != 0)
        return errno == ENOENT && ReplacementFile(*target, modeOfNewFile).fillAndCommit(bytes);
    if (!S_ISREG(old.st_mode))
        return writeInPlace(openToWrite(path), bytes);
    // A rename would succeed where writing to the file is not allowed.
    Descriptor file = openToWrite(path);
    if (!file || !isSameFile(*target, old))
        return false;
    const Replaced replaced = replaceKeepingMode(*target, old, bytes);
    if (replaced == Replaced::refused && ftruncate(file.number(), 0) == 0)
        return writeInPlace(std::move(file), bytes);
    return replaced == Replaced::yes;
}
