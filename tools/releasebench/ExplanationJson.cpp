#include "Explanation.h"

#include <nlohmann/json.hpp>

#include "OutcomeNames.h"

namespace {

using Json = nlohmann::ordered_json;

const char *nameOf(Selection selection) {
    switch (selection) {
    case Selection::applies:
        return "applies";
    case Selection::noProductVersion:
        return "no-version";
    case Selection::systemTooOld:
        return "system-too-old";
    case Selection::systemTooNew:
        return "system-too-new";
    case Selection::productTooOld:
        return "product-too-old";
    case Selection::productTooNew:
        break;
    }
    return "product-too-new";
}

const char *nameOf(PlacedBy rule) {
    switch (rule) {
    case PlacedBy::version:
        return "version";
    case PlacedBy::nameWithinVersion:
        return "name-within-version";
    case PlacedBy::nameOfRepost:
        return "name-of-repost";
    case PlacedBy::nothing:
        break;
    }
    return "left-out";
}

Json catalogsOf(const Offer &offer) {
    Json catalogs = Json::array();
    for (const OfferedCatalog &catalog : offer.catalogs)
        catalogs.push_back({{"group", catalog.group}, {"url", catalog.url}, {"path", catalog.path}});
    return catalogs;
}

Json hotFixesOf(const Explanation &explanation) {
    Json hotFixes = Json::array();
    for (std::size_t i = 0; i < explanation.plan.selections.size(); ++i) {
        const HotFixPackageInfo &hotFix = explanation.offer.hotFixes[i];
        const Selection selection = explanation.plan.selections[i];
        const std::optional<Bound> bound = decidingBound(hotFix, explanation.machine, selection);
        hotFixes.push_back({{"name", hotFix.name},
                            {"url", hotFix.url},
                            {"version", hotFix.productVer},
                            {"build", hotFix.buildNo},
                            {"chosen", selection == Selection::applies},
                            {"selection", nameOf(selection)},
                            {"why", whySelected(hotFix, explanation.machine, selection)}});
        if (bound)
            hotFixes.back()["bound"] = {
                {"key", bound->key}, {"value", bound->value}, {"compared", bound->compared}};
    }
    return hotFixes;
}

Json downloadsOf(const Plan &plan) {
    Json downloads = Json::array();
    for (const Download &download : plan.downloads)
        downloads.push_back({{"url", download.url}, {"path", download.path}});
    return downloads;
}

Json orderOf(const Plan &plan) {
    Json order = Json::array();
    for (const PlacedPackage &package : plan.order)
        order.push_back(
            {{"path", package.path}, {"rule", nameOf(package.rule)}, {"name", package.orderName}});
    return order;
}

} // namespace

Json explanationInJson(const Explanation &explanation) {
    const Offer &offer = explanation.offer;
    const Plan &plan = explanation.plan;
    return {
        {"job", explanation.job == Job::update ? "update" : "fresh-install"},
        {"product", explanation.machine.product},
        {"system", explanation.machine.system},
        {"affiliate", explanation.asker.affiliate},
        {"application", explanation.asker.application},
        {"catalogs", catalogsOf(offer)},
        {"hotFixes", hotFixesOf(explanation)},
        {"downloads", downloadsOf(plan)},
        {"branding", plan.branding},
        {"order", orderOf(plan)},
        {"outcome", nameOf(plan.outcome)},
        {"reason", plan.reason},
        {"afterwards",
         {{"version", plan.version},
          {"build", plan.build},
          {"releaseName", offer.releaseName},
          {"coreVersion", offer.coreVersion},
          {"partnerVersion", offer.partnerVersion},
          {"brandingBuild", offer.brandingBuild}}},
    };
}
