#pragma once

#include <cstdint>
#include <istream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

// One request, as it came and as it was understood.
struct Request {
    std::string raw;     // every byte of it
    std::string problem; // why it can't be answered, empty for a sound one
    std::string method;
    std::string target;
    std::string host;
    std::string contentType;
    std::string range;
    std::string body;
    bool keepAlive = false;
};

// What is to be answered, before it is known how it will be sent.
struct Reply {
    unsigned status = 200;
    std::vector<std::pair<std::string, std::string>> headers;
    std::unique_ptr<std::istream> body; // stands at the first byte to send
    std::uint64_t length = 0;
    std::string forever; // sent over and over after the body
};

Reply textReply(unsigned status, const std::string &text, const std::string &contentType = "text/plain");

// A file, or the part of it that a Range header names; an empty range is the whole.
Reply fileReply(const std::string &path, const std::string &range);
