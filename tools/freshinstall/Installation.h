// One fresh installation: the engine's blocking calls run on a thread of their own, while the caller's thread
// asks how far they are, shows it, and listens for signals.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <vector>

#include "Engine.h"
#include "Output.h"
#include "Progress.h"
#include "View.h"
#include "Wake.h"

class Installation {
public:
    // The view shows on the output.
    Installation(Engine &engine, View &view, const Output &output, const Wake &wake, unsigned retries)
        : m_engine(engine)
        , m_view(view)
        , m_output(output)
        , m_wake(wake)
        , m_retries(retries) {}

    // The process's status. Does not return when it is interrupted: the engine has no way to cancel, so the
    // process ends at once.
    int run();

private:
    Outcome install();
    Outcome attempt(const std::function<void()> &call);
    int finish(Outcome outcome);
    void waitFor(std::chrono::milliseconds time);
    void watch(const std::function<void()> &call);
    void look();
    void obey(int signal);
    [[noreturn]] void endAtOnce(const Ending &ending);
    void tell(const std::vector<Event> &events);
    Snapshot ask() const;
    void waitForOutput() const;
    std::vector<Package> finished() const;

    Engine &m_engine;
    View &m_view;
    const Output &m_output;
    const Wake &m_wake;
    const unsigned m_retries;
    Progress m_progress;
    bool m_began = false; // the downloads did

    std::thread m_job;
    std::atomic<bool> m_returned{false};
};
