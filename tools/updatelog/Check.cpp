#include "Check.h"

#include <stdexcept>

#include <nlohmann/json.hpp>
#include <unistd.h>

#include "Paper.h"
#include "UpdateLog.h"

namespace {

std::vector<CheckTheme> themesOfMachine() {
    return {checkedFolders(), checkedEnvironment(), checkedTools(),         checkedLeftovers(),
            checkedDisks(),   checkedLimits(),      checkedConfigurations()};
}

const char *nameOf(CheckDocument document) {
    return document == CheckDocument::limits ? "docs/limits.md" : "docs/faults.md";
}

void write(const std::vector<CheckFinding> &findings, Paper &paper) {
    const auto detail = [&paper](const std::string &text) { paper.line("  " + text, 2); };
    for (const CheckFinding &finding : findings) {
        const CheckRule &rule = *finding.rule;
        paper.line(std::string(rule.id) + ": " + finding.text, 2, Colour::red);
        detail(rule.consequence);
        detail(std::string("To do: ") + rule.remedy);
        detail(std::string("Rests on ") + nameOf(rule.document) + ": " + rule.row);
    }
    if (findings.empty())
        paper.line("Nothing is found that a run would trip over.", 0, Colour::green);
}

} // namespace

std::vector<const CheckRule *> checkRules() {
    std::vector<CheckTheme> themes = themesOfMachine();
    themes.push_back(checkedNetwork());
    std::vector<const CheckRule *> rules;
    for (const CheckTheme &theme : themes)
        rules.insert(rules.end(), theme.rules.begin(), theme.rules.end());
    return rules;
}

std::vector<CheckFinding> findingsOfMachine(bool asksNetwork) {
    if (geteuid() != 0)
        throw std::runtime_error("only root sees what the engine will meet: run this as root, or by sudo");
    std::vector<CheckTheme> themes = themesOfMachine();
    if (asksNetwork)
        themes.push_back(checkedNetwork());
    std::vector<CheckFinding> findings;
    for (const CheckTheme &theme : themes)
        theme.look([&findings](const CheckRule &rule, const std::string &text) {
            findings.push_back({&rule, text});
        });
    return findings;
}

std::string checkFindingsInJson(const std::vector<CheckFinding> &findings) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const CheckFinding &finding : findings)
        list.push_back({{"id", finding.rule->id},
                        {"text", finding.text},
                        {"consequence", finding.rule->consequence},
                        {"remedy", finding.rule->remedy},
                        {"document", nameOf(finding.rule->document)},
                        {"row", finding.rule->row}});
    const nlohmann::ordered_json all = {{"findings", list}};
    return all.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

int runCheck(const CheckOptions &options) {
    const std::vector<CheckFinding> findings = findingsOfMachine(options.asksNetwork);
    Paper paper;
    if (options.json)
        paper.verbatim(checkFindingsInJson(findings));
    else
        write(findings, paper);
    paper.finish();
    return findings.empty() ? Statuses::well : Statuses::notWell;
}
