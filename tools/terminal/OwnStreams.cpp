#include "OwnStreams.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace {

int must(int result, const char *what) {
    if (result == -1)
        throw std::system_error(errno, std::generic_category(), what);
    return result;
}

// Not for the engine's tools.
int privateCopy(int stream) {
    return must(fcntl(stream, F_DUPFD_CLOEXEC, STDERR_FILENO + 1), "standard streams");
}

// A caller may have closed them; whatever is opened next would take their places.
void openClosedStreams(int way) {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (fcntl(stream, F_GETFD) == -1)
            must(open("/dev/null", way), "/dev/null"); // gets the lowest free number: this one
    }
}

} // namespace

OwnStreams::OwnStreams() {
    openClosedStreams(O_RDWR);
    m_out = privateCopy(STDOUT_FILENO);
    m_error = privateCopy(STDERR_FILENO);
    const int nowhere = must(open("/dev/null", O_WRONLY | O_CLOEXEC), "/dev/null");
    must(dup2(nowhere, STDOUT_FILENO), "standard output");
    must(dup2(nowhere, STDERR_FILENO), "standard error");
    static_cast<void>(close(nowhere)); // was never written to
}

OwnStreams::~OwnStreams() {
    // The originals come back for whatever is said last; the copies are as good as they were.
    static_cast<void>(std::fflush(stdout));
    static_cast<void>(dup2(m_out, STDOUT_FILENO));
    static_cast<void>(dup2(m_error, STDERR_FILENO));
    static_cast<void>(close(m_out));
    static_cast<void>(close(m_error));
}

void occupyClosedStreams() {
    openClosedStreams(O_RDONLY);
}
