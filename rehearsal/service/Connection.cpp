#include "Connection.h"

#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/status.hpp>
#include <boost/beast/http/string_body.hpp>

#include <algorithm>
#include <chrono>
#include <limits>
#include <sstream>
#include <thread>

namespace http = boost::beast::http;
using boost::system::error_code;

namespace {

constexpr std::size_t pieceSize = 65536;
constexpr unsigned piecesPerSecond = 10; // of a slow answer

std::string text(boost::beast::string_view view) {
    return std::string(view.data(), view.size());
}

std::string head(const Request &request, const Answer &answer, bool lasts) {
    const Reply &reply = answer.reply;
    std::ostringstream lines;
    lines << "HTTP/1.1 " << reply.status << ' ' << http::obsolete_reason(http::int_to_status(reply.status))
          << "\r\n";
    for (const auto &[name, value] : reply.headers) {
        lines << name << ": " << value << "\r\n";
    }
    if (answer.action.name == "chunked") {
        lines << "Transfer-Encoding: chunked\r\n";
    } else if (answer.action.name != "no-length") {
        lines << "Content-Length: " << reply.length << "\r\n";
    }
    lines << (lasts && request.keepAlive ? "" : "Connection: close\r\n") << "\r\n";
    return lines.str();
}

} // namespace

Connection::Connection(std::unique_ptr<Wire> wire, Service &service)
    : m_wire(std::move(wire))
    , m_service(service) {
}

void Connection::run() {
    m_wire->open();
    while (const auto request = read()) {
        Answer answer = m_service.answer(*request);
        if (!send(*request, answer)) {
            return;
        }
    }
    m_wire->close();
}

std::optional<Request> Connection::read() {
    Request request;
    http::request_parser<http::string_body> parser;
    parser.eager(true);
    parser.header_limit(1024 * 1024);
    parser.body_limit(std::numeric_limits<std::uint64_t>::max());
    error_code error;
    bool toldToContinue = false;
    while (!parser.is_done() && !error) {
        const std::size_t used = m_received.size() == 0 ? 0 : parser.put(m_received.data(), error);
        request.raw.append(static_cast<const char *>(m_received.data().data()), used);
        m_received.consume(used);
        if (error == http::error::need_more) {
            error = {};
        }
        if (error || parser.is_done()) {
            break;
        }
        if (parser.is_header_done() && !toldToContinue &&
            parser.get()[http::field::expect] == "100-continue") {
            m_wire->write("HTTP/1.1 100 Continue\r\n\r\n");
            toldToContinue = true;
        }
        const std::size_t got = m_wire->read(m_received.prepare(pieceSize), error);
        m_received.commit(got);
        if (error) {
            return std::nullopt;
        }
    }
    if (error) {
        request.problem = "not an HTTP request: " + error.message();
        return request;
    }
    const auto &message = parser.get();
    request.method = text(message.method_string());
    request.target = text(message.target());
    request.host = text(message[http::field::host]);
    request.contentType = text(message[http::field::content_type]);
    request.range = text(message[http::field::range]);
    request.body = message.body();
    request.keepAlive = message.keep_alive();
    return request;
}

bool Connection::send(const Request &request, Answer &answer) {
    const std::string &how = answer.action.name;
    if (how == "silent") {
        m_wire->waitUntilClientLeaves();
        return false;
    }
    if (how == "drop") {
        m_wire->close();
        return false;
    }

    const bool cutShort = how == "cut" || how == "reset" || how == "stall";
    const bool lasts = !cutShort && how != "no-length";
    m_wire->write(head(request, answer, lasts));
    if (request.method != "HEAD") {
        sendBody(answer,
                 cutShort ? std::min(answer.reply.length, answer.action.number) : answer.reply.length);
    }

    if (how == "stall") {
        m_wire->waitUntilClientLeaves();
        return false;
    }
    if (how == "reset") {
        m_wire->reset();
        return false;
    }
    if (lasts && request.keepAlive) {
        return true;
    }
    m_wire->close();
    return false;
}

void Connection::sendBody(Answer &answer, std::uint64_t length) {
    const Action &action = answer.action;
    const bool slow = action.name == "slow";
    const bool chunked = action.name == "chunked";
    const std::uint64_t most = slow ? std::max<std::uint64_t>(1, action.number / piecesPerSecond) : pieceSize;
    std::uint64_t sent = 0;
    while (sent < length) {
        std::string piece(static_cast<std::size_t>(std::min({length - sent, most, std::uint64_t{pieceSize}})),
                          '\0');
        if (!answer.reply.body->read(piece.data(), static_cast<std::streamsize>(piece.size()))) {
            throw std::runtime_error("a file became shorter while it was sent");
        }
        if (action.name == "wrong" && action.number >= sent && action.number - sent < piece.size()) {
            char &byte = piece[static_cast<std::size_t>(action.number - sent)];
            byte = static_cast<char>(~byte);
        }
        sent += piece.size();
        if (chunked) {
            std::ostringstream size;
            size << std::hex << piece.size() << "\r\n";
            piece.insert(0, size.str()).append("\r\n");
        }
        m_wire->write(piece);
        if (slow) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1000 / piecesPerSecond));
        }
    }
    if (chunked) {
        m_wire->write("0\r\n\r\n");
    }
}
