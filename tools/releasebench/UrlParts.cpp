#include "UrlParts.h"

#include <memory>

#include <curl/curl.h>

#include "LowerCase.h"

namespace {

struct FreeUrl {
    void operator()(CURLU *url) const noexcept { curl_url_cleanup(url); }
};
struct FreeCurlText {
    void operator()(char *text) const noexcept { curl_free(text); }
};

using ParsedUrl = std::unique_ptr<CURLU, FreeUrl>;

// Null for what libcurl refuses, a blank in it say.
ParsedUrl parse(const std::string &url) {
    ParsedUrl parsed(curl_url());
    if (parsed && curl_url_set(parsed.get(), CURLUPART_URL, url.c_str(), CURLU_GUESS_SCHEME) != CURLUE_OK)
        parsed.reset();
    return parsed;
}

std::optional<std::string> part(CURLU *url, CURLUPart what, unsigned int flags) {
    char *text = nullptr;
    if (curl_url_get(url, what, &text, flags) != CURLUE_OK)
        return std::nullopt;
    return std::string(std::unique_ptr<char, FreeCurlText>(text).get());
}

} // namespace

bool isTransferable(const std::string &url) {
    return parse(url) != nullptr;
}

std::optional<UrlParts> partsOf(const std::string &url) {
    const ParsedUrl parsed = parse(url);
    if (!parsed)
        return std::nullopt;
    const auto scheme = part(parsed.get(), CURLUPART_SCHEME, 0);
    const auto host = part(parsed.get(), CURLUPART_HOST, 0);
    const auto port = part(parsed.get(), CURLUPART_PORT, CURLU_DEFAULT_PORT);
    const auto path = part(parsed.get(), CURLUPART_PATH, CURLU_URLDECODE);
    if (!scheme || !host || !port || !path)
        return std::nullopt;
    return UrlParts{*scheme, lowerCase(*host), *port, *path};
}
