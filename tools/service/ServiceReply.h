// What the update service answers, told from its data alone.
#pragma once

#include <optional>
#include <string>
#include <vector>

// What decides of a request.
struct ServiceQuestion {
    std::string affId;
    std::vector<std::string> appIds;
};

// The "productresponse" that a "releases.xml" calls for; rehearsal/README.md describes both. None when the
// data is not well-formed.
std::optional<std::string> serviceReply(const std::string &releasesXml, const ServiceQuestion &question);
