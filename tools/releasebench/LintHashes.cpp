// Hashes and sizes as catalogs give them.
#include "LintInput.h"
#include "LintRule.h"
#include "LintText.h"

namespace {

// Those that are given; a release's come from the packages themselves.
void visitHashes(const LintInput &input, const VisitText &visit) {
    for (const LintHotFix &hotFix : input.hotFixes()) {
        if (hotFix.catalog->document)
            visit(hotFix.record().hash, [&] { return hotFix.at(Item::hash); });
    }
    for (const LintCatalog &catalog : input.catalogs) {
        if (catalog.document && !catalog.product.url.empty())
            visit(catalog.product.hash, [&] { return catalog.places->fullInstall(Item::hash); });
    }
}

bool isSha1(const std::string &text) {
    return text.size() == 40 && text.find_first_not_of("0123456789ABCDEFabcdef") == std::string::npos;
}

bool hasLowerCase(const std::string &text) {
    return text.find_first_of("abcdef") != std::string::npos;
}

void checkMissing(const LintInput &input, const Tell &tell) {
    visitHashes(input, tellingFaults(tell, [](const std::string &hash) -> std::string {
                    return hash.empty() ? "no hash" : "";
                }));
}

void checkForm(const LintInput &input, const Tell &tell) {
    visitHashes(input, tellingFaults(tell, [](const std::string &hash) {
                    return hash.empty() || isSha1(hash)
                               ? ""
                               : "\"" + hash + "\" is no SHA-1, which has 40 hexadecimal digits";
                }));
}

void checkCase(const LintInput &input, const Tell &tell) {
    visitHashes(input, tellingFaults(tell, [](const std::string &hash) {
                    return isSha1(hash) && hasLowerCase(hash) ? "\"" + hash + "\" has letters in lower case"
                                                              : "";
                }));
}

void checkSizes(const LintInput &input, const Tell &tell) {
    for (const LintHotFix &hotFix : input.hotFixes()) {
        const std::string &size = hotFix.record().size;
        if (hotFix.catalog->document &&
            (!isDecimal(size) || size.find_first_not_of('0') == std::string::npos))
            tell(hotFix.at(Item::size), size.empty() ? "no size" : "\"" + size + "\" is no number of bytes");
    }
}

} // namespace

std::vector<LintRule> hashRules() {
    return {
        {"hash-missing", Severity::error, "A package has no hash.",
         "Without one the check fails at once: the package is told to have failed, and the job fails.",
         "Write the catalog by `releasebench build`.", "", checkMissing},
        {"hash-form", Severity::error, "A hash is no SHA-1.",
         "The package never matches it: it is fetched three times, checked twice and given up.",
         "Write the catalog by `releasebench build`.", "A package with a wrong hash is fetched three times",
         checkForm},
        {"hash-lower-case", Severity::error, "A hash holds letters in lower case.",
         "The file's hash is turned to upper case and the catalog's is not: it never matches.",
         "Write it in upper case.", "The catalogs' hashes must be in upper case.", checkCase},
        {"size-no-number", Severity::note, "A size is no number of bytes.",
         "The engine decides nothing by it; who reads the catalog otherwise may.",
         "Write the catalog by `releasebench build`.", "", checkSizes},
    };
}
