#include "TrickleServer.h"

#include <array>
#include <chrono>
#include <stdexcept>
#include <string>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr auto interval = std::chrono::milliseconds(100);
constexpr std::size_t bytesPerInterval = 1100; // 11,000 a second; the engine's limit is 10,000

void sendText(int socket, const std::string &text) {
    // What the client's socket does not take is left out: nobody looks at the content.
    static_cast<void>(send(socket, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL));
}

} // namespace

TrickleServer::TrickleServer() {
    const int listening = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto *generic = reinterpret_cast<sockaddr *>(&address);
    if (bind(listening, generic, size) != 0 || listen(listening, SOMAXCONN) != 0 ||
        getsockname(listening, generic, &size) != 0)
        throw std::runtime_error("no server");
    m_port = ntohs(address.sin_port);
    m_sockets.push_back({listening, POLLIN, 0});
    m_thread = std::thread([this] { serve(); });
}

TrickleServer::~TrickleServer() {
    m_isOver = true;
    m_thread.join();
    for (const pollfd &socket : m_sockets) {
        if (socket.fd >= 0)
            close(socket.fd);
    }
}

void TrickleServer::serve() {
    auto next = std::chrono::steady_clock::now();
    while (!m_isOver) {
        const auto rest =
            std::chrono::duration_cast<std::chrono::milliseconds>(next - std::chrono::steady_clock::now());
        if (rest.count() > 0 &&
            poll(m_sockets.data(), m_sockets.size(), static_cast<int>(rest.count())) > 0) {
            for (std::size_t i = 1; i < m_sockets.size(); ++i)
                answer(m_sockets[i]);
            acceptAll();
        }
        if (rest.count() <= 0) {
            trickle();
            next += interval;
        }
    }
}

void TrickleServer::acceptAll() {
    if ((m_sockets.front().revents & POLLIN) == 0)
        return;
    for (int client = 0; (client = accept4(m_sockets.front().fd, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;)
        m_sockets.push_back({client, POLLIN, 0});
}

// The request is read and not looked at. Whoever was answered is asked nothing any more.
void TrickleServer::answer(pollfd &client) {
    if (client.revents == 0)
        return;
    std::array<char, 4096> request{};
    if (client.events != 0 && read(client.fd, request.data(), request.size()) > 0) {
        sendText(client.fd, "HTTP/1.1 200 OK\r\nContent-Length: 1000000000\r\n\r\n");
        client.events = 0;
        return;
    }
    close(client.fd);
    client.fd = -1; // poll passes it over
}

void TrickleServer::trickle() {
    static const std::string bytes(bytesPerInterval, 'b');
    for (std::size_t i = 1; i < m_sockets.size(); ++i) {
        if (m_sockets[i].fd >= 0 && m_sockets[i].events == 0)
            sendText(m_sockets[i].fd, bytes);
    }
}
