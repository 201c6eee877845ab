#include "ReplayMasks.h"

#include <algorithm>
#include <set>

#include "BundleMask.h"

namespace {

bool isMasked(const std::string &text) {
    return text.find(BundleMask::affiliate) != std::string::npos ||
           text.find(BundleMask::licence) != std::string::npos;
}

bool isAnyMasked(const std::vector<std::string> &texts) {
    return std::any_of(texts.begin(), texts.end(), isMasked);
}

} // namespace

std::vector<std::string> maskedJudgements(const Explanation &explanation,
                                          const std::vector<std::string> &orderNames) {
    std::set<std::string> judged;
    if (isAnyMasked({explanation.machine.product, explanation.machine.system}))
        judged.insert("which version the machine had");
    for (const HotFixPackageInfo &hotFix : explanation.offer.hotFixes) {
        if (isAnyMasked({hotFix.name, hotFix.minVer, hotFix.maxVer, hotFix.osxMinVer, hotFix.osxMaxVer,
                         hotFix.productVer, hotFix.buildNo}))
            judged.insert("how " + hotFix.name + " is chosen and named");
    }
    for (const ProductInfo &product : explanation.offer.products) {
        if (isAnyMasked({product.name, product.version, product.mainBuildNo}))
            judged.insert("how " + product.name + " is chosen and named");
    }
    for (const Download &download : explanation.plan.downloads) {
        if (isMasked(download.path))
            judged.insert("which place " + download.path + " has");
    }
    if (isAnyMasked(orderNames))
        judged.insert("which order was configured");
    return {judged.begin(), judged.end()};
}
