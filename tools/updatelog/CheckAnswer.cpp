#include "CheckAnswer.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <optional>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr std::chrono::seconds patience(10);
constexpr std::chrono::milliseconds betweenLooks(2);

bool hasNullStreams() {
    const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
    return null >= 0 && dup2(null, STDIN_FILENO) >= 0 && dup2(null, STDOUT_FILENO) >= 0 &&
           dup2(null, STDERR_FILENO) >= 0;
}

[[noreturn]] void askAndExit(const std::function<bool()> &question) {
    bool isYes = false;
    try {
        // Without a terminal there is nobody to be asked for a password.
        isYes = setsid() != -1 && hasNullStreams() && question();
    } catch (...) {
        isYes = false;
    }
    _exit(isYes ? 0 : 1); // the parent's clean-up is not this process's
}

// None while it runs.
std::optional<int> statusOf(pid_t process) {
    int status = 0;
    const pid_t ended = waitpid(process, &status, WNOHANG);
    if (ended < 0 && errno != EINTR)
        throw std::system_error(errno, std::generic_category(), "waitpid");
    return ended == process ? std::optional(status) : std::nullopt;
}

void endWithAllItStarted(pid_t process) {
    static_cast<void>(kill(-process, SIGKILL)); // its session, unless that has not begun
    static_cast<void>(kill(process, SIGKILL));
    while (waitpid(process, nullptr, 0) == -1 && errno == EINTR) {
    }
}

} // namespace

Answer answerTo(const std::function<bool()> &question) {
    const auto end = std::chrono::steady_clock::now() + patience;
    const pid_t process = fork();
    if (process < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (process == 0)
        askAndExit(question);
    while (std::chrono::steady_clock::now() < end) {
        if (const auto status = statusOf(process))
            return *status == 0 ? Answer::yes : Answer::no;
        std::this_thread::sleep_for(betweenLooks);
    }
    endWithAllItStarted(process);
    return Answer::late;
}
