#include "Explain.h"

#include "LibXmlWrapper.h"
#include "OwnStreams.h"
#include "Paper.h"
#include "ReleaseFile.h"
#include "Statuses.h"
#include "Text.h"
#include "UnusableInput.h"

namespace {

void fillFromConfiguration(Question &question, Job job) {
    const OwnStreams quiet; // the engine tells what it cannot parse
    const LibXmlWrapper configuration(question.config.string());
    const auto refuse = [&question](const std::string &why) {
        throw UnusableInput(question.config.string() + ": " + why);
    };
    if (!configuration.isXPathElementExists("/ProductConfiguration"))
        refuse("no product configuration");
    const auto fill = [&](std::string &value, const char *element) {
        if (value.empty())
            value = configuration.getXPathStringValue(std::string("/ProductConfiguration/") + element);
    };
    fill(question.product, "ProductVersion");
    fill(question.application, "AppID");
    fill(question.affiliate, "AffID");
    if (job == Job::update && question.product.empty())
        refuse("tells no ProductVersion, expected --product");
    if (question.application.empty())
        refuse("tells no AppID, so the machine asks its subscription; expected --app");
}

std::string compared(const std::string &what, const std::string &least, const std::string &value,
                     const std::string &most) {
    if (least.empty() && most.empty())
        return "any " + what;
    return what + " " + (least.empty() ? "" : least + " <= ") + value + (most.empty() ? "" : " <= " + most);
}

// --- text

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

Explanation explain(const Question &question, Job job) {
    const Release release = readRelease(question.folder);
    Question complete = question;
    if (!complete.config.empty())
        fillFromConfiguration(complete, job);
    const Asker first = firstAsker(release);
    Explanation explanation{job,
                            {complete.product, complete.system},
                            {complete.affiliate.empty() ? first.affiliate : complete.affiliate,
                             complete.application.empty() ? first.application : complete.application},
                            {},
                            {}};
    if (job == Job::update && (complete.product.empty() || complete.system.empty()))
        throw UnusableInput("releasebench: an update needs --system, and --product or --config");
    explanation.offer = offerTo(explanation.asker, release, job);
    explanation.plan = job == Job::update
                           ? planUpdate(explanation.offer, explanation.machine, orderNamesOf(release))
                           : planFreshInstall(explanation.offer);
    return explanation;
}

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

int runExplain(const ExplainOptions &options) {
    const Explanation explanation =
        explain(options.question, options.fresh ? Job::freshInstall : Job::update);
    Paper paper;
    if (options.json) {
        paper.verbatim(explanationInJson(explanation) + "\n");
    } else {
        tellQuestion(explanation, paper);
        tellCatalogs(explanation, paper);
        tellSelection(explanation, paper);
        tellDownloads(explanation.plan, paper);
        tellOrder(explanation.plan, paper);
        tellOutcome(explanation, paper);
    }
    paper.finish();
    return Statuses::done;
}
