#include "RegularFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

[[noreturn]] void throwError(const char *step) {
    throw std::system_error(errno, std::generic_category(), step);
}

} // namespace

bool isMomentary(int error) noexcept {
    constexpr std::array<int, 7> momentary = {EMFILE, ENFILE, ENOMEM, ENOBUFS, EIO, EINTR, EAGAIN};
    return std::find(momentary.begin(), momentary.end(), error) != momentary.end();
}

RegularFile::RegularFile(Descriptor descriptor, bool isOwn) noexcept
    : m_descriptor(std::move(descriptor))
    , m_isOwn(isOwn) {
}

std::optional<RegularFile> RegularFile::open(const std::string &path, Links links) {
    const int noLinks = links == Links::refuse ? O_NOFOLLOW : 0;
    // Without O_NONBLOCK a FIFO would be waited for until somebody writes to it.
    Descriptor descriptor(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | noLinks));
    if (!descriptor) {
        if (isMomentary(errno))
            throwError("open");
        return std::nullopt;
    }
    struct stat status {};
    if (fstat(descriptor.number(), &status) != 0)
        throwError("fstat");
    if (!S_ISREG(status.st_mode))
        return std::nullopt;
    // A second name may be a hard link that somebody else made to any file of one's own.
    const bool isOwn =
        status.st_uid == geteuid() && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0 && status.st_nlink <= 1;
    return RegularFile(std::move(descriptor), isOwn);
}

std::optional<std::string> RegularFile::read(std::size_t limit) {
    std::string content;
    std::array<char, 65536> block; // filled before it is read
    while (true) {
        const ssize_t count = ::read(m_descriptor.number(), block.data(), block.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throwError("read");
        if (count == 0)
            return content;
        // The file may grow meanwhile, so that its size at the beginning says nothing.
        if (static_cast<std::size_t>(count) > limit - content.size())
            return std::nullopt;
        content.append(block.data(), static_cast<std::size_t>(count));
    }
}

bool isAbsent(const std::string &path) noexcept {
    struct stat status {};
    return lstat(path.c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR);
}
