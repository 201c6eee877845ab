// One fresh installation: the engine's blocking calls run on a thread of their own, while the caller's thread
// asks how far they are, shows it, and listens for signals.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <vector>

#include "Engine.h"
#include "Options.h"
#include "Output.h"
#include "PackageFolder.h"
#include "Progress.h"
#include "View.h"
#include "Wake.h"

class Installation {
public:
    // The view shows on the output.
    Installation(Engine &engine, View &view, const Output &output, const Wake &wake, const Options &options)
        : m_engine(engine)
        , m_view(view)
        , m_output(output)
        , m_wake(wake)
        , m_retries(options.retries)
        , m_timeout(options.timeoutSeconds) {}

    // The process's status. Does not return when it is interrupted or its time is over: the engine has no way
    // to cancel, so the process ends at once.
    int run();

private:
    Outcome install();
    Outcome attempt(const std::function<void()> &call);
    int finish(Outcome outcome);
    void waitFor(std::chrono::milliseconds time);
    void watch(const std::function<void()> &call);
    void look();
    void obey(int signal);
    bool isTimeOver() const;
    [[noreturn]] void endAtOnce(const Ending &ending);
    void tell(const std::vector<Event> &events);
    Snapshot ask() const;
    void waitForOutput() const;
    Remains remains() const;

    Engine &m_engine;
    View &m_view;
    const Output &m_output;
    const Wake &m_wake;
    const unsigned m_retries;
    const std::chrono::seconds m_timeout; // 0: none
    std::chrono::milliseconds m_begin{};
    const PackageFolder m_folder;
    Progress m_progress;
    bool m_began = false; // the downloads did

    std::thread m_job;
    std::atomic<bool> m_returned{false};
};
