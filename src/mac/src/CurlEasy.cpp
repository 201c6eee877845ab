#include "CurlEasy.h"

#include <curl/curl.h>

void CurlEasyDeleter::operator()(void *handle) const noexcept {
    curl_easy_cleanup(handle);
}

CurlEasy makeCurlEasy() noexcept {
    CurlEasy handle(curl_easy_init());
    if (handle && curl_easy_setopt(handle.get(), CURLOPT_NOSIGNAL, 1L) != CURLE_OK)
        handle.reset();
    return handle;
}
