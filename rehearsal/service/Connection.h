#pragma once

#include "Service.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/beast/core/flat_buffer.hpp>

#include <optional>
#include <string>

// One client, from its TLS handshake until one side is done. Runs on one thread, which it blocks.
// A client that goes away ends it by an exception.
class Connection {
public:
    Connection(boost::asio::ip::tcp::socket socket, boost::asio::ssl::context &tls, Service &service);

    void run();

private:
    std::optional<Request> read();
    bool send(const Request &request, Answer &answer); // whether the connection may serve another request
    void sendBody(Answer &answer, std::uint64_t length);
    void write(const std::string &bytes);
    void close();
    void reset();
    void waitUntilClientLeaves();

    boost::asio::ssl::stream<boost::asio::ip::tcp::socket> m_stream;
    boost::beast::flat_buffer m_received; // read ahead, not yet part of a request
    Service &m_service;
};
