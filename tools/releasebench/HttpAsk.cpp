#include "HttpAsk.h"

#include <algorithm>
#include <array>
#include <cctype>

#include <curl/curl.h>

#include "DownloadHelper.h"

namespace {

// What libcurl's callbacks fill; no exception may cross them.
struct Reading {
    HttpAnswer answer;
    const TakeBody &take;
    bool isEnough = false;
};

std::string trimmed(const std::string &text) {
    const std::size_t begin = text.find_first_not_of(" \t\r\n");
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(" \t\r\n") + 1 - begin);
}

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return text;
}

void readHeader(const std::string &line, HttpAnswer &answer) {
    if (line.rfind("HTTP/", 0) == 0)
        answer.headers.clear(); // those of the answer before
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos)
        return;
    const std::string name = lowerCase(line.substr(0, colon));
    answer.headers[name] = trimmed(line.substr(colon + 1));
    if (name == "location")
        answer.redirects.push_back(answer.headers[name]);
}

std::size_t takeHeader(const char *bytes, std::size_t size, std::size_t count, void *reading) noexcept {
    try {
        readHeader(std::string(bytes, size * count), static_cast<Reading *>(reading)->answer);
        return size * count;
    } catch (...) {
        return 0;
    }
}

std::size_t takeBody(const char *bytes, std::size_t size, std::size_t count, void *to) noexcept {
    try {
        auto *reading = static_cast<Reading *>(to);
        reading->isEnough = !reading->take(bytes, size * count);
        return reading->isEnough ? 0 : size * count;
    } catch (...) {
        return 0;
    }
}

} // namespace

long millisecondsLeft(const AskingTime &time) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(time.deadline -
                                                                            std::chrono::steady_clock::now());
    return std::max(1L, static_cast<long>(left.count()));
}

std::string failureText(int result, const char *details) {
    return *details != '\0' ? details : curl_easy_strerror(static_cast<CURLcode>(result));
}

HttpAnswer HttpAsker::ask(const HttpQuestion &question, const TakeBody &take) const {
    if (!m_curl)
        return {"libcurl gives no handle", 0, {}, {}};
    const CURLSetUpConfig engines;
    const auto each = static_cast<long>(m_time.each.count());
    std::array<char, CURL_ERROR_SIZE> details{};
    Reading reading{{}, take};
    CURLcode result = CURLE_OK;
    const auto set = [&](CURLoption option, auto value) {
        if (result == CURLE_OK)
            result = curl_easy_setopt(m_curl.get(), option, value);
    };
    curl_easy_reset(m_curl.get()); // of the question before
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_URL, question.url.c_str());
    set(CURLOPT_FOLLOWLOCATION, 1L);
    set(CURLOPT_CONNECTTIMEOUT, std::min(engines.connectTimeout, each));
    set(CURLOPT_LOW_SPEED_LIMIT, engines.lowSpeedLimit);
    set(CURLOPT_LOW_SPEED_TIME, std::min(engines.lowSpeedTime, each));
    set(CURLOPT_TIMEOUT_MS, millisecondsLeft(m_time));
    set(CURLOPT_ERRORBUFFER, details.data());
    set(CURLOPT_HEADERFUNCTION, &takeHeader);
    set(CURLOPT_HEADERDATA, &reading);
    set(CURLOPT_WRITEFUNCTION, &takeBody);
    set(CURLOPT_WRITEDATA, &reading);
    if (question.isHead)
        set(CURLOPT_NOBODY, 1L);
    if (!question.range.empty())
        set(CURLOPT_RANGE, question.range.c_str());
    if (result == CURLE_OK)
        result = static_cast<CURLcode>(performTransfer(m_curl));
    if (result != CURLE_OK && !reading.isEnough)
        reading.answer.failure = failureText(result, details.data());
    // Without an answer there is no status, and 0 stays.
    static_cast<void>(curl_easy_getinfo(m_curl.get(), CURLINFO_RESPONSE_CODE, &reading.answer.status));
    return reading.answer;
}

std::unique_ptr<HttpAsker> HttpAskers::take() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_idle.empty())
        return std::make_unique<HttpAsker>(m_time);
    std::unique_ptr<HttpAsker> asker = std::move(m_idle.back());
    m_idle.pop_back();
    return asker;
}

void HttpAskers::giveBack(std::unique_ptr<HttpAsker> asker) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_idle.push_back(std::move(asker));
}
