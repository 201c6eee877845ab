// An HTTP server of the test's own, which answers each request for a file as the test says.
#pragma once

#include <cstddef>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ThreadSafety.h"

// What threads wait for until somebody opens it. Copies are the same gate.
class Gate {
public:
    Gate();
    void open() const;
    void wait() const;

private:
    struct State {
        boost::mutex mutex;
        boost::condition_variable opened;
        bool isOpen GUARDED_BY(mutex) = false;
    };
    std::shared_ptr<State> m_state;
};

// Holds all that come until a number of them is there.
class Rendezvous {
public:
    explicit Rendezvous(unsigned expected)
        : m_missing(expected) {}
    Gate arrive();

private:
    boost::mutex m_mutex;
    unsigned m_missing GUARDED_BY(m_mutex);
    Gate m_complete;
};

struct HttpRequest {
    std::string head; // every byte up to and with the empty line
    std::string method;
    std::string target;

    // The value of a header; "" without it.
    std::string header(const std::string &name) const;
    // The first byte that a Range header asks for; 0 without one.
    std::size_t rangeStart() const;
};

// One request's connection, which ends with the answer.
class HttpConnection {
public:
    HttpConnection(int socket, std::function<void(const Gate &)> waitForGate)
        : m_socket(socket)
        , m_waitForGate(std::move(waitForGate)) {}

    void send(const std::string &bytes) const;
    // Ends the connection with a reset in place of an end.
    void reset() const;
    // Returns when the client has closed its end.
    void waitUntilClientLeaves() const;
    void wait(const Gate &gate) const { m_waitForGate(gate); }

private:
    int m_socket;
    std::function<void(const Gate &)> m_waitForGate;
};

// How one request for a file is answered.
using Answer = std::function<void(const HttpRequest &, HttpConnection &, const std::string &content)>;

namespace answer {
// The file, or from where the request asks for it.
Answer whole();
// As whole, but the connection ends after so many bytes of the body.
Answer cut(std::size_t bytes);
Answer reset(std::size_t bytes);
// As whole, but nothing comes after so many bytes until the client leaves, or until the gate opens.
Answer stall(std::size_t bytes);
Answer hold(std::size_t bytes, Gate gate);
// The whole file whatever was asked for.
Answer refuseRange();
// Without a length: the end of the connection ends the body.
Answer noLength();
Answer noLengthCut(std::size_t bytes);
// In one chunk; cut ends the connection inside of it.
Answer chunked();
Answer chunkedCut(std::size_t bytes);
// A status line with a body of its own.
Answer status(const std::string &codeAndReason, const std::string &body = "");
Answer redirect(const std::string &location);
// The connection ends without any reply.
Answer nothing();
// Another body than the file's, of the same length.
Answer wrongBytes();
// The answer, once all have arrived.
Answer together(std::shared_ptr<Rendezvous> rendezvous, Answer then);
} // namespace answer

// Listens on a port that the system chooses, from its construction on. The destructor ends all connections
// and opens every gate that an answer waits for.
//
// Threads: files are given before they are asked for; requests may be read by any thread at any time.
class LocalServer {
public:
    LocalServer();
    ~LocalServer();
    LocalServer(const LocalServer &) = delete;
    LocalServer &operator=(const LocalServer &) = delete;

    // The n-th GET of the path gets the n-th answer, later ones the whole file; a path without a file gets
    // 404. HEAD is not counted and gets the head of the whole file, or an answer of its own.
    void serve(const std::string &path, const std::string &content, std::vector<Answer> answers = {});
    void answerHead(const std::string &path, Answer answer);
    std::string url(const std::string &path) const;
    // "address:port"
    std::string host() const;
    // Every request so far, in the order of arrival.
    std::vector<HttpRequest> requests() const;
    std::size_t requestCount() const;
    // The Range headers of the GETs of one path, "" for one without.
    std::vector<std::string> ranges(const std::string &path) const;

private:
    struct File {
        std::string content;
        std::vector<Answer> answers;
        Answer headAnswer = answer::cut(0);
        std::size_t asked = 0;
    };

    void acceptConnections();
    void serveConnection(int socket);
    Answer answerFor(const HttpRequest &request, std::string &content);
    void waitForGate(const Gate &gate);

    int m_listener;
    int m_port = 0;
    mutable boost::mutex m_mutex;
    std::map<std::string, File> m_files GUARDED_BY(m_mutex);
    std::vector<HttpRequest> m_requests GUARDED_BY(m_mutex);
    std::list<int> m_sockets GUARDED_BY(m_mutex);
    std::list<Gate> m_awaited GUARDED_BY(m_mutex);
    bool m_stopping GUARDED_BY(m_mutex) = false;
    std::list<std::thread> m_connections; // of the accepting thread, until that has ended
    std::thread m_accepting;
};

// A port on which nothing listens.
std::string refusedUrl(const std::string &path);
