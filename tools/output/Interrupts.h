// What ends the process from outside. While an Interrupts lives, SIGINT, SIGTERM, SIGHUP and SIGQUIT first
// carry out the clean-ups that are registered and then end the process by themselves, wherever its threads
// are.
#pragma once

#include <atomic>
#include <csignal>
#include <functional>
#include <list>
#include <mutex>
#include <thread>

// There is one, made before any other thread. Signals that the caller ignores, as nohup does, stay ignored.
class Interrupts {
public:
    // Throws std::system_error when there is no thread to be had.
    Interrupts();
    ~Interrupts();
    Interrupts(const Interrupts &) = delete;
    Interrupts &operator=(const Interrupts &) = delete;

private:
    void watch() const;

    sigset_t m_watched{};
    sigset_t m_before{}; // the caller's mask
    std::atomic<bool> m_isOver{false};
    std::thread m_thread;
};

// While one lives an interrupt waits: what is done meanwhile is done whole. Held for moments, by one owner a
// thread. Where an interrupt came before, nothing goes on.
class InterruptHold {
public:
    InterruptHold();

private:
    std::unique_lock<std::mutex> m_lock;
};

// Registered from its construction to its end. The action is called by another thread than its owner's, which
// may be in the midst of anything; never after the end, and nothing goes on after it.
class CleanUp {
public:
    explicit CleanUp(std::function<void()> action);
    // For what was made under that hold.
    CleanUp(const InterruptHold &hold, std::function<void()> action);
    ~CleanUp();
    CleanUp(const CleanUp &) = delete;
    CleanUp &operator=(const CleanUp &) = delete;

private:
    std::list<std::function<void()>>::iterator m_entry;
};
