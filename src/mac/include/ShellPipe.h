#pragma once

#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>

// One shell command and the pipe that it was started with. Destruction closes the pipe, which waits for
// the command to end. Used by one thread.
class ShellPipe {
public:
    explicit ShellPipe(const std::string &command, const char *mode = "r") noexcept;
    ~ShellPipe();
    ShellPipe(const ShellPipe &) = delete;
    ShellPipe &operator=(const ShellPipe &) = delete;

    // Whether the shell could be started; says nothing of the command itself.
    bool isOpen() const noexcept { return m_stream != nullptr; }

    // The next line of the command's output with its line end, cut after 99 bytes; none at the end.
    std::optional<std::string> readLine();

    // Waits for the command, whose further output is lost, and gives its wait status, -1 when there is none.
    // Does not wait for what the command left behind that goes on. The pipe is closed then.
    int close() noexcept;

private:
    std::FILE *m_stream;
};

// Runs a command whose output and status do not matter; false when the shell could not be started.
bool runShellCommand(const std::string &command);

// Runs a command whose output does not matter; whether it could be started and ended with status 0.
bool shellCommandSucceeds(const std::string &command);
