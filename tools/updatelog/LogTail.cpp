#include "LogTail.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "UnusableInput.h"

namespace {

constexpr std::size_t knownBehind = 256;

[[noreturn]] void fail(int error, const std::string &path) {
    throw std::system_error(error, std::generic_category(), path);
}

} // namespace

LogTail::LogTail(std::string path)
    : m_path(std::move(path)) {
}

LogTail::~LogTail() {
    close();
}

LogTail::Look LogTail::look() {
    Look look;
    if (m_file == -1) {
        if (!open())
            return look;
        look.news = News::isThere;
    } else if (isCut()) {
        m_position = 0;
        m_behind.clear();
        look.news = News::wasCut;
    }
    look.text = readAt(m_position, most);
    // The one that was there before is first read to its end.
    if (look.text.empty() && isReplaced()) {
        close();
        if (!open())
            return look;
        look.news = News::replaced;
        look.text = readAt(m_position, most);
    }
    m_position += look.text.size();
    m_behind += look.text;
    m_behind.erase(0, m_behind.size() - std::min(m_behind.size(), knownBehind));
    look.isAll = look.text.size() < most;
    return look;
}

std::chrono::seconds LogTail::age() const {
    struct stat status {};
    const bool isKnown = m_file != -1 && fstat(m_file, &status) == 0;
    return std::chrono::seconds(isKnown ? std::max<std::time_t>(std::time(nullptr) - status.st_mtime, 0) : 0);
}

// False where there is nothing of this name.
bool LogTail::open() {
    // What is no file must not hold it up.
    const int file = ::open(m_path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file == -1 && errno == ENOENT)
        return false;
    if (file == -1)
        fail(errno, m_path);
    m_file = file;
    m_position = 0;
    m_behind.clear();
    struct stat status {};
    if (fstat(m_file, &status) != 0)
        fail(errno, m_path);
    if (S_ISDIR(status.st_mode))
        fail(EISDIR, m_path);
    if (!S_ISREG(status.st_mode))
        throw UnusableInput(m_path + " is no file, so it cannot be followed");
    return true;
}

void LogTail::close() {
    if (m_file != -1)
        static_cast<void>(::close(std::exchange(m_file, -1))); // nothing was written to it
}

// A name that is gone is none of another file: whoever writes goes on with this one.
bool LogTail::isReplaced() const {
    struct stat named {};
    struct stat own {};
    if (stat(m_path.c_str(), &named) != 0 || fstat(m_file, &own) != 0)
        return false;
    return named.st_dev != own.st_dev || named.st_ino != own.st_ino;
}

bool LogTail::isCut() const {
    return readAt(m_position - m_behind.size(), m_behind.size()) != m_behind;
}

std::string LogTail::readAt(std::uint64_t position, std::size_t length) const {
    std::string text(length, '\0');
    std::size_t done = 0;
    while (done < length) {
        const ssize_t count =
            pread(m_file, text.data() + done, length - done, static_cast<off_t>(position + done));
        if (count == -1 && errno != EINTR)
            fail(errno, m_path);
        if (count == 0)
            break;
        done += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    text.resize(done);
    return text;
}
