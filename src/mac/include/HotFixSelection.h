// Which hot-fixes of a catalog apply, told from versions alone.
#pragma once

#include <string>

#include "CatalogParser.h"

// What a hot-fix is to a product on a system. The reasons against it stand in the order in which they are
// asked for, so that the first one that holds is given.
enum class Selection { applies, noProductVersion, systemTooOld, systemTooNew, productTooOld, productTooNew };

// Bounds are inclusive, and an empty bound is no bound.
Selection judgeHotFix(const HotFixPackageInfo &hotFix, const std::string &productVersion,
                      const std::string &systemVersion) noexcept;

// The highest version and, independently, the highest build number among an installed product and the
// hot-fixes that were chosen for it.
struct ReleaseMaxima {
    std::string version; // the installed one at first
    std::string buildNo = "0";

    // Throws std::invalid_argument or std::out_of_range when the hot-fix's build number is not a number.
    void include(const HotFixPackageInfo &hotFix);
};
