#include "Servers.h"

#include <nlohmann/json.hpp>

std::string checksInJson(const std::vector<ServerCheck> &checks) {
    using Json = nlohmann::ordered_json;
    Json all = Json::array();
    std::size_t count = 0;
    for (const ServerCheck &check : checks) {
        Json findings = Json::array();
        for (const ServerFinding &finding : check.findings)
            findings.push_back({{"id", finding.id}, {"text", finding.text}});
        count += check.findings.size();
        all.push_back({{"kind", check.kind},
                       {"subject", check.subject},
                       {"facts", check.facts},
                       {"findings", std::move(findings)}});
    }
    const Json json = {{"checks", std::move(all)}, {"findings", count}};
    // Servers may say any bytes; those that are no UTF-8 are replaced.
    return json.dump(2, ' ', false, Json::error_handler_t::replace);
}
