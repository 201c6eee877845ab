#include "SpawnSettings.h"

#include <csignal>
#include <system_error>

#include <unistd.h>

namespace {

void must(int error, const std::string &what) {
    if (error != 0)
        throw std::system_error(error, std::generic_category(), what);
}

} // namespace

SpawnSettings::SpawnSettings() {
    must(posix_spawn_file_actions_init(&m_actions), "posix_spawn");
    must(posix_spawnattr_init(&m_attributes), "posix_spawn");
    sigset_t none{};
    sigemptyset(&none);
    must(posix_spawnattr_setsigmask(&m_attributes, &none), "posix_spawn");
    must(posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGMASK), "posix_spawn");
}

SpawnSettings::~SpawnSettings() {
    posix_spawn_file_actions_destroy(&m_actions);
    posix_spawnattr_destroy(&m_attributes);
}

void SpawnSettings::give(int descriptor, int number) {
    must(posix_spawn_file_actions_adddup2(&m_actions, descriptor, number), "posix_spawn");
}

pid_t SpawnSettings::start(const std::vector<std::string> &command) const {
    std::vector<std::string> words = command;
    std::vector<char *> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string &word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    pid_t process = -1;
    must(posix_spawnp(&process, arguments.front(), &m_actions, &m_attributes, arguments.data(), environ),
         command.front());
    return process;
}
