#include "DownloadFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

File openDownloadFile(const char *path, bool append) noexcept {
    // As fopen opens it with "ab" or "wb", but for the inheritance.
    constexpr mode_t readAndWriteForAll = 0666; // less the process's mask
    // Without O_NONBLOCK a FIFO in the file's place would be waited for until somebody reads it. It stays
    // set: a transfer is not to wait for a reader that lags, since a FIFO is no package.
    const int descriptor =
        open(path, O_WRONLY | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | (append ? O_APPEND : O_TRUNC),
             readAndWriteForAll);
    if (descriptor < 0)
        return nullptr;
    File file(fdopen(descriptor, append ? "ab" : "wb"));
    if (!file) {
        static_cast<void>(close(descriptor)); // empty still
        return nullptr;
    }
    // A disk that is full at the last bytes of a transfer would else show only when all is over, and bytes
    // that wait for room could come into the file behind those of the next transfer.
    if (std::setvbuf(file.get(), nullptr, _IONBF, 0) != 0)
        return nullptr;
    return file;
}

bool cutDownloadFile(const char *path, long size) noexcept {
    struct stat status {};
    if (stat(path, &status) != 0 || status.st_size < size)
        return false;
    return status.st_size == size || truncate(path, size) == 0;
}
