#include "CurlEasy.h"

#include <chrono>
#include <thread>

#include <curl/curl.h>

#include "PipeSignalBlock.h"

namespace {

constexpr int callbackIntervalMilliseconds = 100;
constexpr auto pauseWithoutConnection = std::chrono::milliseconds(10);

struct CurlMultiDeleter {
    void operator()(CURLM *multi) const noexcept { curl_multi_cleanup(multi); }
};
using CurlMulti = std::unique_ptr<CURLM, CurlMultiDeleter>;

// libcurl's result code of the only transfer. The calls fail for want of memory only.
int runToEnd(CURLM *multi) noexcept {
    int running = 0;
    while (curl_multi_perform(multi, &running) == CURLM_OK && running != 0) {
        int ready = 0;
        if (curl_multi_wait(multi, nullptr, 0, callbackIntervalMilliseconds, &ready) != CURLM_OK)
            return CURLE_OUT_OF_MEMORY;
        // While it has no connection yet, libcurl does not wait at all.
        if (ready == 0)
            std::this_thread::sleep_for(pauseWithoutConnection);
    }
    int left = 0;
    const CURLMsg *message = curl_multi_info_read(multi, &left);
    return message != nullptr ? message->data.result : CURLE_OUT_OF_MEMORY;
}

} // namespace

void CurlEasyDeleter::operator()(void *handle) const noexcept {
    const PipeSignalBlock block; // closing a TLS connection writes to it
    curl_easy_cleanup(handle);
}

int performTransfer(const CurlEasy &handle) noexcept {
    const PipeSignalBlock block;
    return curl_easy_perform(handle.get());
}

int performAbortableTransfer(const CurlEasy &handle) noexcept {
    if (!handle)
        return CURLE_BAD_FUNCTION_ARGUMENT;
    const PipeSignalBlock block;
    const CurlMulti multi(curl_multi_init());
    if (!multi || curl_multi_add_handle(multi.get(), handle.get()) != CURLM_OK)
        return CURLE_OUT_OF_MEMORY;
    const int result = runToEnd(multi.get());
    // Cannot fail: both are valid, and the one holds the other.
    static_cast<void>(curl_multi_remove_handle(multi.get(), handle.get()));
    return result;
}

CurlEasy makeCurlEasy() noexcept {
    CurlEasy handle(curl_easy_init());
    if (handle && curl_easy_setopt(handle.get(), CURLOPT_NOSIGNAL, 1L) != CURLE_OK)
        handle.reset();
    return handle;
}
