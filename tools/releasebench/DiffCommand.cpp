#include "DiffCommand.h"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "MatrixDiff.h"
#include "MatrixJson.h"
#include "Paper.h"
#include "Statuses.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t hanging = 6;

std::string machinesOf(const Change &change) {
    std::string systems;
    for (const VersionRange &range : change.systems)
        systems += (systems.empty() ? " on system " : ", ") + range.label();
    return "product " + change.products.label() + (systems.empty() ? " on every system" : systems);
}

void tellChange(const Change &change, Paper &paper) {
    const Difference &difference = change.difference;
    paper.line(machinesOf(change), hanging);
    paper.line("  before: " + difference.before, hanging);
    paper.line("  now:    " + difference.now, hanging);
    for (const std::string &package : difference.added)
        paper.line("  + " + package, hanging, Colour::green);
    for (const std::string &package : difference.removed)
        paper.line("  - " + package, hanging, Colour::yellow);
    for (const Worse &worse : difference.worse)
        paper.line(std::string("  worse (") + worse.rule + "): " + worse.text, hanging, Colour::red);
}

bool isWorse(const Change &change) {
    return !change.difference.worse.empty();
}

std::string newestInWords(const Matrix &matrix) {
    return matrix.newest.empty() ? "no version" : "newest version " + matrix.newest;
}

struct Compared {
    const Matrix &before;
    const Matrix &now;
    const std::vector<Change> &changes;

    bool listsSets() const { return before.listsSets && now.listsSets; }
};

void tell(const Compared &compared, Paper &paper) {
    paper.line("Affiliate " + compared.before.asker.affiliate + ", application " +
                   compared.before.asker.application + "; before: " + newestInWords(compared.before) +
                   "; now: " + newestInWords(compared.now),
               hanging);
    if (!compared.listsSets())
        paper.line("The packages are too many to be listed: they are counted, not compared.", hanging);
    for (const Change &change : compared.changes)
        tellChange(change, paper);
    const auto worse = std::count_if(compared.changes.begin(), compared.changes.end(), isWorse);
    paper.line(compared.changes.empty() ? "Nothing changes for any machine."
                                        : std::to_string(compared.changes.size()) + " changes, " +
                                              std::to_string(worse) + " of them for the worse");
}

std::string inJson(const Compared &compared) {
    Json changes = Json::array();
    for (const Change &change : compared.changes) {
        const Difference &difference = change.difference;
        Json systems = Json::array();
        for (const VersionRange &range : change.systems)
            systems.push_back(rangeInJson(range));
        Json worse = Json::array();
        for (const Worse &one : difference.worse)
            worse.push_back({{"rule", one.rule}, {"text", one.text}});
        changes.push_back({{"product", rangeInJson(change.products)},
                           {"systems", systems},
                           {"before", difference.before},
                           {"now", difference.now},
                           {"added", difference.added},
                           {"removed", difference.removed},
                           {"worse", worse}});
    }
    const Json json = {
        {"affiliate", compared.before.asker.affiliate}, {"application", compared.before.asker.application},
        {"newestBefore", compared.before.newest},       {"newestNow", compared.now.newest},
        {"packagesCompared", compared.listsSets()},     {"changes", changes}};
    return json.dump(2, ' ', false, Json::error_handler_t::replace);
}

} // namespace

int runDiff(const DiffOptions &options) {
    const Served before = servedOf(options.before, {options.affiliate, options.application});
    const Served now = servedOf(options.now, before.asker);
    const Axes axes = axesOf({&before, &now});
    const Matrix matrixBefore = matrixOf(before, axes);
    const Matrix matrixNow = matrixOf(now, axes);
    const std::vector<Change> changes = changesBetween(matrixBefore, matrixNow, axes.systems);
    const Compared compared{matrixBefore, matrixNow, changes};
    Paper paper;
    if (options.format == Format::json)
        paper.verbatim(inJson(compared) + "\n");
    else
        tell(compared, paper);
    paper.finish();
    return std::any_of(changes.begin(), changes.end(), isWorse) ? Statuses::findings : Statuses::done;
}
