#include "Leash.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "WriteSignalBlock.h"

namespace {

void must(int result, const char *what) {
    if (result == -1)
        throw std::system_error(errno, std::generic_category(), what);
}

std::array<int, 2> openedPipe() {
    std::array<int, 2> ends{};
    must(pipe(ends.data()), "pipe");
    for (const int end : ends)
        must(fcntl(end, F_SETFD, FD_CLOEXEC), "pipe"); // which fails for no descriptor only
    return ends;
}

} // namespace

Leash::Leash()
    : Leash(openedPipe()) {
}

void Leash::pull() const {
    const WriteSignalBlock block; // where nobody reads, nobody is held
    const char byte = 0;
    static_cast<void>(write(m_hand.number(), &byte, 1));
}

bool Leash::isFree(std::chrono::milliseconds patience) const {
    // A pipe without a reader is told as an error, whatever is asked for.
    pollfd end{m_hand.number(), 0, 0};
    return poll(&end, 1, static_cast<int>(patience.count())) == 1;
}

Collar::Collar() {
    // The programs that this one starts are held by the copy's own end.
    must(fcntl(Leash::heldEnd, F_SETFD, FD_CLOEXEC), "the leash");
    m_thread = std::thread([this] { watch(); });
}

Collar::~Collar() {
    m_ends = true;
    m_thread.join();
}

void Collar::watch() const {
    constexpr int milliseconds = 50;
    pollfd end{Leash::heldEnd, POLLIN, 0};
    while (!m_ends) {
        if (poll(&end, 1, milliseconds) == 1) {
            static_cast<void>(kill(getpid(), SIGTERM)); // of this process, which is there
            return;
        }
    }
}
