#pragma once

#include <boost/asio/ssl/context.hpp>

#include <string>

// How TLS clients are met, by the host that they ask for: with the servers' certificate or the host's own,
// and properly or as `service/handshakes` says. Both are read anew for every client. Used by all connections'
// threads.
class Handshakes {
public:
    explicit Handshakes(std::string root);

    // For the streams of all clients; must not outlive this object.
    boost::asio::ssl::context &context() { return m_context; }

    // Where it is written, once the client's first message is there, what it gets instead of a handshake.
    static void noteFault(SSL *client, std::string *fault);

private:
    static int meet(SSL *client, int *alert, void *self) noexcept;
    int meet(SSL *client) const;
    std::string faultFor(const std::string &host) const;

    const std::string m_root;
    boost::asio::ssl::context m_context;
};
