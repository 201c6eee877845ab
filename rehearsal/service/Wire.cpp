#include "Wire.h"

#include <boost/asio/write.hpp>

#include <linux/sockios.h>
#include <sys/ioctl.h>

#include <chrono>
#include <thread>

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

void Wire::reset() {
    // A reset discards what is still on its way, but the client is to get every byte sent so far.
    int unacknowledged = 1;
    while (ioctl(socket().native_handle(), SIOCOUTQ, &unacknowledged) == 0 && unacknowledged > 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    socket().set_option(asio::socket_base::linger(true, 0));
    socket().close();
}

void Wire::waitUntilClientLeaves() {
    std::string ignored(65536, '\0');
    error_code left;
    while (!left) {
        read(asio::buffer(ignored), left);
    }
}

TlsWire::TlsWire(tcp::socket socket, asio::ssl::context &tls)
    : m_stream(std::move(socket), tls) {
}

void TlsWire::open() {
    m_stream.next_layer().set_option(tcp::no_delay(true));
    m_stream.handshake(asio::ssl::stream_base::server);
}

std::size_t TlsWire::read(asio::mutable_buffer into, error_code &error) {
    return m_stream.read_some(into, error);
}

void TlsWire::write(const std::string &bytes) {
    asio::write(m_stream, asio::buffer(bytes));
}

void TlsWire::close() {
    error_code ignored; // the client may be gone already, or go without its own farewell
    m_stream.shutdown(ignored);
}

tcp::socket &TlsWire::socket() {
    return m_stream.next_layer();
}

PlainWire::PlainWire(tcp::socket socket)
    : m_socket(std::move(socket)) {
}

void PlainWire::open() {
    m_socket.set_option(tcp::no_delay(true));
}

std::size_t PlainWire::read(asio::mutable_buffer into, error_code &error) {
    return m_socket.read_some(into, error);
}

void PlainWire::write(const std::string &bytes) {
    asio::write(m_socket, asio::buffer(bytes));
}

void PlainWire::close() {
    error_code gone; // the client may be so already
    m_socket.shutdown(tcp::socket::shutdown_send, gone);
    waitUntilClientLeaves();
}

tcp::socket &PlainWire::socket() {
    return m_socket;
}
