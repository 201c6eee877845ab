#include "Digests.h"

#include <atomic>
#include <cerrno>
#include <memory>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "Descriptor.h"
#include "Sha1.h"
#include "SideBySide.h"

namespace {

[[noreturn]] void fail(const std::filesystem::path &file) {
    throw std::system_error(errno, std::generic_category(), file.string());
}

FileFacts factsOf(const std::filesystem::path &file, std::atomic<std::uintmax_t> &bytesRead) {
    const Descriptor descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!descriptor)
        fail(file);
    Sha1 digest;
    constexpr std::size_t blockSize = 1U << 18U;
    const std::unique_ptr<unsigned char[]> block(new unsigned char[blockSize]); // as it comes
    std::uintmax_t size = 0;
    while (true) {
        const ssize_t count = read(descriptor.number(), block.get(), blockSize);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            fail(file);
        if (count == 0)
            break;
        digest.add(block.get(), static_cast<std::size_t>(count));
        size += static_cast<std::uintmax_t>(count);
        bytesRead += static_cast<std::uintmax_t>(count);
    }
    return {std::to_string(size), digest.hex()};
}

std::uintmax_t totalSize(const std::vector<std::filesystem::path> &files) {
    std::uintmax_t size = 0;
    for (const std::filesystem::path &file : files)
        size += std::filesystem::file_size(file);
    return size;
}

} // namespace

std::map<std::filesystem::path, FileFacts>
factsOfFiles(const std::vector<std::filesystem::path> &files,
             const std::function<void(const HashProgress &)> &watcher) {
    const std::uintmax_t total = totalSize(files);
    std::vector<FileFacts> facts(files.size()); // each written by the one thread that took the file
    std::atomic<std::uintmax_t> bytes{0};
    runSideBySide(
        files.size(), std::thread::hardware_concurrency(),
        [&](std::size_t i) { facts[i] = factsOf(files[i], bytes); },
        [&] {
            watcher({bytes, total});
        });
    std::map<std::filesystem::path, FileFacts> byFile;
    for (std::size_t i = 0; i < files.size(); ++i)
        byFile.emplace_hint(byFile.end(), files[i], std::move(facts[i]));
    return byFile;
}
