#include "Reach.h"

#include <algorithm>
#include <string>
#include <unordered_map>

#include "HotFixSelection.h"

namespace {

// The first range from there on for which that does not hold; the size of the axis when there is none.
template <typename Holds>
std::size_t endOf(const VersionAxis &axis, std::size_t from, const Holds &holds) {
    const auto begin = axis.ranges().begin();
    const auto end = std::partition_point(begin + static_cast<std::ptrdiff_t>(from), axis.ranges().end(),
                                          [&holds](const VersionRange &range) { return holds(range.tried); });
    return static_cast<std::size_t>(end - begin);
}

Reach reachOf(const HotFixPackageInfo &hotFix, const VersionAxis &products, const VersionAxis &systems) {
    const auto bySystem = [&](const std::string &system) {
        return judgeHotFix(hotFix, products.tried(0), system);
    };
    Reach reach;
    if (bySystem(systems.tried(0)) == Selection::noProductVersion)
        return reach;
    reach.firstSystem = endOf(
        systems, 0, [&](const std::string &system) { return bySystem(system) == Selection::systemTooOld; });
    reach.endSystem = endOf(systems, reach.firstSystem, [&](const std::string &system) {
        return bySystem(system) != Selection::systemTooNew;
    });
    if (reach.firstSystem == reach.endSystem)
        return reach;
    const auto byProduct = [&](const std::string &product) {
        return judgeHotFix(hotFix, product, systems.tried(reach.firstSystem));
    };
    reach.firstProduct = endOf(products, 0, [&](const std::string &product) {
        return byProduct(product) == Selection::productTooOld;
    });
    reach.endProduct = endOf(products, reach.firstProduct, [&](const std::string &product) {
        return byProduct(product) != Selection::productTooNew;
    });
    return reach;
}

// The same for hot-fixes that the engine cannot tell apart.
std::string boundsOf(const HotFixPackageInfo &hotFix) {
    std::string key = hotFix.productVer.empty() ? "-" : "+";
    for (const std::string *bound : {&hotFix.minVer, &hotFix.maxVer, &hotFix.osxMinVer, &hotFix.osxMaxVer})
        key += std::to_string(bound->size()) + ':' + *bound;
    return key;
}

} // namespace

std::vector<Reach> reachesOf(const std::vector<HotFixPackageInfo> &hotFixes, const VersionAxis &products,
                             const VersionAxis &systems) {
    std::vector<Reach> reaches;
    reaches.reserve(hotFixes.size());
    std::unordered_map<std::string, Reach> known;
    for (const HotFixPackageInfo &hotFix : hotFixes) {
        const auto [found, isNew] = known.try_emplace(boundsOf(hotFix));
        if (isNew)
            found->second = reachOf(hotFix, products, systems);
        reaches.push_back(found->second);
    }
    return reaches;
}
