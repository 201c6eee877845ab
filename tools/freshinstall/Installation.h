// One fresh installation: the engine's blocking calls run on a thread of their own, while the caller's thread
// asks how far they are, shows it, and listens for signals.
#pragma once

#include <chrono>
#include <functional>

#include "Engine.h"
#include "Output.h"
#include "Progress.h"
#include "View.h"
#include "Wake.h"

class Installation {
public:
    // The view shows on the output.
    Installation(Engine &engine, View &view, const Output &output, unsigned retries)
        : m_engine(engine)
        , m_view(view)
        , m_output(output)
        , m_retries(retries) {}

    // The process's status. Does not return when it is interrupted: the engine has no way to cancel, so the
    // process ends at once.
    int run();

private:
    Outcome watch(const std::function<void()> &call, const std::function<Outcome()> &judge);
    void look();
    void obey(int signal);
    [[noreturn]] void endBySignal(int signal);
    void tell(const std::vector<Event> &events);
    Snapshot ask() const;
    void waitForOutput() const;
    Ending endingOf(Outcome outcome) const;
    void addPackages(Ending &ending) const;

    Engine &m_engine;
    View &m_view;
    const Output &m_output;
    const unsigned m_retries;
    const Wake m_wake;
    Progress m_progress;
};
