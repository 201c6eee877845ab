#include "Handshakes.h"

#include "Text.h"

#include <openssl/ssl.h>

#include <exception>
#include <filesystem>
#include <iostream>
#include <sstream>

namespace asio = boost::asio;

namespace {

int faultIndex() {
    static const int index = SSL_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    return index;
}

// The name in the client's "server_name" extension: a list's length, a kind, the name's length, the name.
std::string hostAskedFor(SSL *client) {
    constexpr std::size_t before = 5;
    const unsigned char *data = nullptr;
    std::size_t size = 0;
    if (SSL_client_hello_get0_ext(client, TLSEXT_TYPE_server_name, &data, &size) != 1 || size < before) {
        return "";
    }
    return std::string(data + before, data + size);
}

} // namespace

Handshakes::Handshakes(std::string root)
    : m_root(std::move(root))
    , m_context(asio::ssl::context::tls_server) {
    m_context.use_certificate_chain_file(m_root + "/tls/server.pem");
    m_context.use_private_key_file(m_root + "/tls/server.key", asio::ssl::context::pem);
    SSL_CTX_set_client_hello_cb(m_context.native_handle(), &Handshakes::meet, this);
}

void Handshakes::noteFault(SSL *client, std::string *fault) {
    SSL_set_ex_data(client, faultIndex(), fault);
}

int Handshakes::meet(SSL *client, int * /*alert*/, void *self) noexcept {
    try {
        return static_cast<const Handshakes *>(self)->meet(client);
    } catch (const std::exception &problem) {
        std::cerr << "handshake: " + std::string(problem.what()) + "\n";
        return SSL_CLIENT_HELLO_ERROR;
    }
}

int Handshakes::meet(SSL *client) const {
    const std::string host = hostAskedFor(client);
    const std::string own = m_root + "/tls/hosts/" + host;
    if (!host.empty() && std::filesystem::exists(own + ".pem") &&
        (SSL_use_certificate_chain_file(client, (own + ".pem").c_str()) != 1 ||
         SSL_use_PrivateKey_file(client, (own + ".key").c_str(), SSL_FILETYPE_PEM) != 1)) {
        throw std::runtime_error("no usable certificate for " + host);
    }
    const std::string fault = faultFor(host);
    if (fault == "tls1.0") {
        SSL_set_security_level(client, 0); // as old as the protocol
        SSL_set_min_proto_version(client, TLS1_VERSION);
        SSL_set_max_proto_version(client, TLS1_VERSION);
        return SSL_CLIENT_HELLO_SUCCESS;
    }
    *static_cast<std::string *>(SSL_get_ex_data(client, faultIndex())) = fault;
    // Whatever comes then is sent behind TLS's back.
    return fault.empty() ? SSL_CLIENT_HELLO_SUCCESS : SSL_CLIENT_HELLO_RETRY;
}

std::string Handshakes::faultFor(const std::string &host) const {
    std::istringstream lines(contentOf(m_root + "/service/handshakes").value_or(""));
    for (std::string name, fault; lines >> name >> fault;) {
        if (fault != "plain" && fault != "silent" && fault != "drop" && fault != "reset" &&
            fault != "tls1.0") {
            throw std::runtime_error("not a handshake: " + fault);
        }
        if (name == host) {
            return fault;
        }
    }
    return "";
}
