// Build numbers that the engine cannot take, or takes for others.
#include <stdexcept>

#include "HotFixSelection.h"
#include "LintInput.h"
#include "LintRule.h"
#include "LintText.h"
#include "Numbers.h"

namespace {

// Whether an update that chooses the hot-fix goes on.
bool isTaken(const HotFixPackageInfo &hotFix, ReleaseMaxima &maxima) {
    try {
        maxima.include(hotFix);
        return true;
    } catch (const std::logic_error &) { // no number, or one that does not fit
        return false;
    }
}

void checkHotFixes(const LintInput &input, const Tell &tell) {
    for (const LintHotFix &hotFix : input.hotFixes()) {
        ReleaseMaxima maxima;
        if (!isTaken(hotFix.record(), maxima))
            tell(hotFix.at(Item::build), hotFix.record().buildNo.empty()
                                             ? "no " + hotFix.word(Item::build)
                                             : "\"" + hotFix.record().buildNo + "\" is no number that fits");
    }
}

void checkRest(const LintInput &input, const Tell &tell) {
    const auto check = [&](const std::string &text, const LintPlace &place) {
        tell(place, "\"" + text + "\" is taken for " + std::to_string(leadingNumber(text)) +
                        " and recorded as it is");
    };
    for (const LintHotFix &hotFix : input.hotFixes()) {
        ReleaseMaxima maxima;
        const std::string &build = hotFix.record().buildNo;
        if (isTaken(hotFix.record(), maxima) && maxima.buildNo == build && !isDecimal(build))
            check(build, hotFix.at(Item::build));
    }
    for (const LintCatalog &catalog : input.catalogs) {
        const std::string &build = catalog.product.mainBuildNo;
        if (leadingNumber(build) > 0 && !isDecimal(build))
            check(build, catalog.places->fullInstall(Item::build));
    }
}

void checkPositive(const LintInput &input, const Tell &tell) {
    for (const LintHotFix &hotFix : input.hotFixes()) {
        ReleaseMaxima maxima;
        if (isTaken(hotFix.record(), maxima) && maxima.buildNo == ReleaseMaxima().buildNo)
            tell(hotFix.at(Item::build), "\"" + hotFix.record().buildNo + "\" is not above 0");
    }
}

} // namespace

std::vector<LintRule> buildRules() {
    return {
        {"build-no-number", Severity::error, "The build number of a hot-fix is no number, or too large.",
         "An update that chooses the hot-fix ends with an uncaught exception: nothing is downloaded, nothing "
         "is told.",
         "Give a number below 2147483648.", "A hot-fix that applies and has no number as its build number",
         checkHotFixes},
        {"build-partly-number", Severity::warning, "A build number goes on behind its digits.",
         "The engine compares the digits at the beginning, and records the whole text as the product's "
         "build.",
         "Use digits only.", "", checkRest},
        {"build-not-positive", Severity::warning, "The build number of a hot-fix is 0 or below.",
         "The highest build number of the chosen hot-fixes is recorded, from 0 on: this one never is.",
         "Give the build that the hot-fix brings.", "", checkPositive},
    };
}
