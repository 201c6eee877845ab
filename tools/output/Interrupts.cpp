#include "Interrupts.h"

#include <utility>

namespace {

constexpr int endingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};
// Ends the watching thread once it is over; from outside it is an interrupt like the others.
constexpr int endOfWatch = SIGUSR2;

// Never destroyed: the watching thread may still use them while the process ends.
std::mutex &actionsMutex() {
    static auto *const mutex = new std::mutex; // NOLINT(cppcoreguidelines-owning-memory)
    return *mutex;
}
std::list<std::function<void()>> &actions() {
    static auto *const list = new std::list<std::function<void()>>; // NOLINT(cppcoreguidelines-owning-memory)
    return *list;
}

bool isIgnored(int signal) {
    struct sigaction action {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

// These fail for unknown signals only.
void endBy(int number) {
    sigset_t only{};
    sigemptyset(&only);
    sigaddset(&only, number);
    static_cast<void>(signal(number, SIG_DFL));
    static_cast<void>(pthread_sigmask(SIG_UNBLOCK, &only, nullptr));
    static_cast<void>(raise(number));
}

} // namespace

Interrupts::Interrupts() {
    sigemptyset(&m_watched);
    for (const int number : endingSignals) {
        if (!isIgnored(number))
            sigaddset(&m_watched, number);
    }
    sigaddset(&m_watched, endOfWatch);
    static_cast<void>(
        pthread_sigmask(SIG_BLOCK, &m_watched, &m_before)); // fails for an unknown way of setting only
    m_thread = std::thread([this] { watch(); });
}

Interrupts::~Interrupts() {
    m_isOver = true;
    static_cast<void>(
        pthread_kill(m_thread.native_handle(), endOfWatch)); // the thread is there until it is joined
    m_thread.join();
    static_cast<void>(pthread_sigmask(SIG_SETMASK, &m_before, nullptr));
}

void Interrupts::watch() const {
    int number = 0;
    while (sigwait(&m_watched, &number) != 0) {
        // Interrupted: nothing has come yet.
    }
    if (number == endOfWatch && m_isOver)
        return;
    const std::lock_guard<std::mutex> lock(actionsMutex());
    for (const auto &action : actions())
        action();
    endBy(number);
}

InterruptHold::InterruptHold()
    : m_lock(actionsMutex()) {
}

CleanUp::CleanUp(std::function<void()> action)
    : CleanUp(InterruptHold(), std::move(action)) {
}

CleanUp::CleanUp(const InterruptHold & /*hold*/, std::function<void()> action) {
    m_entry = actions().insert(actions().begin(), std::move(action)); // the newest comes first
}

CleanUp::~CleanUp() {
    const std::lock_guard<std::mutex> lock(actionsMutex());
    actions().erase(m_entry);
}
