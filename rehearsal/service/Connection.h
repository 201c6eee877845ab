#pragma once

#include "Service.h"
#include "Wire.h"

#include <boost/beast/core/flat_buffer.hpp>

#include <memory>
#include <optional>

// One client, from its first byte until one side is done. Runs on one thread, which it blocks.
// A client that goes away ends it by an exception.
class Connection {
public:
    Connection(std::unique_ptr<Wire> wire, Service &service);

    void run();

private:
    std::optional<Request> read();
    bool send(const Request &request, Answer &answer); // whether the connection may serve another request
    void sendBody(Answer &answer, std::uint64_t length);

    const std::unique_ptr<Wire> m_wire;
    boost::beast::flat_buffer m_received; // read ahead, not yet part of a request
    Service &m_service;
};
