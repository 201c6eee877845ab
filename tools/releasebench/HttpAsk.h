#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
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
// that comes slower than the engine's least speed is given up. Keeps connections for the next question. Used
// by one thread.
class HttpAsker {
public:
    explicit HttpAsker(const AskingTime &time)
        : m_time(time)
        , m_curl(makeCurlEasy()) {}

    HttpAnswer ask(const HttpQuestion &question, const TakeBody &take) const;

private:
    const AskingTime m_time;
    const CurlEasy m_curl; // null when libcurl gives none
};

// Askers that are lent to whoever asks next, so that connections are kept for any of them. Used by any
// thread.
class HttpAskers {
public:
    explicit HttpAskers(const AskingTime &time)
        : m_time(time) {}

    // What the work gives for an asker that nobody else uses meanwhile.
    template <typename Work>
    auto with(Work work) {
        std::unique_ptr<HttpAsker> asker = take();
        auto result = work(*asker);
        giveBack(std::move(asker));
        return result;
    }

private:
    std::unique_ptr<HttpAsker> take();
    void giveBack(std::unique_ptr<HttpAsker> asker);

    const AskingTime m_time;
    std::mutex m_mutex;
    std::vector<std::unique_ptr<HttpAsker>> m_idle; // guarded by the mutex
};

// The time that an answer may take until the deadline, in milliseconds; 1 when it is over.
long millisecondsLeft(const AskingTime &time);

// A failed transfer, in libcurl's words.
std::string failureText(int result, const char *details);
