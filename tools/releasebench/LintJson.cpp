#include "Lint.h"

#include <filesystem>

#include <nlohmann/json.hpp>

namespace {

using Json = nlohmann::ordered_json;

// What is no UTF-8 is shown as such, not refused.
std::string dumped(const Json &document) {
    return document.dump(2, ' ', false, Json::error_handler_t::replace);
}

// Of one file always the same: consumers recognise findings by it. What has a meaning in URIs is escaped.
std::string uriOf(const std::string &place) {
    const std::string file = std::filesystem::path(place).lexically_normal().string();
    constexpr const char *plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";
    constexpr const char *digits = "0123456789ABCDEF";
    std::string uri = file.rfind('/', 0) == 0 ? "file://" : "";
    for (const char character : file) {
        if (std::string(plain).find(character) != std::string::npos) {
            uri += character;
        } else {
            const auto code = static_cast<unsigned char>(character);
            uri += {'%', digits[code / 16], digits[code % 16]};
        }
    }
    return uri;
}

Json ruleInSarif(const LintRule &rule) {
    Json told = {{"id", rule.id},
                 {"shortDescription", {{"text", rule.what}}},
                 {"fullDescription", {{"text", rule.why}}},
                 {"help", {{"text", rule.remedy}}},
                 {"defaultConfiguration", {{"level", nameOf(rule.severity)}}}};
    return told;
}

Json resultInSarif(const Finding &finding) {
    Json location = {{"physicalLocation",
                      {{"artifactLocation", {{"uri", uriOf(finding.place.file)}}},
                       {"region", {{"startLine", finding.place.line}}}}}};
    if (!finding.place.part.empty())
        location["logicalLocations"] = Json::array({{{"fullyQualifiedName", finding.place.part}}});
    return {{"ruleId", finding.rule->id},
            {"ruleIndex", finding.rule - lintRules().data()},
            {"level", nameOf(finding.rule->severity)},
            {"message", {{"text", finding.text}}},
            {"locations", Json::array({std::move(location)})}};
}

} // namespace

std::string findingsInJson(const std::vector<Finding> &findings) {
    const LintCounts counts = countsOf(findings);
    Json told = {{"errors", counts.errors}, {"warnings", counts.warnings}, {"notes", counts.notes}};
    told["findings"] = Json::array();
    for (const Finding &finding : findings)
        told["findings"].push_back({{"rule", finding.rule->id},
                                    {"severity", nameOf(finding.rule->severity)},
                                    {"file", finding.place.file},
                                    {"line", finding.place.line},
                                    {"part", finding.place.part},
                                    {"text", finding.text},
                                    {"what", finding.rule->what},
                                    {"why", finding.rule->why},
                                    {"remedy", finding.rule->remedy}});
    return dumped(told);
}

std::string findingsInSarif(const std::vector<Finding> &findings) {
    Json rules = Json::array();
    for (const LintRule &rule : lintRules())
        rules.push_back(ruleInSarif(rule));
    Json results = Json::array();
    for (const Finding &finding : findings)
        results.push_back(resultInSarif(finding));
    const Json run = {
        {"tool", {{"driver", {{"name", "releasebench"}, {"version", VERSION}, {"rules", std::move(rules)}}}}},
        {"columnKind", "utf16CodeUnits"},
        {"results", std::move(results)}};
    return dumped({{"$schema", "https://json.schemastore.org/sarif-2.1.0.json"},
                   {"version", "2.1.0"},
                   {"runs", Json::array({run})}});
}
