#include "ShellPipe.h"

#include <array>

#include <fcntl.h>
#include <sys/socket.h>

#include "PipeDrain.h"
#include "PipeMode.h"

ShellPipe::ShellPipe(const std::string &command, const char *mode) noexcept
    : m_stream(popen(command.c_str(), mode)) {
    // popen keeps its pipes from the children that it starts itself, but not from the host's.
    if (m_stream != nullptr)
        static_cast<void>(fcntl(fileno(m_stream), F_SETFD, FD_CLOEXEC)); // of an open descriptor
}

ShellPipe::~ShellPipe() {
    static_cast<void>(close());
}

std::optional<std::string> ShellPipe::readLine() {
    std::array<char, 100> buffer{};
    if (m_stream == nullptr ||
        std::fgets(buffer.data(), static_cast<int>(buffer.size()), m_stream) == nullptr)
        return std::nullopt;
    return std::string(buffer.data());
}

int ShellPipe::close() noexcept {
    if (m_stream == nullptr)
        return -1;
    // The end of a two-way pipe's input, which the drain would hold up; a one-way pipe refuses.
    static_cast<void>(shutdown(fileno(m_stream), SHUT_WR));
    // What nobody read is thrown away meanwhile: a command must neither die of its own output nor wait.
    const PipeDrain drain(fileno(m_stream));
    if (!drain.isAtWork()) {
        while (std::fgetc(m_stream) != EOF) {
        }
    }
    const int status = pclose(m_stream);
    m_stream = nullptr;
    return status;
}

bool runShellCommand(const std::string &command) {
    const ShellPipe pipe(command);
    return pipe.isOpen();
}

bool shellCommandSucceeds(const std::string &command) {
    ShellPipe pipe(command, runCommandPipeMode);
    return pipe.isOpen() && pipe.close() == 0;
}
