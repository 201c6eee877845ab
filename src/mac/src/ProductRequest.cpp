#include "ProductRequest.h"

#include <algorithm>
#include <cstddef>
#include <memory>

#include <curl/curl.h>

#include "TolvaneHandler.h"

namespace {

// Thousands of times the longest real reply; one without an end would fill the memory within the time.
constexpr std::size_t mostReplyBytes = 128U << 20U;

struct CurlSlistDeleter {
    void operator()(curl_slist *list) const noexcept { curl_slist_free_all(list); }
};
using CurlSlist = std::unique_ptr<curl_slist, CurlSlistDeleter>;

// Without memory for the line the list stays as it is: libcurl then sends its own header, or none.
void appendHeader(CurlSlist &headers, const std::string &line) {
    curl_slist *longer = curl_slist_append(headers.get(), line.c_str());
    if (longer == nullptr)
        return;
    static_cast<void>(headers.release()); // still part of the longer list
    headers.reset(longer);
}

// libcurl's view of write_data: no exception may cross it, and a short count ends the transfer.
std::size_t appendReply(const char *data, std::size_t size, std::size_t count, void *output) noexcept {
    try {
        auto *reply = static_cast<std::string *>(output);
        if (size * count > mostReplyBytes - std::min(reply->size(), mostReplyBytes))
            return 0;
        return TolvaneHandler::write_data(data, size, count, reply);
    } catch (...) {
        return 0;
    }
}

} // namespace

std::string productRequestBody(const ProductRequest &request) {
    std::string body = "<?xml  version=\"1.0\" encoding=\"utf-8\"?>"
                       "<productrequest>"
                       "<shared/>"
                       "<pkglist>"
                       "<package class=\"macdefault\">"
                       "<metadata>";
    body += "<affid>" + request.affId + "</affid>";
    body += "<langid>" + request.langId + "</langid>";
    body += "<macos><version>" + request.osVersion + "</version></macos>";
    body += "</metadata>";
    body += "<products relname=\"" + request.relName + "\" relver=\"" + request.coreRelVer + "\">";
    for (const std::string &id : request.appIds)
        body += "<product appid=\"" + id + "\"/>";
    body += "</products>";
    body += "<partner affid=\"" + request.affId + "\" relname=\"" + request.relName + "\" relver=\"" +
            request.partnerRelVer + "\">";
    body += "</partner>"
            "</package>"
            "</pkglist>"
            "</productrequest>";
    return body;
}

int postProductRequest(const CurlEasy &curl, const std::string &body, const std::string &requestUrl,
                       long timeoutSeconds, std::string &reply) {
    // These three fail for want of memory only; the transfer then fails and says so.
    static_cast<void>(curl_easy_setopt(curl.get(), CURLOPT_URL, requestUrl.c_str()));
    static_cast<void>(curl_easy_setopt(curl.get(), CURLOPT_TIMEOUT, timeoutSeconds));
    CurlSlist headers;
    appendHeader(headers, "Content-Type: text/xml; charset=utf-8");
    appendHeader(headers, "Content-Length: " + std::to_string(body.size()));
    appendHeader(headers, "Accept: text/xml");
    static_cast<void>(curl_easy_setopt(curl.get(), CURLOPT_HTTPHEADER, headers.get()));
    CURLcode result = curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDS, body.c_str());
    if (result != CURLE_OK)
        return result;
    result = curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, appendReply);
    if (result != CURLE_OK)
        return result;
    result = curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &reply);
    if (result != CURLE_OK)
        return result;

    result = static_cast<CURLcode>(performTransfer(curl));
    // A reply that did not fit was cut here and is none. What else of a broken transfer came is kept (kept:
    // the reply is judged by what is there).
    if (result == CURLE_WRITE_ERROR)
        std::string().swap(reply);
    return result;
}
