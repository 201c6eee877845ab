#pragma once

#include <cstdio>
#include <random>
#include <string>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "File.h"

// A new file beside another one, removed again unless it takes the other one's place.
class ReplacementFile {
public:
    explicit ReplacementFile(std::string target)
        : m_target(std::move(target))
        , m_path(m_target + "." + std::to_string(std::random_device()()))
        , m_replaces(lstat(m_target.c_str(), &m_old) == 0 && S_ISREG(m_old.st_mode)) {
        // Never more open to others than the file that it replaces, from the first moment.
        const mode_t mode = m_replaces ? m_old.st_mode & 0777U : 0666U;
        m_descriptor = open(m_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    }
    ~ReplacementFile() {
        // A file that was renamed or never made is not there any more; nobody could be told of another
        // failure.
        if (m_descriptor >= 0)
            static_cast<void>(unlink(m_path.c_str()));
    }
    ReplacementFile(const ReplacementFile &) = delete;
    ReplacementFile &operator=(const ReplacementFile &) = delete;

    // To be called once. False when the bytes could not be written or the place not be taken.
    bool fillAndCommit(std::string_view bytes) {
        if (m_descriptor < 0)
            return false;
        File file(fdopen(m_descriptor, "w"));
        if (!file) {
            static_cast<void>(close(m_descriptor)); // nothing was written yet that could be lost
            return false;
        }
        if (m_replaces && !takeOwnerAndMode())
            return false;
        if (std::fwrite(bytes.data(), 1, bytes.size(), file.get()) != bytes.size())
            return false;
        // On the disk before it takes the place, or a loss of power could leave neither content.
        if (std::fflush(file.get()) != 0 || fsync(m_descriptor) != 0)
            return false;
        if (std::fclose(file.release()) != 0)
            return false;
        return std::rename(m_path.c_str(), m_target.c_str()) == 0;
    }

private:
    bool takeOwnerAndMode() const {
        return fchown(m_descriptor, m_old.st_uid, m_old.st_gid) == 0 &&
               fchmod(m_descriptor, m_old.st_mode & 07777U) == 0;
    }

    std::string m_target;
    std::string m_path;
    struct stat m_old {};
    bool m_replaces;
    int m_descriptor = -1;
};

// Gives a file new content at once: a reader sees the old or the new content, never a half. An existing file
// keeps its mode and owner. A symbolic link is replaced and not followed: the folder may be open to
// everybody, and a link in it would lead root to any other file. False when it failed; the file is unchanged
// then.
inline bool replaceFile(const std::string &path, std::string_view bytes) {
    return ReplacementFile(path).fillAndCommit(bytes);
}
