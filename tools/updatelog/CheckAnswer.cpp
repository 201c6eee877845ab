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

// What ends this process waits while one lives, so that nobody goes without ending what he started; and the
// ends of processes are told, also where the starter ignores them.
class HeldSignals {
public:
    HeldSignals() {
        sigemptyset(&m_ending);
        for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
            if (!isIgnored(number))
                sigaddset(&m_ending, number);
        }
        // These fail for unknown signals and ways of setting only.
        static_cast<void>(pthread_sigmask(SIG_BLOCK, &m_ending, &m_before));
        struct sigaction told {};
        told.sa_handler = SIG_DFL;
        static_cast<void>(sigaction(SIGCHLD, &told, &m_childsEnd));
    }
    // One that has come takes effect then.
    ~HeldSignals() {
        static_cast<void>(sigaction(SIGCHLD, &m_childsEnd, nullptr));
        letThrough();
    }
    HeldSignals(const HeldSignals &) = delete;
    HeldSignals &operator=(const HeldSignals &) = delete;

    bool hasCome() const {
        sigset_t pending{};
        if (sigpending(&pending) != 0)
            return false;
        for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
            if (sigismember(&m_ending, number) == 1 && sigismember(&pending, number) == 1)
                return true;
        }
        return false;
    }
    void letThrough() const { static_cast<void>(pthread_sigmask(SIG_SETMASK, &m_before, nullptr)); }

private:
    static bool isIgnored(int number) {
        struct sigaction action {};
        return sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
    }

    sigset_t m_ending{};
    sigset_t m_before{};
    struct sigaction m_childsEnd {};
};

[[noreturn]] void askAndExit(const std::function<bool()> &question, const HeldSignals &held) {
    bool isYes = false;
    try {
        held.letThrough();
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
    const HeldSignals held;
    const auto end = std::chrono::steady_clock::now() + patience;
    const pid_t process = fork();
    if (process < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (process == 0)
        askAndExit(question, held);
    while (!held.hasCome() && std::chrono::steady_clock::now() < end) {
        if (const auto status = statusOf(process))
            return *status == 0 ? Answer::yes : Answer::no;
        std::this_thread::sleep_for(betweenLooks);
    }
    endWithAllItStarted(process);
    return Answer::late;
}
