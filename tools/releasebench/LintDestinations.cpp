// Where packages go on a machine.
#include <climits>
#include <stdexcept>

#include <boost/algorithm/string/case_conv.hpp>

#include "InstallationOrder.h"
#include "LintInput.h"
#include "LintPairs.h"
#include "LintRule.h"
#include "PackageRecords.h"
#include "Paths.h"
#include "ScriptCommand.h"
#include "Text.h"

namespace {

// Where a full-install package goes that is alone; "" where that is refused.
std::string destinationOf(const ProductInfo &product) {
    PackageRecords records;
    records.setProducts({product});
    try {
        return records.destinationOf(product.url, packageDirectory());
    } catch (const std::invalid_argument &) {
        return "";
    }
}

void visitDestinations(const LintInput &input, const VisitText &visit) {
    for (const LintHotFix &hotFix : input.hotFixes())
        visit(hotFix.destination(), [&] { return hotFix.at(Item::url); });
    for (const LintCatalog &catalog : input.catalogs) {
        if (!catalog.product.url.empty())
            visit(destinationOf(catalog.product), [&] { return catalog.places->fullInstall(Item::url); });
    }
}

void checkRefused(const LintInput &input, const Tell &tell) {
    visitDestinations(input, tellingFaults(tell, [](const std::string &path) -> std::string {
                          return path.empty() ? "no command may name the path that version and file name give"
                                              : "";
                      }));
}

void checkBlanks(const LintInput &input, const Tell &tell) {
    visitDestinations(input, tellingFaults(tell, [](const std::string &path) {
                          return contains(path, " ") ? "a blank in " + path : "";
                      }));
}

void checkPatterns(const LintInput &input, const Tell &tell) {
    visitDestinations(input, [&](const std::string &path, const WhereIs &place) {
        for (const std::string &fault : shellFaults(path))
            tell(place(), fault);
    });
}

void checkLengths(const LintInput &input, const Tell &tell) {
    visitDestinations(input, tellingFaults(tell, [](const std::string &path) -> std::string {
                          constexpr std::size_t longestPath = 1023; // of macOS
                          const std::size_t name = lastComponent(path).size();
                          if (name <= NAME_MAX && path.size() <= longestPath)
                              return "";
                          return std::to_string(name) + " bytes of a name, " + std::to_string(path.size()) +
                                 " of its path";
                      }));
}

void checkSame(const LintInput &input, const Tell &tell) {
    for (const LintOffer &offer : input.offers) {
        const auto pairs = pairsOf(
            offer.hotFixes, [](const LintHotFix &hotFix) { return hotFix.destination(); },
            [](const LintHotFix &, const LintHotFix &) { return true; });
        for (const LintPair &pair : pairs)
            tell(pair.later.at(Item::url), "goes to " + pair.later.destination() +
                                               ", as another one does that product " + pair.machine.product +
                                               " on system " + pair.machine.system + " gets with it");
    }
}

void checkLetterCase(const LintInput &input, const Tell &tell) {
    for (const LintOffer &offer : input.offers) {
        const auto pairs = pairsOf(
            offer.hotFixes,
            [](const LintHotFix &hotFix) { return boost::algorithm::to_lower_copy(hotFix.destination()); },
            [](const LintHotFix &one, const LintHotFix &other) {
                return one.destination() != other.destination();
            });
        for (const LintPair &pair : pairs)
            tell(pair.later.at(Item::url), "goes to " + pair.later.destination() + ", and another one to " +
                                               pair.earlier.destination());
    }
}

void checkRepost(const LintInput &input, const Tell &tell) {
    for (const LintHotFix &hotFix : input.hotFixes()) {
        if (!hotFix.record().repost && isRepostPackage(hotFix.destination()))
            tell(hotFix.at(Item::url), "\"repost\" in " + hotFix.destination());
    }
}

void checkBranding(const LintInput &input, const Tell &tell) {
    for (const LintHotFix &hotFix : input.hotFixes()) {
        if (isBrandingPackage(hotFix.destination()))
            tell(hotFix.at(Item::url), hotFix.destination());
    }
}

} // namespace

std::vector<LintRule> destinationRules() {
    return {
        {"destination-refused", Severity::error, "No command may name where the package goes.",
         "A version or a file name with a character that a shell acts on, a control character or a \"..\", "
         "or a version with a blank, is refused before any command is built: \"ERROR: Destination Creation "
         "Failed\", and nothing of the job is downloaded.",
         "Use plain names, and versions of digits and stops.", "Paths go to the shell as they are",
         checkRefused},
        {"destination-blank", Severity::error, "A package's file name holds a blank.",
         "The hash tool is given the path as it is and takes it for several files: the package never passes "
         "its check.",
         "Publish the package under a plain name.", "Paths go to the shell as they are", checkBlanks},
        {"destination-pattern", Severity::warning, "A path holds a character of shell patterns.",
         "The installer script names the path as it is: a pattern stands for whatever files fit it.",
         "Publish the package under a plain name.", "Paths go to the shell as they are", checkPatterns},
        {"destination-long", Severity::error, "A file name is longer than file systems take.",
         "The download's file cannot be opened: the rest may be reported complete and the new version "
         "recorded without it.",
         "Publish the package under a shorter name.", "A worker that cannot open its file is not counted.",
         checkLengths},
        {"destination-shared", Severity::error, "Two packages that one machine gets go to one file.",
         "The second download waits for the first and writes over it; the path stands twice in the package "
         "list, and the package is installed twice, or fails the check of the other one's hash.",
         "Give packages file names of their own, or bounds that follow each other.", "", checkSame},
        {"destination-letter-case", Severity::warning,
         "Two files of one folder differ in the case of letters only.",
         "On a file system that does not tell them apart, as those of macOS mostly are, both are one file.",
         "Give packages file names of their own.", "", checkLetterCase},
        {"repost-by-path", Severity::warning,
         "A package that is not marked repost has \"repost\" in its path.",
         "The order takes every path with \"repost\" for a repost package, and leaves it out unless a name "
         "admits it.",
         "Choose another name, or mark it.", "Packages whose path contains \"repost\" are installed only",
         checkRepost},
        {"branding-package", Severity::note, "A package is installed at once as branding.",
         "A path with \"DynamicBranding.pkg\" stands in no order and in no script: it is installed before "
         "all others, and its installation's status is not examined.",
         "Check its installation by the system installer's own log.",
         "The status of commands is not examined", checkBranding},
    };
}
