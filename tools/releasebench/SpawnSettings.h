// How a program is started: what its streams are, and with which signals. It has none of this process's
// blocked signals, so that an interrupt ends it too.
#pragma once

#include <spawn.h>

#include <filesystem>
#include <string>
#include <vector>

// Every operation throws std::system_error.
class SpawnSettings {
public:
    SpawnSettings();
    ~SpawnSettings();
    SpawnSettings(const SpawnSettings &) = delete;
    SpawnSettings &operator=(const SpawnSettings &) = delete;

    // The program has this process's descriptor under that number; without this it has the standard streams.
    void give(int descriptor, int number);

    // Finds the program by PATH. Gives its process, which is the caller's to wait for.
    pid_t start(const std::vector<std::string> &command) const;

private:
    posix_spawn_file_actions_t m_actions{};
    posix_spawnattr_t m_attributes{};
};
