#pragma once

#include <boost/asio/buffer.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/system/error_code.hpp>

#include <cstddef>
#include <string>

// What the bytes between one client and the service go over: TLS or plain TCP. Every call blocks.
class Wire {
public:
    Wire() = default;
    virtual ~Wire() = default;
    Wire(const Wire &) = delete;
    Wire &operator=(const Wire &) = delete;

    // Before anything else is sent or received. Throws when the client does not go along.
    virtual void open() = 0;

    virtual std::size_t read(boost::asio::mutable_buffer into, boost::system::error_code &error) = 0;
    virtual void write(const std::string &bytes) = 0; // throws when the client is gone

    // The orderly end: a client can tell it from a connection that broke. Waits for the client's own.
    virtual void close() = 0;

    // TCP's reset, once the client's system has every byte sent so far.
    void reset();
    void waitUntilClientLeaves();

protected:
    virtual boost::asio::ip::tcp::socket &socket() = 0;
};

class TlsWire : public Wire {
public:
    TlsWire(boost::asio::ip::tcp::socket socket, boost::asio::ssl::context &tls);

    void open() override;
    std::size_t read(boost::asio::mutable_buffer into, boost::system::error_code &error) override;
    void write(const std::string &bytes) override;
    void close() override;

protected:
    boost::asio::ip::tcp::socket &socket() override;

private:
    boost::asio::ssl::stream<boost::asio::ip::tcp::socket> m_stream;
};

class PlainWire : public Wire {
public:
    explicit PlainWire(boost::asio::ip::tcp::socket socket);

    void open() override;
    std::size_t read(boost::asio::mutable_buffer into, boost::system::error_code &error) override;
    void write(const std::string &bytes) override;
    void close() override;

protected:
    boost::asio::ip::tcp::socket &socket() override;

private:
    boost::asio::ip::tcp::socket m_socket;
};
