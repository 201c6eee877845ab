#pragma once

#include <optional>
#include <string>

// A URL taken apart as the engine's transfers do it, by libcurl.
struct UrlParts {
    std::string scheme; // "https"
    std::string host;   // in lower case
    std::string port;
    std::string path; // decoded: where a server looks for it below its folder

    // "https://host:443", which tells one server from another.
    std::string server() const { return scheme + "://" + host + ":" + port; }
};

// Whether libcurl would make a transfer of it.
bool isTransferable(const std::string &url);

// None where that is not so, or for what names no server.
std::optional<UrlParts> partsOf(const std::string &url);
