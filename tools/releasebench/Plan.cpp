#include "Plan.h"

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <utility>

#include "Paths.h"
#include "ProductUrls.h"
#include "ReleaseRecord.h"
#include "Text.h"
#include "UrlParts.h"

namespace {

void stop(Plan &plan, Outcome outcome, std::string reason) {
    plan.outcome = outcome;
    plan.reason = std::move(reason);
}

// What keeps a package from ever counting as downloaded; "" when nothing does.
std::string whyNeverComplete(const Download &download) {
    if (!isPackage(download.url))
        return "no \".pkg\" in the file name of " + download.url + ", which never counts as downloaded";
    if (!isTransferable(download.url))
        return "libcurl makes no transfer of " + download.url;
    if (contains(download.path, " ")) // an older libcurl asks for such a URL
        return "the hash tool takes " + download.path + " for several files, since it holds a blank";
    return "";
}

void placeDownloads(const std::list<std::string> &urls, const PackageRecords &records, Plan &plan) {
    for (const std::string &url : urls) {
        try {
            plan.downloads.push_back({url, records.destinationOf(url, packageDirectory())});
        } catch (const std::invalid_argument &) {
            plan.downloads.push_back({url, ""});
            stop(plan, Outcome::fails,
                 "ERROR: Destination Creation Failed (nothing is downloaded, since no command may name "
                 "where " +
                     url + " goes)");
        }
    }
}

// A job is done when every download counts as complete.
void failWhereIncomplete(const std::function<std::string(const Download &)> &reasonOf, Plan &plan) {
    for (const Download &download : plan.downloads) {
        std::string reason = plan.outcome == Outcome::done ? reasonOf(download) : "";
        if (!reason.empty())
            stop(plan, Outcome::fails, std::move(reason));
    }
}

std::string whyUpdateFails(const Download &download) {
    const std::string why = whyNeverComplete(download);
    return why.empty() ? "" : "ERROR: Download Failed (" + why + ")";
}

// An update finds a hash by the whole URL, which is always the package's own.
std::string whyHashNeverFits(const Download &download, const std::vector<ProductInfo> &products,
                             const PackageRecords &records) {
    const std::string expected = records.hashOf(download.url);
    const bool isOwn = std::any_of(products.begin(), products.end(), [&](const ProductInfo &product) {
        return product.url == download.url && product.hash == expected;
    });
    if (isOwn)
        return "";
    if (expected.empty())
        return "no product's name stands in " + download.url + ", so no hash is known for it";
    return download.url + " is checked against the hash of " + expected +
           ", the first product whose name stands in that URL";
}

std::string whyFreshInstallFails(const Download &download, const std::vector<ProductInfo> &products,
                                 const PackageRecords &records) {
    std::string why = whyNeverComplete(download);
    if (why.empty())
        why = whyHashNeverFits(download, products, records);
    if (why.empty() || !isPackage(download.url)) // of which the engine's log has no line
        return why;
    return "ERROR : Download Failed: " + download.url + " (" + why + ")";
}

void orderDownloads(const std::vector<std::string> &orderNames, Plan &plan) {
    std::vector<std::string> paths;
    for (const Download &download : plan.downloads)
        paths.push_back(download.path);
    orderPackages(std::move(paths), orderNames, plan);
}

} // namespace

UpdatePlanner::UpdatePlanner(const Offer &offer, const std::vector<std::string> &orderNames)
    : m_offer(offer)
    , m_orderNames(orderNames) {
    m_records.setFreshInstallMode(false);
    m_records.setHotFixes(offer.hotFixes);
}

Plan UpdatePlanner::planFor(const Machine &machine) const {
    std::vector<Selection> selections;
    std::vector<std::size_t> chosen;
    selections.reserve(m_offer.hotFixes.size());
    for (const HotFixPackageInfo &hotFix : m_offer.hotFixes) {
        selections.push_back(judgeHotFix(hotFix, machine.product, machine.system));
        if (selections.back() == Selection::applies)
            chosen.push_back(selections.size() - 1);
    }
    Plan plan = planWith(machine.product, chosen);
    if (plan.endedAt)
        selections.resize(*plan.endedAt + 1);
    plan.selections = std::move(selections);
    return plan;
}

Plan UpdatePlanner::planWith(const std::string &product, const std::vector<std::size_t> &chosen) const {
    Plan plan;
    plan.version = product;
    if (!m_offer.isAnswered)
        stop(plan, Outcome::nothingToDo, "ERROR Tolvane response (the service has nothing for this machine)");
    else if (m_offer.hotFixes.empty())
        stop(plan, Outcome::nothingToDo, "No products found For Update");
    if (plan.outcome == Outcome::done) {
        placeDownloads(urlsOf(chosen, plan), m_records, plan);
        failWhereIncomplete(whyUpdateFails, plan);
    }
    if (plan.outcome == Outcome::done) {
        orderDownloads(m_orderNames, plan);
    } else {
        plan.version = product;
        plan.build.clear();
    }
    return plan;
}

// None when the engine ends at one of them.
std::list<std::string> UpdatePlanner::urlsOf(const std::vector<std::size_t> &chosen, Plan &plan) const {
    std::list<std::string> urls;
    ReleaseMaxima maxima{plan.version};
    for (const std::size_t index : chosen) {
        const HotFixPackageInfo &hotFix = m_offer.hotFixes[index];
        try {
            maxima.include(hotFix);
        } catch (const std::logic_error &) { // no number, or one that does not fit
            stop(plan, Outcome::fails,
                 "the engine's process ends at " + hotFix.name + ", whose build number \"" + hotFix.buildNo +
                     "\" is no number that fits");
            plan.endedAt = index;
            return {};
        }
        urls.push_back(hotFix.url);
    }
    if (urls.empty())
        stop(plan, Outcome::nothingToDo, "No updates Found");
    plan.version = maxima.version;
    plan.build = maxima.buildNo;
    return urls;
}

Plan planUpdate(const Offer &offer, const Machine &machine, const std::vector<std::string> &orderNames) {
    return UpdatePlanner(offer, orderNames).planFor(machine);
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
    const auto missing =
        std::find_if(offer.products.begin(), offer.products.end(),
                     [](const ProductInfo &product) { return !isTransferable(product.url); });
    if (missing != offer.products.end()) {
        stop(plan, Outcome::fails,
             "ERROR: " + missing->url + " Package Missing (" +
                 (missing->url.empty() ? "a catalog without a full-install package"
                                       : "libcurl makes no transfer of this URL") +
                 ")");
        return plan;
    }
    PackageRecords records;
    records.setProducts(offer.products);
    placeDownloads(productUrls(offer.products), records, plan);
    failWhereIncomplete(
        [&](const Download &download) { return whyFreshInstallFails(download, offer.products, records); },
        plan);
    if (plan.outcome != Outcome::done)
        return plan;
    ReleaseRecord record;
    record.setMaximaOf(offer.products);
    plan.version = record.getMaxPackageVersion();
    plan.build = record.getMaxBuildNo();
    return plan;
}

void orderPackages(std::vector<std::string> paths, const std::vector<std::string> &orderNames, Plan &plan) {
    sortByHotFixVersion(paths, 0, static_cast<int>(paths.size()) - 1);
    const auto others = std::stable_partition(paths.begin(), paths.end(), isBrandingPackage);
    plan.branding.assign(paths.begin(), others);
    plan.order = placedPackages({others, paths.end()}, orderNames);
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
