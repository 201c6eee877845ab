#include "Program.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "TextFile.h"
#include "TraceFile.h"

namespace {

// CTest ends a case after two minutes and shows what it has printed until then.
constexpr std::chrono::seconds untilTold(90);

void must(bool done, const std::string &what) {
    if (!done)
        throw std::system_error(errno, std::generic_category(), what);
}

std::string newFolder() {
    std::string folder = "/tmp/program.XXXXXX";
    must(mkdtemp(folder.data()) != nullptr, "mkdtemp");
    return folder;
}

} // namespace

Program::Program(const std::vector<std::string> &command)
    : m_output(newFolder()) {
    std::vector<std::string> texts = command;
    std::vector<char *> arguments;
    arguments.reserve(texts.size() + 1);
    for (std::string &text : texts)
        arguments.push_back(text.data());
    arguments.push_back(nullptr);

    posix_spawn_file_actions_t streams;
    must(posix_spawn_file_actions_init(&streams) == 0, "posix_spawn_file_actions_init");
    const auto redirect = [&streams](int stream, const std::string &path, int flags) {
        must(posix_spawn_file_actions_addopen(&streams, stream, path.c_str(), flags, 0644) == 0, path);
    };
    redirect(STDIN_FILENO, "/dev/null", O_RDONLY);
    redirect(STDOUT_FILENO, m_output + "/out", O_WRONLY | O_CREAT);
    redirect(STDERR_FILENO, m_output + "/err", O_WRONLY | O_CREAT);
    errno = posix_spawnp(&m_process, arguments.front(), &streams, nullptr, arguments.data(), environ);
    must(errno == 0, command.front());
    static_cast<void>(posix_spawn_file_actions_destroy(&streams)); // frees memory only
}

Program::~Program() {
    if (m_process == -1)
        return;
    // Both can fail only for a process that is no child of this one.
    static_cast<void>(::kill(m_process, SIGKILL));
    static_cast<void>(waitpid(m_process, nullptr, 0));
}

// Asks again and again: valgrind knows no handle of a process that could be waited on.
bool Program::endsWithin(std::chrono::milliseconds time) const {
    const auto last = std::chrono::steady_clock::now() + time;
    while (true) {
        siginfo_t ended{};
        must(waitid(P_PID, static_cast<id_t>(m_process), &ended, WEXITED | WNOHANG | WNOWAIT) == 0, "waitid");
        if (ended.si_pid != 0 || std::chrono::steady_clock::now() > last)
            return ended.si_pid != 0;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

Ended Program::wait() {
    if (!endsWithin(untilTold))
        tellWhereItHangs();
    int status = 0;
    must(waitpid(m_process, &status, 0) == m_process, "waitpid");
    m_process = -1;
    Ended ended{WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), readText(m_output + "/out"),
                readText(m_output + "/err")};
    noteOutput(ended.out, ended.err);
    return ended;
}

void Program::tellWhereItHangs() const {
    std::cout << "process " << m_process << " does not end:\n";
    for (const auto &entry : std::filesystem::directory_iterator("/proc")) {
        std::string words = readText(entry.path() / "cmdline");
        std::replace(words.begin(), words.end(), '\0', ' ');
        if (!words.empty())
            std::cout << entry.path().filename() << ' ' << readText(entry.path() / "wchan") << ' ' << words
                      << '\n';
    }
    const std::string trace = traceText();
    constexpr std::size_t most = 2000;
    std::cout << "the trace's end:\n"
              << trace.substr(trace.size() - std::min(most, trace.size())) << std::endl;
}

void Program::send(int signal) const {
    must(::kill(m_process, signal) == 0, "kill");
}

Ended run(const std::vector<std::string> &command) {
    return Program(command).wait();
}

std::string shell(const std::string &script) {
    const Ended ended = run({"bash", "-euc", script});
    if (ended.status != 0)
        throw std::runtime_error(script + ": " + ended.err);
    return ended.out;
}
