#include "Digests.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <system_error>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <openssl/evp.h>
#include <unistd.h>

#include "Descriptor.h"

namespace {

struct FreeDigest {
    void operator()(EVP_MD_CTX *context) const noexcept { EVP_MD_CTX_free(context); }
};

[[noreturn]] void fail(const std::filesystem::path &file) {
    throw std::system_error(errno, std::generic_category(), file.string());
}

// The library fails for want of memory only.
void must(int result) {
    if (result != 1)
        throw std::bad_alloc();
}

std::string upperCaseHex(const unsigned char *bytes, unsigned count) {
    constexpr const char *digits = "0123456789ABCDEF";
    std::string text;
    for (unsigned i = 0; i < count; ++i) {
        text += digits[bytes[i] >> 4U];
        text += digits[bytes[i] & 0xFU];
    }
    return text;
}

FileFacts factsOf(const std::filesystem::path &file, std::atomic<std::uintmax_t> &bytesRead) {
    const Descriptor descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!descriptor)
        fail(file);
    const std::unique_ptr<EVP_MD_CTX, FreeDigest> digest(EVP_MD_CTX_new());
    must(digest ? EVP_DigestInit_ex(digest.get(), EVP_sha1(), nullptr) : 0);
    constexpr std::size_t blockSize = 1U << 18U;
    std::vector<unsigned char> block(blockSize);
    std::uintmax_t size = 0;
    while (true) {
        const ssize_t count = read(descriptor.number(), block.data(), block.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            fail(file);
        if (count == 0)
            break;
        must(EVP_DigestUpdate(digest.get(), block.data(), static_cast<std::size_t>(count)));
        size += static_cast<std::uintmax_t>(count);
        bytesRead += static_cast<std::uintmax_t>(count);
    }
    std::array<unsigned char, EVP_MAX_MD_SIZE> hash{};
    unsigned length = 0;
    must(EVP_DigestFinal_ex(digest.get(), hash.data(), &length));
    return {std::to_string(size), upperCaseHex(hash.data(), length)};
}

// One thread per processor, which take file after file.
class Hashing {
public:
    explicit Hashing(std::vector<std::filesystem::path> files)
        : m_files(std::move(files))
        , m_facts(m_files.size()) {
        const std::size_t processors = std::max(1U, std::thread::hardware_concurrency());
        m_running = std::min(processors, m_files.size());
        for (std::size_t missing = m_running; missing > 0 && startThread(missing); --missing) {
        }
    }
    ~Hashing() {
        for (std::thread &thread : m_threads)
            thread.join();
    }
    Hashing(const Hashing &) = delete;
    Hashing &operator=(const Hashing &) = delete;

    bool isDoneWithin(std::chrono::milliseconds time) {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_ended.wait_for(lock, time, [this] { return m_running == 0; });
    }
    std::uintmax_t bytes() const { return m_bytes; }

    // Once it is done.
    std::map<std::filesystem::path, FileFacts> facts() const {
        if (m_failure)
            std::rethrow_exception(m_failure);
        std::map<std::filesystem::path, FileFacts> facts;
        for (std::size_t i = 0; i < m_files.size(); ++i)
            facts.emplace(m_files[i], m_facts[i]);
        return facts;
    }

private:
    // False when the system has no more threads, but for the first one, without which nothing gets done.
    bool startThread(std::size_t missing) {
        try {
            m_threads.emplace_back([this] { work(); });
            return true;
        } catch (const std::system_error &) {
            if (m_threads.empty())
                throw;
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_running -= missing;
            return false;
        }
    }

    void work() noexcept {
        try {
            for (std::size_t i = m_next++; i < m_files.size(); i = m_next++)
                m_facts[i] = factsOf(m_files[i], m_bytes);
        } catch (...) {
            m_next = m_files.size(); // the others need not go on
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (!m_failure)
                m_failure = std::current_exception();
        }
        const std::lock_guard<std::mutex> lock(m_mutex);
        --m_running;
        m_ended.notify_all();
    }

    const std::vector<std::filesystem::path> m_files;
    std::vector<FileFacts> m_facts; // each written by the one thread that took the file
    std::atomic<std::size_t> m_next{0};
    std::atomic<std::uintmax_t> m_bytes{0};
    std::mutex m_mutex; // guards the two that follow
    std::size_t m_running = 0;
    std::exception_ptr m_failure;
    std::condition_variable m_ended;
    std::vector<std::thread> m_threads;
};

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
    Hashing hashing(files);
    constexpr std::chrono::milliseconds betweenLooks(100);
    while (!hashing.isDoneWithin(betweenLooks))
        watcher({hashing.bytes(), total});
    return hashing.facts();
}
