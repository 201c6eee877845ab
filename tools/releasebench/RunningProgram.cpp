#include "RunningProgram.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Descriptor.h"
#include "SpawnSettings.h"

namespace {

constexpr std::chrono::milliseconds glance(20);

pid_t started(const std::vector<std::string> &command, const std::filesystem::path &output) {
    SpawnSettings settings;
    if (output.empty())
        return settings.start(command);
    constexpr mode_t mode = 0644;
    const Descriptor file(open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode));
    if (!file)
        throw std::system_error(errno, std::generic_category(), output.string());
    settings.give(file.number(), STDOUT_FILENO);
    settings.give(file.number(), STDERR_FILENO);
    return settings.start(command);
}

pid_t startedOn(Leash &leash, const std::vector<std::string> &command) {
    SpawnSettings settings;
    settings.give(leash.end(), Leash::heldEnd);
    const pid_t process = settings.start(command);
    leash.letGo();
    return process;
}

} // namespace

RunningProgram::RunningProgram(const std::vector<std::string> &command, const std::filesystem::path &output)
    : m_process(started(command, output)) {
    m_cleanUp.emplace([this] { end(); });
}

RunningProgram::RunningProgram(const std::vector<std::string> &command, Leash &leash)
    : m_leash(&leash)
    , m_process(startedOn(leash, command)) {
    m_cleanUp.emplace([this] { end(); });
}

RunningProgram::~RunningProgram() {
    m_cleanUp.reset();
    end();
}

std::optional<int> RunningProgram::status() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    int status = 0;
    if (!m_status && waitpid(m_process, &status, WNOHANG) == m_process) {
        constexpr int bySignal = 128;
        m_status = WIFSIGNALED(status) ? bySignal + WTERMSIG(status) : WEXITSTATUS(status);
    }
    return m_status;
}

int RunningProgram::wait() {
    while (!status())
        std::this_thread::sleep_for(glance);
    // An interrupt that is about to end this process ends it here, before anything is said of the status.
    m_cleanUp.reset();
    return *status();
}

bool RunningProgram::endsWithin(std::chrono::milliseconds patience) {
    if (m_leash != nullptr)
        return m_leash->isFree(patience);
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!status()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(glance);
    }
    return true;
}

void RunningProgram::end() {
    if (status() && (m_leash == nullptr || m_leash->isFree(std::chrono::milliseconds(0))))
        return;
    constexpr std::chrono::seconds patience(3);
    const auto send = [this](int signal) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_status)
            static_cast<void>(kill(m_process, signal)); // not waited for yet, so it is there
    };
    if (m_leash != nullptr)
        m_leash->pull();
    else
        send(SIGTERM);
    if (endsWithin(patience))
        return;
    send(SIGKILL);
    static_cast<void>(endsWithin(patience)); // nothing more can be done
}
