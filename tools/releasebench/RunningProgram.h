#pragma once

#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

#include "Interrupts.h"
#include "Leash.h"

// A program that runs beside this one from its construction on. It is ended when its owner goes away, and
// when this process is interrupted: by SIGTERM or, where it is held by a leash, by that, with all that it
// started; by SIGKILL when that does not help within a while.
class RunningProgram {
public:
    // What it writes goes to the file, or where this process's own output goes when there is none. Throws
    // std::system_error when it cannot be started.
    explicit RunningProgram(const std::vector<std::string> &command,
                            const std::filesystem::path &output = {});
    // The leash must outlive it.
    RunningProgram(const std::vector<std::string> &command, Leash &leash);
    ~RunningProgram();
    RunningProgram(const RunningProgram &) = delete;
    RunningProgram &operator=(const RunningProgram &) = delete;

    // None while it runs; 128 and the signal's number when a signal ended it.
    std::optional<int> status();
    // Waits for it.
    int wait();

private:
    void end();
    bool endsWithin(std::chrono::milliseconds patience);

    Leash *const m_leash = nullptr;
    const pid_t m_process;
    std::mutex m_mutex; // guards what follows, and that the process is there while it is named
    std::optional<int> m_status;
    std::optional<CleanUp> m_cleanUp; // while it runs
};
