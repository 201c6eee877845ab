// What in texts themselves is not taken as meant.
#include <algorithm>

#include "LintInput.h"
#include "LintRule.h"

namespace {

void visitCatalogs(const LintInput &input, const VisitText &visit) {
    for (const LintHotFix &hotFix : input.hotFixes()) {
        for (const Item item : hotFixTexts)
            visit(hotFix.value(item), [&] { return hotFix.at(item); });
    }
    for (const LintCatalog &catalog : input.catalogs) {
        const ProductInfo &product = catalog.product;
        for (const auto &[item, text] :
             {std::pair(Item::name, product.name), std::pair(Item::url, product.url),
              std::pair(Item::hash, product.hash), std::pair(Item::version, product.version),
              std::pair(Item::build, product.mainBuildNo)})
            visit(text, [&, item = item] { return catalog.places->fullInstall(item); });
        visit(catalog.brandingBuild.value_or(""), [&] { return catalog.places->brandingBuild(); });
    }
}

// What the service tells, and what the engine asks it with later.
void visitReleaseValues(const LintInput &input, const VisitText &visit) {
    if (!input.release)
        return;
    const auto at = [&](const std::string &text, const std::string &pointer) {
        visit(text, [&] { return input.releasePlace(pointer); });
    };
    for (const Audience &audience : input.release->audience) {
        at(audience.releaseName, audience.place + "/releaseName");
        at(audience.coreVersion, audience.place + "/coreVersion");
        at(audience.partnerVersion, audience.place + "/partnerVersion");
        for (std::size_t i = 0; i < audience.affiliates.size(); ++i)
            at(audience.affiliates[i], audience.place + "/affiliates/" + std::to_string(i));
        for (const auto *products : {&audience.products, &audience.partners}) {
            for (const ReleaseProduct &product : *products)
                at(product.application, product.place + "/application");
        }
    }
}

void visitCatalogNames(const LintInput &input, const VisitText &visit) {
    for (const LintCatalog &catalog : input.catalogs) {
        if (!catalog.source)
            continue;
        for (const auto &[key, text] :
             {std::pair("/root", catalog.source->root), std::pair("/name", catalog.source->name),
              std::pair("/version", catalog.source->version)})
            visit(text, [&, key = key] { return input.releasePlace(catalog.source->place + key); });
    }
}

void visitAll(const LintInput &input, const VisitText &visit) {
    visitCatalogs(input, visit);
    visitReleaseValues(input, visit);
    visitCatalogNames(input, visit);
}

std::string withoutBlanksAround(const std::string &text) {
    constexpr const char *blanks = " \t\r\n";
    const std::size_t begin = text.find_first_not_of(blanks);
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

void checkBlanksAround(const LintInput &input, const Tell &tell) {
    visitAll(input, tellingFaults(tell, [](const std::string &text) {
                 const std::string meant = withoutBlanksAround(text);
                 return meant != text ? "\"" + meant + "\" with blanks around it" : "";
             }));
}

bool holdsControlCharacter(const std::string &text) {
    return std::any_of(text.begin(), text.end(), [](char character) {
        const auto code = static_cast<unsigned char>(character);
        return code < 0x20 || code == 0x7f;
    });
}

void checkLineEnds(const LintInput &input, const Tell &tell) {
    visitAll(input, tellingFaults(tell, [](const std::string &text) -> std::string {
                 return holdsControlCharacter(withoutBlanksAround(text))
                            ? "holds a line end or another control character"
                            : "";
             }));
}

void checkMarkup(const LintInput &input, const Tell &tell) {
    visitReleaseValues(input, tellingFaults(tell, [](const std::string &text) {
                           return text.find_first_of("&<>\"") != std::string::npos
                                      ? "\"" + text + "\" holds a character that XML has to escape"
                                      : "";
                       }));
}

void checkEmpty(const LintInput &input, const Tell &tell) {
    if (!input.release)
        return;
    for (const Audience &audience : input.release->audience) {
        for (const auto &[key, text] : {std::pair("/releaseName", audience.releaseName),
                                        std::pair("/coreVersion", audience.coreVersion),
                                        std::pair("/partnerVersion", audience.partnerVersion)}) {
            if (text.empty())
                tell(input.releasePlace(audience.place + key), "is empty");
        }
    }
}

void checkRepost(const LintInput &input, const Tell &tell) {
    for (const LintHotFix &hotFix : input.hotFixes()) {
        if (!hotFix.catalog->document || hotFix.record().repost)
            continue;
        const _xmlNode *node =
            CatalogXml::child(hotFix.catalog->document->hotFixes().at(hotFix.index), keyRepost);
        const std::string text = node ? CatalogXml::wholeText(node) : "";
        if (!text.empty() && text != "NO")
            tell(hotFix.at(Item::repost), "\"" + text + "\" counts as no");
    }
}

} // namespace

std::vector<LintRule> valueRules() {
    return {
        {"blank-around-value", Severity::error, "Blanks or line ends stand around a value.",
         "The engine trims nothing: a URL, a hash or a name with a blank is another one, and a version with "
         "one is refused as a folder's name.",
         "Write the value directly between the tags or quotes.", "", checkBlanksAround},
        {"control-character", Severity::warning, "A value holds a line end or another control character.",
         "What catalogs and replies say goes into the log as it is: a line of the log may then be theirs.",
         "Remove it.", "What replies, catalogs and the installer's property list say goes into the log",
         checkLineEnds},
        {"markup-in-release-value", Severity::error,
         "A value that goes into requests holds a character of markup.",
         "A machine keeps the release's name and versions, and asks the service with them and its ids next "
         "time, without any escaping: its request is then no XML, and it gets no update again.",
         "Use letters, digits and stops.", "Paths go to the shell as they are, and values into the request",
         checkMarkup},
        {"release-value-empty", Severity::warning, "A value of the release is empty.",
         "An empty value is never written to the product's configuration: the update leaves the old one "
         "there, and the service is asked with that.",
         "Give the value.", "An empty value is never written to the product configuration", checkEmpty},
        {"repost-not-yes", Severity::error, "A repost mark is another text than \"YES\".",
         "The engine compares with \"YES\", letter by letter: anything else, \"yes\" included, makes an "
         "ordinary package of it.",
         "Write YES, or remove the element.", "", checkRepost},
    };
}
