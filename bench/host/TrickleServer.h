#pragma once

#include <atomic>
#include <thread>
#include <vector>

#include <poll.h>

// An HTTP server in this process whose every answer goes on for as long as the server lives, at a rate just
// above the one below which the engine gives a transfer up: so that any number of workers are downloading.
class TrickleServer {
public:
    TrickleServer();
    ~TrickleServer();
    TrickleServer(const TrickleServer &) = delete;
    TrickleServer &operator=(const TrickleServer &) = delete;

    int port() const noexcept { return m_port; }

private:
    void serve();
    void acceptAll();
    void answer(pollfd &client);
    void trickle();

    int m_port = 0;
    std::atomic<bool> m_isOver{false};
    std::vector<pollfd> m_sockets; // the listening one first
    std::thread m_thread;
};
