#include "Connection.h"
#include "Handshakes.h"
#include "Service.h"
#include "Text.h"
#include "Wire.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/address.hpp>
#include <libxml/parser.h>

#include <unistd.h>

#include <chrono>
#include <future>
#include <iostream>
#include <limits>
#include <list>
#include <map>
#include <memory>
#include <stdexcept>
#include <thread>

namespace asio = boost::asio;
using asio::ip::tcp;

namespace {

tcp::endpoint endpointOf(const std::string &address, const std::string &port) {
    const auto number = wholeNumber(port);
    if (!number || *number > std::numeric_limits<unsigned short>::max()) {
        throw std::invalid_argument("not a port: " + port);
    }
    return {asio::ip::make_address(address), static_cast<unsigned short>(*number)};
}

void serveClient(std::unique_ptr<Wire> wire, Service &service) {
    try {
        Connection(std::move(wire), service).run();
    } catch (const std::exception &end) {
        std::cerr << "connection ended: " + std::string(end.what()) + "\n";
    }
}

template <typename MakeWire>
[[noreturn]] void serveClients(tcp::acceptor &acceptor, const MakeWire &makeWire, Service &service) {
    std::list<std::future<void>> clients;
    for (;;) {
        tcp::socket socket = acceptor.accept();
        clients.remove_if([](const std::future<void> &client) {
            return client.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
        });
        clients.push_back(
            std::async(std::launch::async, serveClient, makeWire(std::move(socket)), std::ref(service)));
    }
}

[[noreturn]] void serve(const std::string &root, const std::string &updateHost, const tcp::endpoint &secure,
                        const tcp::endpoint &plain) {
    Handshakes handshakes(root);
    Service service(root, updateHost);
    asio::io_context context;
    tcp::acceptor secureAcceptor(context, secure);
    tcp::acceptor plainAcceptor(context, plain);

    // Whoever started the service waits for this line; the end of the stream says there is no more to wait
    // for.
    std::cout << "ready" << std::endl;
    close(STDOUT_FILENO);

    // An acceptor that fails ends the process.
    const std::thread plainClients([&plainAcceptor, &service] {
        serveClients(
            plainAcceptor, [](tcp::socket socket) { return std::make_unique<PlainWire>(std::move(socket)); },
            service);
    });
    serveClients(
        secureAcceptor,
        [&handshakes](tcp::socket socket) {
            return std::make_unique<TlsWire>(std::move(socket), handshakes);
        },
        service);
}

} // namespace

int main(int argc, char **argv) {
    std::map<std::string, std::string> options;
    for (int i = 1; i + 1 < argc; i += 2) {
        options[argv[i]] = argv[i + 1];
    }
    try {
        xmlInitParser();
        const std::string address = options.at("--address");
        serve(options.at("--root"), options.at("--update-host"),
              endpointOf(address, options.at("--tls-port")), endpointOf(address, options.at("--plain-port")));
    } catch (const std::out_of_range &) {
        std::cerr
            << "usage: reference-service --root DIR --address ADDRESS --update-host NAME --tls-port PORT "
               "--plain-port PORT\n";
    } catch (const std::exception &problem) {
        std::cerr << "reference-service: " << problem.what() << '\n';
    }
    return 1;
}
