#include "HotFixSelection.h"

#include "Version.h"

namespace {

bool isBelow(const std::string &version, const std::string &bound) noexcept {
    return !bound.empty() && isGreaterVersion(bound, version);
}

bool isAbove(const std::string &version, const std::string &bound) noexcept {
    return !bound.empty() && isGreaterVersion(version, bound);
}

} // namespace

Selection judgeHotFix(const HotFixPackageInfo &hotFix, const std::string &productVersion,
                      const std::string &systemVersion) noexcept {
    if (hotFix.productVer.empty())
        return Selection::noProductVersion;
    if (isBelow(systemVersion, hotFix.osxMinVer))
        return Selection::systemTooOld;
    if (isAbove(systemVersion, hotFix.osxMaxVer))
        return Selection::systemTooNew;
    if (isBelow(productVersion, hotFix.minVer))
        return Selection::productTooOld;
    if (isAbove(productVersion, hotFix.maxVer))
        return Selection::productTooNew;
    return Selection::applies;
}

void ReleaseMaxima::include(const HotFixPackageInfo &hotFix) {
    if (isGreaterVersion(hotFix.productVer, version))
        version = hotFix.productVer;
    if (std::stoi(buildNo) < std::stoi(hotFix.buildNo))
        buildNo = hotFix.buildNo;
}
