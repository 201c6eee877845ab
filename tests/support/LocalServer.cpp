#include "LocalServer.h"

#include <array>
#include <cstdlib>
#include <stdexcept>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

void must(bool done, const char *step) {
    if (!done)
        throw std::runtime_error(std::string("the test's server: ") + step);
}

sockaddr_in loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    return address;
}

int bound(int port) {
    const int socketOnPort = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    must(socketOnPort >= 0, "socket");
    const sockaddr_in address = loopback(port);
    sockaddr generic{};
    static_assert(sizeof generic == sizeof address);
    std::copy_n(reinterpret_cast<const char *>(&address), sizeof address, reinterpret_cast<char *>(&generic));
    must(bind(socketOnPort, &generic, sizeof generic) == 0, "bind");
    return socketOnPort;
}

int portOf(int boundSocket) {
    sockaddr generic{};
    socklen_t size = sizeof generic;
    must(getsockname(boundSocket, &generic, &size) == 0, "getsockname");
    sockaddr_in address{};
    std::copy_n(reinterpret_cast<const char *>(&generic), sizeof address, reinterpret_cast<char *>(&address));
    return ntohs(address.sin_port);
}

// "" when the client left before the end of the head.
std::string readHead(int socket) {
    std::string head;
    std::array<char, 4096> buffer{};
    while (head.find("\r\n\r\n") == std::string::npos) {
        const ssize_t count = recv(socket, buffer.data(), buffer.size(), 0);
        if (count <= 0)
            return {};
        head.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return head;
}

HttpRequest parse(const std::string &head) {
    const std::size_t methodEnd = head.find(' ');
    const std::size_t targetEnd = head.find(' ', methodEnd + 1);
    return {head, head.substr(0, methodEnd), head.substr(methodEnd + 1, targetEnd - methodEnd - 1)};
}

struct Body {
    std::string head; // up to what tells the length
    std::string bytes;
};

Body bodyFor(const HttpRequest &request, const std::string &content) {
    if (request.header("Range").empty())
        return {"HTTP/1.1 200 OK\r\nConnection: close\r\n", content};
    const std::size_t start = request.rangeStart();
    if (start >= content.size())
        return {"HTTP/1.1 416 Range Not Satisfiable\r\nConnection: close\r\nContent-Range: bytes */" +
                    std::to_string(content.size()) + "\r\n",
                ""};
    return {"HTTP/1.1 206 Partial Content\r\nConnection: close\r\nContent-Range: bytes " +
                std::to_string(start) + "-" + std::to_string(content.size() - 1) + "/" +
                std::to_string(content.size()) + "\r\n",
            content.substr(start)};
}

std::string withLength(const Body &body) {
    return body.head + "Content-Length: " + std::to_string(body.bytes.size()) + "\r\n\r\n";
}

std::string withChunk(const Body &body) {
    std::array<char, 20> size{};
    static_cast<void>(std::snprintf(size.data(), size.size(), "%zx\r\n", body.bytes.size()));
    return body.head + "Transfer-Encoding: chunked\r\n\r\n" + size.data();
}

} // namespace

Gate::Gate()
    : m_state(std::make_shared<State>()) {
}

void Gate::open() const {
    const MutexLock lock(m_state->mutex);
    m_state->isOpen = true;
    m_state->opened.notify_all();
}

void Gate::wait() const {
    MutexLock lock(m_state->mutex);
    while (!m_state->isOpen)
        lock.wait(m_state->opened);
}

Gate Rendezvous::arrive() {
    const MutexLock lock(m_mutex);
    if (m_missing > 0 && --m_missing == 0)
        m_complete.open();
    return m_complete;
}

std::string HttpRequest::header(const std::string &name) const {
    const std::size_t line = head.find("\r\n" + name + ": ");
    if (line == std::string::npos)
        return {};
    const std::size_t value = line + 2 + name.size() + 2;
    return head.substr(value, head.find("\r\n", value) - value);
}

std::size_t HttpRequest::rangeStart() const {
    const std::string range = header("Range");
    return range.empty() ? 0 : std::stoul(range.substr(range.find('=') + 1));
}

void HttpConnection::send(const std::string &bytes) const {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = ::send(m_socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0)
            return; // the client has gone, which ends the answer
        sent += static_cast<std::size_t>(count);
    }
}

void HttpConnection::reset() const {
    const linger atOnce{1, 0};
    must(setsockopt(m_socket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce) == 0, "SO_LINGER");
}

void HttpConnection::waitUntilClientLeaves() const {
    std::array<char, 256> ignored{};
    while (recv(m_socket, ignored.data(), ignored.size(), 0) > 0) {
    }
}

namespace answer {

Answer whole() {
    return [](const HttpRequest &request, HttpConnection &connection, const std::string &content) {
        const Body body = bodyFor(request, content);
        connection.send(withLength(body) + body.bytes);
    };
}

Answer cut(std::size_t bytes) {
    return [bytes](const HttpRequest &request, HttpConnection &connection, const std::string &content) {
        const Body body = bodyFor(request, content);
        connection.send(withLength(body) + body.bytes.substr(0, bytes));
    };
}

Answer reset(std::size_t bytes) {
    return [bytes](const HttpRequest &request, HttpConnection &connection, const std::string &content) {
        cut(bytes)(request, connection, content);
        connection.reset();
    };
}

Answer stall(std::size_t bytes) {
    return [bytes](const HttpRequest &request, HttpConnection &connection, const std::string &content) {
        cut(bytes)(request, connection, content);
        connection.waitUntilClientLeaves();
    };
}

Answer hold(std::size_t bytes, Gate gate) {
    return [=](const HttpRequest &request, HttpConnection &connection, const std::string &content) {
        const Body body = bodyFor(request, content);
        connection.send(withLength(body) + body.bytes.substr(0, bytes));
        connection.wait(gate);
        connection.send(body.bytes.substr(bytes));
    };
}

Answer refuseRange() {
    return [](const HttpRequest &request, HttpConnection &connection, const std::string &content) {
        whole()({request.method + " " + request.target + " HTTP/1.1\r\n\r\n", request.method, request.target},
                connection, content);
    };
}

Answer noLength() {
    return noLengthCut(std::string::npos);
}

Answer noLengthCut(std::size_t bytes) {
    return [bytes](const HttpRequest &request, HttpConnection &connection, const std::string &content) {
        const Body body = bodyFor(request, content);
        connection.send(body.head + "\r\n" + body.bytes.substr(0, bytes));
    };
}

Answer chunked() {
    return [](const HttpRequest &request, HttpConnection &connection, const std::string &content) {
        const Body body = bodyFor(request, content);
        connection.send(withChunk(body) + body.bytes + "\r\n0\r\n\r\n");
    };
}

Answer chunkedCut(std::size_t bytes) {
    return [bytes](const HttpRequest &request, HttpConnection &connection, const std::string &content) {
        const Body body = bodyFor(request, content);
        connection.send(withChunk(body) + body.bytes.substr(0, bytes));
    };
}

Answer status(const std::string &codeAndReason, const std::string &body) {
    return [=](const HttpRequest &, HttpConnection &connection, const std::string &) {
        connection.send(withLength({"HTTP/1.1 " + codeAndReason + "\r\nConnection: close\r\n", body}) + body);
    };
}

Answer redirect(const std::string &location) {
    return [=](const HttpRequest &, HttpConnection &connection, const std::string &) {
        connection.send("HTTP/1.1 302 Found\r\nConnection: close\r\nContent-Length: 0\r\nLocation: " +
                        location + "\r\n\r\n");
    };
}

Answer nothing() {
    return [](const HttpRequest &, HttpConnection &, const std::string &) {};
}

Answer wrongBytes() {
    return [](const HttpRequest &request, HttpConnection &connection, const std::string &content) {
        whole()(request, connection, std::string(content.size(), '#'));
    };
}

Answer together(std::shared_ptr<Rendezvous> rendezvous, Answer then) {
    return [=](const HttpRequest &request, HttpConnection &connection, const std::string &content) {
        connection.wait(rendezvous->arrive());
        then(request, connection, content);
    };
}

} // namespace answer

LocalServer::LocalServer()
    : m_listener(bound(0)) {
    must(listen(m_listener, SOMAXCONN) == 0, "listen");
    m_port = portOf(m_listener);
    m_accepting = std::thread([this] { acceptConnections(); });
}

LocalServer::~LocalServer() {
    static_cast<void>(shutdown(m_listener, SHUT_RDWR));
    m_accepting.join();
    {
        const MutexLock lock(m_mutex);
        m_stopping = true;
        for (const Gate &gate : m_awaited)
            gate.open();
        for (const int socket : m_sockets)
            static_cast<void>(shutdown(socket, SHUT_RDWR));
    }
    for (std::thread &connection : m_connections)
        connection.join();
    static_cast<void>(close(m_listener));
}

void LocalServer::serve(const std::string &path, const std::string &content, std::vector<Answer> answers) {
    const MutexLock lock(m_mutex);
    File &file = m_files[path];
    file.content = content;
    file.answers = std::move(answers);
    file.asked = 0;
}

void LocalServer::answerHead(const std::string &path, Answer answer) {
    const MutexLock lock(m_mutex);
    m_files[path].headAnswer = std::move(answer);
}

std::string LocalServer::url(const std::string &path) const {
    return "http://" + host() + path;
}

std::string LocalServer::host() const {
    return "127.0.0.1:" + std::to_string(m_port);
}

std::vector<HttpRequest> LocalServer::requests() const {
    const MutexLock lock(m_mutex);
    return m_requests;
}

std::size_t LocalServer::requestCount() const {
    const MutexLock lock(m_mutex);
    return m_requests.size();
}

std::vector<std::string> LocalServer::ranges(const std::string &path) const {
    std::vector<std::string> found;
    for (const HttpRequest &request : requests()) {
        if (request.method == "GET" && request.target == path)
            found.push_back(request.header("Range"));
    }
    return found;
}

void LocalServer::acceptConnections() {
    for (;;) {
        const int socket = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (socket < 0)
            return;
        {
            const MutexLock lock(m_mutex);
            m_sockets.push_back(socket);
        }
        m_connections.emplace_back([this, socket] { serveConnection(socket); });
    }
}

void LocalServer::serveConnection(int socket) {
    HttpConnection connection(socket, [this](const Gate &gate) { waitForGate(gate); });
    const std::string head = readHead(socket);
    if (!head.empty()) {
        const HttpRequest request = parse(head);
        std::string content;
        answerFor(request, content)(request, connection, content);
    }
    const MutexLock lock(m_mutex);
    m_sockets.remove(socket);
    static_cast<void>(close(socket));
}

Answer LocalServer::answerFor(const HttpRequest &request, std::string &content) {
    const MutexLock lock(m_mutex);
    m_requests.push_back(request);
    const auto file = m_files.find(request.target);
    if (file == m_files.end())
        return answer::status("404 Not Found", "no such file\n");
    content = file->second.content;
    if (request.method == "HEAD")
        return file->second.headAnswer;
    const std::size_t number = file->second.asked++;
    return number < file->second.answers.size() ? file->second.answers[number] : answer::whole();
}

void LocalServer::waitForGate(const Gate &gate) {
    {
        const MutexLock lock(m_mutex);
        if (m_stopping)
            return;
        m_awaited.push_back(gate);
    }
    gate.wait();
}

std::string refusedUrl(const std::string &path) {
    // Bound but not listening, and for the life of the process, so that nobody else gets the port.
    static const int unheard = bound(0);
    return "http://127.0.0.1:" + std::to_string(portOf(unheard)) + path;
}
