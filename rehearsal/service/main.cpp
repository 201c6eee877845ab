#include "Connection.h"
#include "Service.h"
#include "Text.h"

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
#include <stdexcept>

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

void serveClient(tcp::socket socket, asio::ssl::context &tls, Service &service) {
    try {
        Connection(std::move(socket), tls, service).run();
    } catch (const std::exception &end) {
        std::cerr << "connection ended: " + std::string(end.what()) + "\n";
    }
}

[[noreturn]] void serve(const std::string &root, const tcp::endpoint &endpoint) {
    asio::ssl::context tls(asio::ssl::context::tls_server);
    tls.use_certificate_chain_file(root + "/tls/server.pem");
    tls.use_private_key_file(root + "/tls/server.key", asio::ssl::context::pem);
    Service service(root);
    asio::io_context context;
    tcp::acceptor acceptor(context, endpoint);

    // Whoever started the service waits for this line; the end of the stream says there is no more to wait
    // for.
    std::cout << "ready" << std::endl;
    close(STDOUT_FILENO);

    std::list<std::future<void>> clients;
    for (;;) {
        tcp::socket socket = acceptor.accept();
        clients.remove_if([](const std::future<void> &client) {
            return client.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
        });
        clients.push_back(
            std::async(std::launch::async, serveClient, std::move(socket), std::ref(tls), std::ref(service)));
    }
}

} // namespace

int main(int argc, char **argv) {
    std::map<std::string, std::string> options;
    for (int i = 1; i + 1 < argc; i += 2) {
        options[argv[i]] = argv[i + 1];
    }
    try {
        xmlInitParser();
        serve(options.at("--root"), endpointOf(options.at("--address"), options.at("--port")));
    } catch (const std::out_of_range &) {
        std::cerr << "usage: reference-service --root DIR --address ADDRESS --port PORT\n";
    } catch (const std::exception &problem) {
        std::cerr << "reference-service: " << problem.what() << '\n';
    }
    return 1;
}
