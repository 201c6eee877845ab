#include "TracedProgram.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <map>
#include <system_error>

#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct Change {
    const char *name;
    int path;       // the argument that is its path; -1: none
    int flags = -1; // the argument that is open's flags: only a new or a cut file is a change
};

const std::map<long, Change> changes = {
#ifdef SYS_open // the old calls, which newer processors lack
    {SYS_open, {"open", 0, 1}},      {SYS_creat, {"creat", 0}},       {SYS_rename, {"rename", 0}},
    {SYS_unlink, {"unlink", 0}},     {SYS_rmdir, {"rmdir", 0}},       {SYS_mkdir, {"mkdir", 0}},
    {SYS_link, {"link", 0}},         {SYS_symlink, {"symlink", 1}},
#endif
    {SYS_openat, {"open", 1, 2}},    {SYS_renameat, {"rename", 1}},   {SYS_renameat2, {"rename", 1}},
    {SYS_unlinkat, {"unlink", 1}},   {SYS_mkdirat, {"mkdir", 1}},     {SYS_linkat, {"link", 1}},
    {SYS_symlinkat, {"symlink", 2}}, {SYS_truncate, {"truncate", 0}}, {SYS_ftruncate, {"ftruncate", -1}},
};

std::string textAt(pid_t process, std::uint64_t address) {
    std::array<char, 256> bytes{};
    const int memory = open(("/proc/" + std::to_string(process) + "/mem").c_str(), O_RDONLY | O_CLOEXEC);
    const ssize_t count = pread(memory, bytes.data(), bytes.size() - 1, static_cast<off_t>(address));
    static_cast<void>(close(memory)); // was only read
    return count > 0 ? bytes.data() : "?";
}

[[noreturn]] void becomeProgram(const std::vector<std::string> &command, int gate) {
    std::vector<char *> arguments;
    for (const std::string &text : command)
        arguments.push_back(const_cast<char *>(text.c_str())); // execvp's signature is older than const
    arguments.push_back(nullptr);
    const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
    char go = 0;
    if (dup2(nowhere, 0) == 0 && dup2(nowhere, 1) == 1 && dup2(nowhere, 2) == 2 && read(gate, &go, 1) == 1)
        execvp(arguments.front(), arguments.data());
    _exit(127);
}

class Tracer {
public:
    explicit Tracer(const std::optional<KillAt> &killAt)
        : m_killAt(killAt) {}

    TracedEnd run(const std::vector<std::string> &command) {
        start(command);
        int status = 0;
        pid_t stopped = 0;
        // The program's own end is the last to be told.
        while ((stopped = waitpid(-1, &status, __WALL)) != -1) {
            if (WIFSTOPPED(status))
                goOn(stopped, status);
            else if (stopped == m_program)
                m_end.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        return m_end;
    }

private:
    void start(const std::vector<std::string> &command) {
        std::array<int, 2> gate{};
        must(pipe2(gate.data(), O_CLOEXEC) == 0, "pipe2");
        m_program = fork();
        must(m_program != -1, "fork");
        if (m_program == 0)
            becomeProgram(command, gate[0]);
        const long options =
            PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_TRACEEXEC | PTRACE_O_EXITKILL;
        const bool isWatched = ptrace(PTRACE_SEIZE, m_program, nullptr, options) == 0;
        const int error = errno;
        if (isWatched)
            must(write(gate[1], "", 1) == 1, "write");
        static_cast<void>(close(gate[0]));
        static_cast<void>(close(gate[1])); // without a byte the child ends
        errno = error;
        must(isWatched, "ptrace");
    }

    static void must(bool done, const char *what) {
        if (!done)
            throw std::system_error(errno, std::generic_category(), what);
    }

    void goOn(pid_t thread, int status) {
        int signal = WSTOPSIG(status);
        if (signal == (SIGTRAP | 0x80))
            look(thread);
        if (signal == (SIGTRAP | 0x80) || status >> 16 != 0) // a call, or the tracing's own events
            signal = 0;
        // Fails for a thread that was killed meanwhile only.
        static_cast<void>(ptrace(PTRACE_SYSCALL, thread, nullptr, signal));
    }

    void look(pid_t thread) {
        __ptrace_syscall_info call{};
        if (ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof call, &call) <= 0)
            return;
        if (call.op == PTRACE_SYSCALL_INFO_ENTRY)
            enter(thread, call);
        else if (thread == m_victim)
            kill();
    }

    void enter(pid_t thread, const __ptrace_syscall_info &call) {
        ++m_end.calls;
        const bool isChange = noteChange(thread, call);
        if (!m_killAt || m_end.wasKilledThere || (m_killAt->calls == Calls::fileChanges && !isChange) ||
            (m_killAt->calls == Calls::any ? m_end.calls : m_end.fileChanges.size()) != m_killAt->number)
            return;
        m_end.wasKilledThere = true;
        m_victim = thread;
        if (!m_killAt->after)
            kill();
    }

    bool noteChange(pid_t thread, const __ptrace_syscall_info &call) {
        const auto found = changes.find(static_cast<long>(call.entry.nr));
        if (found == changes.end() || m_end.wasKilledThere)
            return false;
        const Change &change = found->second;
        if (change.flags != -1 && (call.entry.args[change.flags] & (O_CREAT | O_TRUNC)) == 0)
            return false;
        m_end.fileChanges.push_back(
            std::string(change.name) +
            (change.path == -1 ? "" : " " + textAt(thread, call.entry.args[change.path])));
        return true;
    }

    // Of a thread that is about to make a call, the call is not carried out any more.
    void kill() { static_cast<void>(::kill(m_program, SIGKILL)); }

    const std::optional<KillAt> m_killAt;
    pid_t m_program = -1;
    pid_t m_victim = -1;
    TracedEnd m_end;
};

} // namespace

TracedEnd runTraced(const std::vector<std::string> &command, const std::optional<KillAt> &killAt) {
    return Tracer(killAt).run(command);
}

std::string whyNotTraceable() {
    try {
        const TracedEnd end = runTraced({"true"});
        return end.status == 0 && end.calls > 0 ? ""
                                                : "the system does not show a program's system calls here";
    } catch (const std::system_error &error) {
        return std::string("no program can be traced here: ") + error.what();
    }
}
