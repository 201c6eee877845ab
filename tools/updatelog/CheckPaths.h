// Looking at paths without touching what stands there.
#pragma once

#include <optional>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

inline std::string folderOfPath(const std::string &path) {
    const std::size_t slash = path.rfind('/');
    return slash == 0 ? "/" : path.substr(0, slash);
}

// What a path leads to; none where nothing does.
inline std::optional<struct stat> statusOf(const std::string &path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? std::optional(status) : std::nullopt;
}

// What stands at a path itself, a link say.
inline std::optional<struct stat> statusAt(const std::string &path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 ? std::optional(status) : std::nullopt;
}

inline bool isFolder(const std::string &path) {
    const auto status = statusOf(path);
    return status && S_ISDIR(status->st_mode);
}

// Whether it is root's and nobody else may write to it.
inline bool isOnlyRoots(const struct stat &status) {
    return status.st_uid == 0 && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

// Whether nobody may write to it but root, or whoever the whole machine belongs to: where a container knows
// no root of the machine, its folders seem to be another's.
inline bool isOnlyTheSystems(const struct stat &status) {
    const auto whole = statusOf("/");
    return isOnlyRoots(status) ||
           (whole && status.st_uid == whole->st_uid && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0);
}

// The folder itself, or the one in which it would be made.
inline std::string nearestFolder(std::string path) {
    while (path != "/" && !statusAt(path))
        path = folderOfPath(path);
    return path;
}
