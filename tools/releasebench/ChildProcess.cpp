#include "ChildProcess.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "File.h"
#include "SpawnSettings.h"

namespace {

void must(int error, const char *what) {
    if (error != 0)
        throw std::system_error(error, std::generic_category(), what);
}

// A file that nobody else sees and that is gone with the last who holds it.
File namelessFile() {
    File file(std::tmpfile());
    must(file ? fcntl(fileno(file.get()), F_SETFD, FD_CLOEXEC) : errno, "temporary file");
    return file;
}

std::string contentOf(std::FILE *file) {
    std::rewind(file);
    std::string content;
    for (int character = std::fgetc(file); character != EOF; character = std::fgetc(file))
        content.push_back(static_cast<char>(character));
    return content;
}

} // namespace

Ended runProgram(const std::vector<std::string> &command, const std::string &input) {
    const File in = namelessFile();
    const File out = namelessFile();
    const bool isGiven =
        std::fwrite(input.data(), 1, input.size(), in.get()) == input.size() && std::fflush(in.get()) == 0;
    must(isGiven ? 0 : errno, "temporary file");
    std::rewind(in.get());

    SpawnSettings settings;
    settings.give(fileno(in.get()), STDIN_FILENO);
    settings.give(fileno(out.get()), STDOUT_FILENO);
    settings.give(fileno(out.get()), STDERR_FILENO);
    const pid_t process = settings.start(command);
    int status = 0;
    while (waitpid(process, &status, 0) == -1) {
        if (errno != EINTR)
            must(errno, "waitpid");
    }
    constexpr int bySignal = 128;
    return {WIFSIGNALED(status) ? bySignal + WTERMSIG(status) : WEXITSTATUS(status), contentOf(out.get())};
}
