// What the update service is asked, told from the parameters alone, and how it is posted.
#pragma once

#include <string>
#include <vector>

#include "CurlEasy.h"

struct ProductRequest {
    std::string affId = "0";
    std::string langId = "en-us";
    std::string osVersion;
    std::string relName = "basicmac3.3";
    std::string coreRelVer;
    std::string partnerRelVer;
    std::vector<std::string> appIds;
};

// The "productrequest". The values go in as they are, without any XML escaping, and the declaration keeps its
// two blanks: kept, the service knows the request in this form.
std::string productRequestBody(const ProductRequest &request);

constexpr long requestTimeoutSeconds = 60;

// Posts a body by a new handle and appends the reply, as far as it came; a reply that is longer than any real
// one is none. Gives libcurl's result code; the HTTP status does not matter. The handle must not be used
// again.
int postProductRequest(const CurlEasy &curl, const std::string &body, const std::string &requestUrl,
                       long timeoutSeconds, std::string &reply);
