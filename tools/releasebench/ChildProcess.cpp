#include "ChildProcess.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <memory>
#include <system_error>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "File.h"

namespace {

void must(int error, const char *what) {
    if (error != 0)
        throw std::system_error(error, std::generic_category(), what);
}

// What the child's streams are, and its signals.
class SpawnSettings {
public:
    SpawnSettings(int input, int output) {
        must(posix_spawn_file_actions_init(&actions), "posix_spawn");
        must(posix_spawnattr_init(&attributes), "posix_spawn");
        must(posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO), "posix_spawn");
        must(posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO), "posix_spawn");
        must(posix_spawn_file_actions_adddup2(&actions, output, STDERR_FILENO), "posix_spawn");
        sigset_t none{};
        sigemptyset(&none);
        must(posix_spawnattr_setsigmask(&attributes, &none), "posix_spawn");
        must(posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK), "posix_spawn");
    }
    ~SpawnSettings() {
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
    }
    SpawnSettings(const SpawnSettings &) = delete;
    SpawnSettings &operator=(const SpawnSettings &) = delete;

    posix_spawn_file_actions_t actions{};
    posix_spawnattr_t attributes{};
};

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

    std::vector<std::string> words = command;
    std::vector<char *> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string &word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const SpawnSettings settings(fileno(in.get()), fileno(out.get()));
    pid_t process = -1;
    must(posix_spawnp(&process, arguments.front(), &settings.actions, &settings.attributes, arguments.data(),
                      environ),
         command.front().c_str());
    int status = 0;
    while (waitpid(process, &status, 0) == -1) {
        if (errno != EINTR)
            must(errno, "waitpid");
    }
    constexpr int bySignal = 128;
    return {WIFSIGNALED(status) ? bySignal + WTERMSIG(status) : WEXITSTATUS(status), contentOf(out.get())};
}
