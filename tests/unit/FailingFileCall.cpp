#include "FailingFileCall.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

// Never destroyed, since files are written until the very end: coverage counters are after main. With room
// for more calls than a case makes, since another test may just refuse all memory.
std::vector<std::string> &fileCalls = *[] {
    constexpr std::size_t most = 1U << 16U;
    auto *calls = new std::vector<std::string>;
    calls->reserve(most);
    return calls;
}();

namespace {

constexpr long never = -1;

// Calls until the one that fails.
std::atomic<long> callsLeft{never};
std::atomic<int> givenError{0};

bool fails(const char *name, int error) {
    if (callsLeft == never)
        fileCalls.emplace_back(name);
    if (callsLeft == never || callsLeft.fetch_sub(1) != 0)
        return false;
    errno = givenError != 0 ? givenError.load() : error;
    return true;
}

} // namespace

FailingFileCall::FailingFileCall(std::size_t index, int error) noexcept {
    givenError = error;
    callsLeft = static_cast<long>(index);
}

FailingFileCall::~FailingFileCall() {
    callsLeft = never;
}

bool FailingFileCall::happened() const noexcept {
    return callsLeft == never;
}

std::size_t firstFileCall(const std::string &name) {
    return static_cast<std::size_t>(std::find(fileCalls.begin(), fileCalls.end(), name) - fileCalls.begin());
}

// The linker leads the engine's calls here.
// NOLINTBEGIN(bugprone-reserved-identifier): the names that the linker's --wrap asks for
extern "C" {
int __real_open(const char *path, int flags, ...);
int __wrap_open(const char *path, int flags, ...);
int __wrap_open(const char *path, int flags, ...) {
    if (fails("open", EMFILE))
        return -1;
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return __real_open(path, flags, mode);
}

ssize_t __real_read(int file, void *buffer, size_t size);
ssize_t __wrap_read(int file, void *buffer, size_t size);
ssize_t __wrap_read(int file, void *buffer, size_t size) {
    return fails("read", EIO) ? -1 : __real_read(file, buffer, size);
}

ssize_t __real_write(int file, const void *buffer, size_t size);
ssize_t __wrap_write(int file, const void *buffer, size_t size);
ssize_t __wrap_write(int file, const void *buffer, size_t size) {
    return fails("write", ENOSPC) ? -1 : __real_write(file, buffer, size);
}

int __real_fsync(int file);
int __wrap_fsync(int file);
int __wrap_fsync(int file) {
    return fails("fsync", EIO) ? -1 : __real_fsync(file);
}

int __real_fchown(int file, uid_t owner, gid_t group);
int __wrap_fchown(int file, uid_t owner, gid_t group);
int __wrap_fchown(int file, uid_t owner, gid_t group) {
    return fails("fchown", EIO) ? -1 : __real_fchown(file, owner, group);
}

int __real_fchmod(int file, mode_t mode);
int __wrap_fchmod(int file, mode_t mode);
int __wrap_fchmod(int file, mode_t mode) {
    return fails("fchmod", EIO) ? -1 : __real_fchmod(file, mode);
}

int __real_rename(const char *from, const char *to);
int __wrap_rename(const char *from, const char *to);
int __wrap_rename(const char *from, const char *to) {
    return fails("rename", EIO) ? -1 : __real_rename(from, to);
}
}
// NOLINTEND(bugprone-reserved-identifier)
