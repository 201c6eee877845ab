#include "ShellPipe.h"

#include <array>

ShellPipe::ShellPipe(const std::string &command, const char *mode) noexcept
    : m_stream(popen(command.c_str(), mode)) {
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
    // What nobody read is read now: a command must not die of its own output.
    while (std::fgetc(m_stream) != EOF) {
    }
    const int status = pclose(m_stream);
    m_stream = nullptr;
    return status;
}

bool runShellCommand(const std::string &command) {
    const ShellPipe pipe(command);
    return pipe.isOpen();
}
