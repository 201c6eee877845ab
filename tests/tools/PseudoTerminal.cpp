#include "PseudoTerminal.h"

#include <csignal>
#include <cstdlib>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

void must(bool done, const char *what) {
    if (!done)
        throw std::system_error(errno, std::generic_category(), what);
}

} // namespace

PseudoTerminal::PseudoTerminal(const std::vector<std::string> &command, unsigned short columns) {
    std::vector<std::string> texts = command;
    std::vector<char *> arguments;
    for (std::string &text : texts)
        arguments.push_back(text.data());
    arguments.push_back(nullptr);
    std::string terminal = "TERM=xterm-256color";
    std::string locale = "LC_ALL=C.UTF-8";
    std::string path = "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin";
    char *environment[] = {terminal.data(), locale.data(), path.data(), nullptr};

    winsize size{24, columns, 0, 0};
    m_process = forkpty(&m_master, nullptr, nullptr, &size);
    must(m_process != -1, "forkpty");
    if (m_process == 0) {
        static_cast<void>(execve(arguments.front(), arguments.data(), environment));
        _exit(127);
    }
}

PseudoTerminal::~PseudoTerminal() {
    if (m_process != -1) {
        static_cast<void>(kill(m_process, SIGKILL)); // may have ended by itself
        static_cast<void>(waitpid(m_process, nullptr, 0));
    }
    static_cast<void>(close(m_master)); // holds nothing that is wanted
}

bool PseudoTerminal::shows(const std::string &text) {
    for (;;) {
        const std::size_t found = m_output.find(text, m_seen);
        if (found != std::string::npos) {
            m_seen = found + text.size();
            return true;
        }
        if (!readMore())
            return false;
    }
}

// False at the end of the program, where a terminal gives an error, and when it is silent for too long.
bool PseudoTerminal::readMore() {
    pollfd news{m_master, POLLIN, 0};
    char bytes[4096];
    if (poll(&news, 1, 30000) != 1)
        return false;
    const ssize_t count = read(m_master, bytes, sizeof bytes);
    if (count <= 0)
        return false;
    m_output.append(bytes, static_cast<std::size_t>(count));
    return true;
}

void PseudoTerminal::type(const std::string &keys) {
    must(write(m_master, keys.data(), keys.size()) == static_cast<ssize_t>(keys.size()), "typing");
    if (keys == "\x03")
        m_sent = SIGINT;
}

void PseudoTerminal::resize(unsigned short columns) {
    const winsize size{24, columns, 0, 0};
    must(ioctl(m_master, TIOCSWINSZ, &size) == 0, "TIOCSWINSZ"); // has the kernel send SIGWINCH
}

void PseudoTerminal::send(int signal) {
    must(kill(m_process, signal) == 0, "kill");
    m_sent = signal;
}

// ThreadSanitizer loses a signal now and then, of a program of a few lines as well. Only then is there one to
// send again, once the program has been silent for too long.
bool PseudoTerminal::sendAgain() {
#ifdef __SANITIZE_THREAD__
    const int lost = std::exchange(m_sent, 0);
    return lost != 0 && kill(m_process, lost) == 0;
#else
    m_sent = 0;
    return false;
#endif
}

bool PseudoTerminal::echoes() const {
    termios modes{};
    must(tcgetattr(m_master, &modes) == 0, "tcgetattr");
    return (modes.c_lflag & ECHO) != 0;
}

void PseudoTerminal::fill() const {
    const int slave = open(ptsname(m_master), O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    must(slave != -1, "open");
    while (write(slave, "x", 1) == 1) {
    }
    static_cast<void>(close(slave)); // is full
}

int PseudoTerminal::end() {
    while (readMore() || sendAgain()) {
    }
    return endsUnread();
}

int PseudoTerminal::endsUnread() {
    int status = 0;
    must(waitpid(m_process, &status, 0) == m_process, "waitpid");
    m_process = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
