#include "LintRule.h"

#include <algorithm>
#include <tuple>

#include "LintInput.h"

namespace {

std::vector<LintRule> allRules() {
    std::vector<LintRule> all;
    for (const auto rulesOf :
         {catalogXmlRules, valueRules, versionRules, buildRules, boundRules, urlRules, destinationRules,
          hashRules, fullInstallRules, replyRules, orderRules, fileRules}) {
        const std::vector<LintRule> rules = rulesOf();
        all.insert(all.end(), rules.begin(), rules.end());
    }
    return all;
}

auto keyOf(const Finding &finding) {
    return std::tie(finding.place.file, finding.place.line, finding.place.part, finding.rule, finding.text);
}

} // namespace

const std::vector<LintRule> &lintRules() {
    static const std::vector<LintRule> rules = allRules();
    return rules;
}

bool isLintRule(const std::string &id) {
    return std::any_of(lintRules().begin(), lintRules().end(),
                       [&id](const LintRule &rule) { return id == rule.id; });
}

const char *nameOf(Severity severity) {
    constexpr const char *names[] = {"note", "warning", "error"};
    return names[static_cast<int>(severity)];
}

VisitText tellingFaults(const Tell &tell, std::string (*faultOf)(const std::string &)) {
    return [&tell, faultOf](const std::string &text, const WhereIs &place) {
        const std::string fault = faultOf(text);
        if (!fault.empty())
            tell(place(), fault);
    };
}

std::vector<Finding> findingsOf(const LintInput &input, const std::vector<std::string> &disabled) {
    std::vector<Finding> findings;
    for (const LintRule &rule : lintRules()) {
        if (std::find(disabled.begin(), disabled.end(), rule.id) != disabled.end())
            continue;
        rule.check(input, [&](const LintPlace &place, const std::string &text) {
            findings.push_back({&rule, place, text});
        });
    }
    const auto isBefore = [](const Finding &left, const Finding &right) {
        return keyOf(left) < keyOf(right);
    };
    const auto isSame = [](const Finding &left, const Finding &right) { return keyOf(left) == keyOf(right); };
    std::sort(findings.begin(), findings.end(), isBefore);
    // Machines that ask differently may read the same catalogs.
    findings.erase(std::unique(findings.begin(), findings.end(), isSame), findings.end());
    return findings;
}
