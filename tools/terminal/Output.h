// The program's own output, written by a thread of its own: a reader that does not read, or a terminal
// stopped by Ctrl-S, holds up that thread and nobody else.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>

class OutputLost : public std::system_error {
public:
    OutputLost(int error, int processStatus)
        : std::system_error(error, std::generic_category(), "standard output")
        , status(processStatus) {}

    const int status;
};

class Output {
public:
    // The descriptor must stay open as long as this object lives.
    explicit Output(int descriptor);
    ~Output(); // waits until everything is written
    Output(const Output &) = delete;
    Output &operator=(const Output &) = delete;

    int descriptor() const { return m_descriptor; }

    // Returns at once.
    void write(const std::string &text);
    // Whether the system took everything, at the latest after that time.
    bool isWritten(std::chrono::milliseconds patience = std::chrono::milliseconds(0)) const;
    // errno of the first text that could not be written; 0 while there is none.
    int error() const;

private:
    void work();

    const int m_descriptor;
    mutable std::mutex m_mutex; // guards what follows, but for the thread
    mutable std::condition_variable m_changed;
    std::string m_waiting;
    bool m_writing = false;
    bool m_ends = false;
    int m_error = 0;
    std::thread m_thread;
};
