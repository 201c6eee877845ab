#include "Explanation.h"

#include <optional>

#include "Paper.h"

namespace {

std::string compared(const std::string &what, const std::string &least, const std::string &value,
                     const std::string &most) {
    if (least.empty() && most.empty())
        return "any " + what;
    return what + " " + (least.empty() ? "" : least + " <= ") + value + (most.empty() ? "" : " <= " + most);
}

constexpr std::size_t hanging = 6;

void tellQuestion(const Explanation &explanation, Paper &paper) {
    const std::string asker =
        "affiliate " + explanation.asker.affiliate + ", application " + explanation.asker.application;
    if (explanation.job == Job::freshInstall)
        paper.line("Fresh installation, " + asker);
    else
        paper.line("Update of product " + explanation.machine.product + " on system " +
                   explanation.machine.system + ", " + asker);
}

void tellCatalogs(const Explanation &explanation, Paper &paper) {
    paper.line("Catalogs:");
    for (const OfferedCatalog &catalog : explanation.offer.catalogs)
        paper.line("  " + catalog.group + "  " + catalog.url +
                       (catalog.path.empty() ? "  (not fetched)" : ""),
                   hanging);
}

void tellSelection(const Explanation &explanation, Paper &paper) {
    if (explanation.plan.selections.empty())
        return;
    paper.line("Hot-fixes, chosen (+) or not (-):");
    for (std::size_t i = 0; i < explanation.plan.selections.size(); ++i) {
        const HotFixPackageInfo &hotFix = explanation.offer.hotFixes[i];
        const bool isChosen = explanation.plan.selections[i] == Selection::applies;
        paper.line(std::string(isChosen ? "  + " : "  - ") + hotFix.name + "  " + hotFix.productVer +
                       " (build " + hotFix.buildNo +
                       "): " + whySelected(hotFix, explanation.machine, explanation.plan.selections[i]),
                   hanging, isChosen ? Colour::green : Colour::yellow);
    }
}

void tellDownloads(const Plan &plan, Paper &paper) {
    if (plan.downloads.empty())
        return;
    paper.line("Downloads, in folders by version:");
    for (const Download &download : plan.downloads)
        paper.line("  " + (download.path.empty() ? download.url + "  (refused)" : download.path), hanging);
}

void tellOutcome(const Explanation &explanation, Paper &paper) {
    const Plan &plan = explanation.plan;
    if (plan.outcome == Outcome::nothingToDo)
        return paper.line("Nothing is changed: " + plan.reason, hanging, Colour::yellow);
    if (plan.outcome == Outcome::fails)
        return paper.line("It fails: " + plan.reason, hanging, Colour::red);
    const Offer &offer = explanation.offer;
    paper.line("Afterwards: version " + plan.version + ", build " + plan.build + ", release " +
                   offer.releaseName + " (core " + offer.coreVersion + ", partner " + offer.partnerVersion +
                   ", branding " + offer.brandingBuild + ")",
               hanging);
}

} // namespace

std::string whySelected(const HotFixPackageInfo &hotFix, const Machine &machine, Selection selection) {
    if (selection == Selection::noProductVersion)
        return "brings no version, so nobody gets it";
    const std::optional<Bound> bound = decidingBound(hotFix, machine, selection);
    if (!bound)
        return compared("product", hotFix.minVer, machine.product, hotFix.maxVer) + ", " +
               compared("system", hotFix.osxMinVer, machine.system, hotFix.osxMaxVer);
    const bool isBelow = selection == Selection::systemTooOld || selection == Selection::productTooOld;
    const bool isSystem = selection == Selection::systemTooOld || selection == Selection::systemTooNew;
    return std::string(isSystem ? "system " : "product ") + bound->compared +
           (isBelow ? " is below " : " is above ") + bound->key + " " + bound->value;
}

std::string whyPlaced(const PlacedPackage &package) {
    const std::string version = "version " + std::string(hotFixVersionOf(package.path));
    switch (package.rule) {
    case PlacedBy::nothing:
        return "repost, which no order name admits";
    case PlacedBy::nameOfRepost:
        return "repost, admitted by the order name \"" + package.orderName + "\"";
    case PlacedBy::nameWithinVersion:
        return version + ", order name \"" + package.orderName + "\"";
    case PlacedBy::version:
        break;
    }
    return version + ", no order name decides";
}

void tellOrder(const Plan &plan, Paper &paper) {
    if (plan.branding.empty() && plan.order.empty())
        return;
    paper.line("Order of installation:");
    for (const std::string &path : plan.branding)
        paper.line("  at once  " + path + "  branding", hanging);
    int place = 0;
    for (const PlacedPackage &package : plan.order) {
        const bool isLeftOut = package.rule == PlacedBy::nothing;
        paper.line("  " + (isLeftOut ? "never" : std::to_string(++place) + ".") + "  " + package.path + "  " +
                       whyPlaced(package),
                   hanging, isLeftOut ? std::optional<Colour>(Colour::yellow) : std::nullopt);
    }
}

void tellExplanation(const Explanation &explanation, Paper &paper) {
    tellQuestion(explanation, paper);
    tellCatalogs(explanation, paper);
    tellSelection(explanation, paper);
    tellDownloads(explanation.plan, paper);
    tellOrder(explanation.plan, paper);
    tellOutcome(explanation, paper);
}
