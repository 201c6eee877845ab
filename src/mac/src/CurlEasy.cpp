#include "CurlEasy.h"

#include <curl/curl.h>

#include "WriteSignalBlock.h"

void CurlEasyDeleter::operator()(void *handle) const noexcept {
    const WriteSignalBlock block; // closing a TLS connection writes to it
    curl_easy_cleanup(handle);
}

int performTransfer(const CurlEasy &handle) noexcept {
    const WriteSignalBlock block;
    return curl_easy_perform(handle.get());
}

CurlEasy makeCurlEasy() noexcept {
    CurlEasy handle(curl_easy_init());
    if (handle && curl_easy_setopt(handle.get(), CURLOPT_NOSIGNAL, 1L) != CURLE_OK)
        handle.reset();
    return handle;
}
