#include "Output.h"

#include <cerrno>
#include <utility>

#include <poll.h>
#include <unistd.h>

namespace {

// The error that kept it from writing everything; 0 for none.
int writeAll(int descriptor, const std::string &text) {
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t count = write(descriptor, text.data() + written, text.size() - written);
        if (count >= 0) {
            written += static_cast<std::size_t>(count);
            continue;
        }
        // Whoever shares the terminal may have made it non-blocking.
        pollfd room{descriptor, POLLOUT, 0};
        const bool mayWait = errno == EAGAIN && poll(&room, 1, -1) != -1;
        // A reader that went away ends the program by its signal.
        if (!mayWait && errno != EINTR)
            return errno;
    }
    return 0;
}

} // namespace

Output::Output(int descriptor)
    : m_descriptor(descriptor)
    , m_thread([this] { work(); }) {
}

Output::~Output() {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_ends = true;
    }
    m_changed.notify_all();
    m_thread.join();
}

void Output::write(const std::string &text) {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_waiting += text;
    }
    m_changed.notify_all();
}

bool Output::isWritten(std::chrono::milliseconds patience) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, patience, [this] { return m_waiting.empty() && !m_writing; });
}

int Output::error() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_error;
}

void Output::work() {
    std::unique_lock<std::mutex> lock(m_mutex);
    while (true) {
        m_changed.wait(lock, [this] { return m_ends || !m_waiting.empty(); });
        if (m_waiting.empty())
            return;
        const std::string text = std::exchange(m_waiting, {});
        m_writing = true;
        lock.unlock();
        const int error = writeAll(m_descriptor, text);
        lock.lock();
        if (m_error == 0)
            m_error = error;
        m_writing = false;
        m_changed.notify_all();
    }
}
