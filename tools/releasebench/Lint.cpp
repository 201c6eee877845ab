#include "Lint.h"

#include <algorithm>

#include "LintInput.h"
#include "Paper.h"
#include "Readable.h"
#include "Statuses.h"

namespace {

constexpr std::size_t hanging = 4;

Colour colourOf(Severity severity) {
    return severity == Severity::error     ? Colour::red
           : severity == Severity::warning ? Colour::yellow
                                           : Colour::green;
}

std::string counted(std::size_t count, const std::string &what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

void tellFindings(const std::vector<Finding> &findings, Paper &paper) {
    for (const Finding &finding : findings) {
        const LintPlace &place = finding.place;
        // A value with a line end must not look like a finding of its own.
        paper.line(printable(place.file + ":" + std::to_string(place.line) + ": " +
                             nameOf(finding.rule->severity) + ": " +
                             (place.part.empty() ? "" : place.part + ": ") + finding.text) +
                       " [" + finding.rule->id + "]",
                   hanging, colourOf(finding.rule->severity));
        paper.line(std::string("    ") + finding.rule->what + " " + finding.rule->why, hanging);
        paper.line(std::string("    Remedy: ") + finding.rule->remedy, hanging);
    }
    const LintCounts counts = countsOf(findings);
    paper.line(counted(counts.errors, "error") + ", " + counted(counts.warnings, "warning") + ", " +
               counted(counts.notes, "note"));
}

} // namespace

LintFormat lintFormatNamed(const std::string &name) {
    return name == "json" ? LintFormat::json : name == "sarif" ? LintFormat::sarif : LintFormat::text;
}

LintCounts countsOf(const std::vector<Finding> &findings) {
    const auto count = [&](Severity severity) {
        return static_cast<std::size_t>(
            std::count_if(findings.begin(), findings.end(),
                          [severity](const Finding &finding) { return finding.rule->severity == severity; }));
    };
    return {count(Severity::error), count(Severity::warning), count(Severity::note)};
}

std::string rulesInMarkdown() {
    std::string text =
        "| Rule | Severity | Finds | Why it matters | Remedy | Known limit |\n|---|---|---|---|---|---|\n";
    for (const LintRule &rule : lintRules()) {
        text += std::string("| `") + rule.id + "` | " + nameOf(rule.severity) + " | " + rule.what + " | " +
                rule.why + " | " + rule.remedy + " | " + rule.limit + " |\n";
    }
    return text;
}

int runLint(const LintOptions &options) {
    Paper paper;
    if (options.isForRules) {
        paper.verbatim(rulesInMarkdown());
        paper.finish();
        return Statuses::done;
    }
    const std::unique_ptr<const LintInput> input = readLintInput(options.paths);
    const std::vector<Finding> findings = findingsOf(*input, options.disabled);
    if (options.format == LintFormat::json)
        paper.verbatim(findingsInJson(findings) + "\n");
    else if (options.format == LintFormat::sarif)
        paper.verbatim(findingsInSarif(findings) + "\n");
    else
        tellFindings(findings, paper);
    paper.finish();
    const LintCounts counts = countsOf(findings);
    return counts.errors + counts.warnings == 0 ? Statuses::done : Statuses::findings;
}
