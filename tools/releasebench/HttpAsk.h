#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "CurlEasy.h"
#include "ServerCheck.h"

struct HttpQuestion {
    std::string url;
    bool isHead = false;
    std::string range; // "100-", as the engine resumes; the whole when empty
};

struct HttpAnswer {
    std::string failure; // of the transfer, in libcurl's words; "" when there is none
    long status = 0;
    std::vector<std::string> redirects;         // where to, one after another
    std::map<std::string, std::string> headers; // of the last answer, by names in lower case

    std::string header(const std::string &name) const {
        const auto found = headers.find(name);
        return found == headers.end() ? "" : found->second;
    }
};

// Takes a piece of the body; false when that is enough.
using TakeBody = std::function<bool(const char *bytes, std::size_t count)>;

// Asks as the engine does: redirects are followed, certificates are checked by the system's store, and a body
// that comes slower than the engine's least speed is given up.
HttpAnswer askServer(const HttpQuestion &question, const AskingTime &time, const TakeBody &take);

// The time that an answer may take until the deadline, in milliseconds; 1 when it is over.
long millisecondsLeft(const AskingTime &time);

// A failed transfer, in libcurl's words.
std::string failureText(int result, const char *details);
