#include "Plan.h"

#include <algorithm>
#include <stdexcept>

#include "PackageRecords.h"
#include "Paths.h"
#include "ProductUrls.h"
#include "ReleaseRecord.h"
#include "Text.h"

namespace {

void stop(Plan &plan, Outcome outcome, std::string reason) {
    plan.outcome = outcome;
    plan.reason = std::move(reason);
}

// The URLs of the chosen ones; none when the engine ends at one of them.
std::list<std::string> select(const Offer &offer, const Machine &machine, Plan &plan) {
    std::list<std::string> chosen;
    ReleaseMaxima maxima{machine.product};
    for (const HotFixPackageInfo &hotFix : offer.hotFixes) {
        plan.selections.push_back(judgeHotFix(hotFix, machine.product, machine.system));
        if (plan.selections.back() != Selection::applies)
            continue;
        try {
            maxima.include(hotFix);
        } catch (const std::logic_error &) { // no number, or one that does not fit
            stop(plan, Outcome::fails,
                 "the engine's process ends at " + hotFix.name + ", whose build number \"" + hotFix.buildNo +
                     "\" is no number that fits");
            return {};
        }
        chosen.push_back(hotFix.url);
    }
    if (chosen.empty())
        stop(plan, Outcome::nothingToDo, "No updates Found");
    plan.version = maxima.version;
    plan.build = maxima.buildNo;
    return chosen;
}

// What keeps a package from ever counting as downloaded; "" when nothing does.
std::string whyNeverComplete(const Download &download) {
    if (!isPackage(download.url))
        return "no \".pkg\" in the file name of " + download.url + ", which never counts as downloaded";
    if (contains(download.path, " "))
        return "the hash tool takes " + download.path + " for several files, since it holds a blank";
    return "";
}

void placeDownloads(const std::list<std::string> &urls, const PackageRecords &records, Plan &plan) {
    std::string incomplete;
    for (const std::string &url : urls) {
        try {
            plan.downloads.push_back({url, records.destinationOf(url, packageDirectory())});
        } catch (const std::invalid_argument &) {
            plan.downloads.push_back({url, ""});
            stop(plan, Outcome::fails,
                 "ERROR: Destination Creation Failed (nothing is downloaded, since no command may name "
                 "where " +
                     url + " goes)");
            continue;
        }
        if (incomplete.empty())
            incomplete = whyNeverComplete(plan.downloads.back());
    }
    if (plan.outcome == Outcome::done && !incomplete.empty())
        stop(plan, Outcome::fails, "ERROR: Download Failed (" + incomplete + ")");
}

void orderPackages(const std::vector<std::string> &orderNames, Plan &plan) {
    std::vector<std::string> paths;
    for (const Download &download : plan.downloads)
        paths.push_back(download.path);
    sortByHotFixVersion(paths, 0, static_cast<int>(paths.size()) - 1);
    const auto others = std::stable_partition(paths.begin(), paths.end(), isBrandingPackage);
    plan.branding.assign(paths.begin(), others);
    plan.order = placedPackages({others, paths.end()}, orderNames);
}

} // namespace

Plan planUpdate(const Offer &offer, const Machine &machine, const std::vector<std::string> &orderNames) {
    Plan plan;
    if (!offer.isAnswered)
        stop(plan, Outcome::nothingToDo, "ERROR Tolvane response (the service has nothing for this machine)");
    else if (offer.hotFixes.empty())
        stop(plan, Outcome::nothingToDo, "No products found For Update");
    if (plan.outcome == Outcome::done) {
        const std::list<std::string> urls = select(offer, machine, plan);
        PackageRecords records;
        records.setFreshInstallMode(false);
        records.setHotFixes(offer.hotFixes);
        placeDownloads(urls, records, plan);
    }
    if (plan.outcome == Outcome::done) {
        orderPackages(orderNames, plan);
    } else {
        plan.version = machine.product;
        plan.build.clear();
    }
    return plan;
}

Plan planFreshInstall(const Offer &offer) {
    Plan plan;
    if (!offer.isAnswered) {
        stop(plan, Outcome::fails, "ERROR Tolvane response (the service has nothing for this machine)");
        return plan;
    }
    if (offer.products.empty()) {
        stop(plan, Outcome::fails, "ERROR: No products found For Fresh Install");
        return plan;
    }
    const bool lacksPackage = std::any_of(offer.products.begin(), offer.products.end(),
                                          [](const ProductInfo &product) { return product.url.empty(); });
    if (lacksPackage) {
        stop(plan, Outcome::fails, "ERROR:  Package Missing (a catalog without a full-install package)");
        return plan;
    }
    PackageRecords records;
    records.setProducts(offer.products);
    placeDownloads(productUrls(offer.products), records, plan);
    if (plan.outcome != Outcome::done)
        return plan;
    ReleaseRecord record;
    record.setMaximaOf(offer.products);
    plan.version = record.getMaxPackageVersion();
    plan.build = record.getMaxBuildNo();
    return plan;
}

std::list<std::string> scriptedPackages(const Plan &plan) {
    std::list<std::string> paths;
    for (const PlacedPackage &package : plan.order) {
        if (package.rule != PlacedBy::nothing)
            paths.push_back(package.path);
    }
    return paths;
}

std::optional<Bound> decidingBound(const HotFixPackageInfo &hotFix, const Machine &machine,
                                   Selection selection) {
    switch (selection) {
    case Selection::systemTooOld:
        return Bound{"minSystem", hotFix.osxMinVer, machine.system};
    case Selection::systemTooNew:
        return Bound{"maxSystem", hotFix.osxMaxVer, machine.system};
    case Selection::productTooOld:
        return Bound{"minVersion", hotFix.minVer, machine.product};
    case Selection::productTooNew:
        return Bound{"maxVersion", hotFix.maxVer, machine.product};
    case Selection::noProductVersion:
    case Selection::applies:
        break;
    }
    return std::nullopt;
}
