// What the service's answers make of a release.
#include <algorithm>
#include <set>
#include <stdexcept>

#include "LintInput.h"
#include "LintRule.h"
#include "PackageRecords.h"
#include "Paths.h"
#include "Text.h"
#include "TolvaneHandler.h"

namespace {

void checkEmpty(const LintInput &input, const Tell &tell) {
    for (const LintOffer &offer : input.offers) {
        if (input.release && offer.catalogUrls.empty())
            tell(offer.place, offer.asker + ": no catalog");
    }
}

void tellRepeated(const LintInput &input, bool ofSeveral, const Tell &tell) {
    for (const LintOffer &offer : input.offers) {
        for (const std::string &url : offer.fetchedTwice) {
            if (offer.isForSeveralIds == ofSeveral)
                tell(offer.place, offer.asker + ": " + url + " is fetched and read twice");
        }
    }
}

void checkRepeated(const LintInput &input, const Tell &tell) {
    tellRepeated(input, false, tell);
}

void checkRepeatedForSeveral(const LintInput &input, const Tell &tell) {
    tellRepeated(input, true, tell);
}

// None for an audience that another one stands before.
std::set<std::string> urlsToldTo(const LintInput &input, const Audience &audience) {
    std::set<std::string> urls;
    for (const LintOffer &offer : input.offers) {
        if (offer.place.part == readablePlace(audience.place))
            urls.insert(offer.catalogUrls.begin(), offer.catalogUrls.end());
    }
    return urls;
}

void checkUnreached(const LintInput &input, const Tell &tell) {
    if (!input.release)
        return;
    for (const Audience &audience : input.release->audience) {
        const std::set<std::string> told = urlsToldTo(input, audience);
        for (const auto *products : {&audience.products, &audience.partners}) {
            for (const ReleaseProduct &product : *products) {
                // Others may share some of them.
                const bool isReached = std::all_of(
                    product.catalogs.begin(), product.catalogs.end(), [&](const std::string &name) {
                        return told.count(input.release->catalogNamed(name).url()) != 0;
                    });
                if (!told.empty() && !isReached)
                    tell(input.releasePlace(product.place + "/application"),
                         "no machine is told of all catalogs of \"" + product.application + "\"");
            }
        }
    }
}

void checkUnused(const LintInput &input, const Tell &tell) {
    if (!input.release)
        return;
    std::set<std::string> named;
    for (const Audience &audience : input.release->audience) {
        for (const auto *products : {&audience.products, &audience.partners}) {
            for (const ReleaseProduct &product : *products)
                named.insert(product.catalogs.begin(), product.catalogs.end());
        }
    }
    for (const ReleaseCatalog &catalog : input.release->catalogs) {
        if (named.count(catalog.name) == 0)
            tell(input.releasePlace(catalog.place + "/name"),
                 "no audience is told of \"" + catalog.name + "\"");
    }
}

void checkRefused(const LintInput &input, const Tell &tell) {
    for (const LintCatalog &catalog : input.catalogs) {
        try {
            if (catalog.source)
                static_cast<void>(
                    PackageRecords().destinationOf(catalog.source->url(), coreCatalogDirectory()));
        } catch (const std::invalid_argument &) {
            tell(input.releasePlace(catalog.source->place + "/name"),
                 "no command may name the file of \"" + catalog.name + "\"");
        }
    }
}

void checkRoots(const LintInput &input, const Tell &tell) {
    for (const LintCatalog &catalog : input.catalogs) {
        if (catalog.source && catalog.source->root.back() == '/')
            tell(input.releasePlace(catalog.source->place + "/root"), "gives " + catalog.source->url());
    }
}

void checkShadowed(const LintInput &input, const Tell &tell) {
    if (!input.release)
        return;
    std::set<std::string> served;
    for (const Audience &audience : input.release->audience) {
        for (std::size_t i = 0; i < audience.affiliates.size(); ++i) {
            const std::string &affiliate = audience.affiliates[i];
            if (served.count("*") != 0 || !served.insert(affiliate).second)
                tell(input.releasePlace(audience.place + "/affiliates/" + std::to_string(i)),
                     "\"" + affiliate + "\" is served by an answer before this one");
        }
    }
}

void checkDashes(const LintInput &input, const Tell &tell) {
    if (!input.release)
        return;
    for (const Audience &audience : input.release->audience) {
        for (std::size_t i = 0; i < audience.affiliates.size(); ++i) {
            const std::string &affiliate = audience.affiliates[i];
            if (upToDash(affiliate) != affiliate)
                tell(input.releasePlace(audience.place + "/affiliates/" + std::to_string(i)),
                     "an update asks with \"" + upToDash(affiliate) + "\" instead of \"" + affiliate + "\"");
        }
    }
}

void checkApplications(const LintInput &input, const Tell &tell) {
    if (!input.release)
        return;
    for (const Audience &audience : input.release->audience) {
        for (const ReleaseProduct &product : audience.products) {
            std::vector<std::string> ids;
            TolvaneHandler().splitString(product.application, ',', ids);
            if (ids != std::vector<std::string>{product.application})
                tell(input.releasePlace(product.place + "/application"),
                     "\"" + product.application + "\" is never asked for as one id");
        }
    }
}

void checkBranding(const LintInput &input, const Tell &tell) {
    for (const LintCatalog &catalog : input.catalogs) {
        const bool isGiven = catalog.source
                                 ? !catalog.source->brandingBuild.empty()
                                 : !catalog.document->elements(keyProductConfig + "/cbrmsbuildno").empty();
        if (isGiven && !isDynamicBrandingCatalog(catalog.name + ".xml"))
            tell(catalog.places->brandingBuild(), "stands in the catalog \"" + catalog.name + "\"");
    }
}

void checkNoBranding(const LintInput &input, const Tell &tell) {
    for (const LintCatalog &catalog : input.catalogs) {
        if (catalog.isRead() && isDynamicBrandingCatalog(catalog.name + ".xml") && !catalog.brandingBuild)
            tell(catalog.places->catalog(), "no build number of the branding is read");
    }
}

} // namespace

std::vector<LintRule> replyRules() {
    return {
        {"reply-empty", Severity::error, "A reply names no catalog.",
         "The map of catalogs holds \"Core\" and \"Partner\" all the same, as empty lists: it shows as \"No "
         "products found For Update\" or \"ERROR: No products found For Fresh Install\".",
         "Name a catalog for the application.", "The reply's map of catalogs always holds", checkEmpty},
        {"reply-repeats-catalog", Severity::error, "A reply names a catalog twice.",
         "The catalog is fetched and read twice, and its packages are downloaded, listed and installed "
         "twice.",
         "Name each catalog once for a machine, core or partner.",
         "A product whose id is not among the ids that its pass knows repeats the catalogs", checkRepeated},
        {"reply-repeats-for-several", Severity::warning,
         "A machine with several application ids is told of a catalog twice.",
         "A product whose id is not one of the known core editions repeats the catalogs of the product "
         "before it, and so do products that share a catalog: packages are downloaded, listed and installed "
         "twice.",
         "List every product with an id of the known editions and catalogs of its own.",
         "A product whose id is not among the ids that its pass knows repeats the catalogs",
         checkRepeatedForSeveral},
        {"product-unreached", Severity::error, "No application id reaches the catalogs of a product.",
         "A core product is told of when its id is asked for; a partner product counts only when the reply "
         "has one core product, of the same id, or when its id is that of a core product which is none of "
         "the known editions.",
         "Give the partner product the id of a product that the machine has.", "", checkUnreached},
        {"catalog-unused", Severity::warning, "No audience is told of a catalog.", "Nobody ever fetches it.",
         "Name it for an application, or remove it.", "", checkUnused},
        {"catalog-refused", Severity::error, "No command may name where a catalog goes.",
         "A file name with a character that a shell acts on is refused before any command is built, and then "
         "no catalog of its group is fetched.",
         "Use a plain name.", "Paths go to the shell as they are", checkRefused},
        {"catalog-root-slash", Severity::note, "A root ends with \"/\".",
         "The engine puts a \"/\" between root and name, whatever is there: the URL gets two.",
         "Leave it out.", "", checkRoots},
        {"audience-shadowed", Severity::error, "An affiliate is served by an answer before.",
         "The first answer that fits an affiliate id counts: this one is never given.",
         "Move the answer for \"*\" to the end, and name each affiliate once.", "", checkShadowed},
        {"affiliate-dash", Severity::warning, "An affiliate id holds a \"-\".",
         "An update asks with what stands before the first \"-\", a fresh installation with the whole id.",
         "Name the id without its end, too.", "", checkDashes},
        {"application-comma", Severity::error, "An application id holds a comma, or is empty between them.",
         "A machine's ids stand with commas between them: no machine asks with this one.",
         "Name each id by itself.", "", checkApplications},
        {"branding-build-unread", Severity::warning,
         "A branding build stands in another catalog than that of the branding.",
         "It is read from \"dynamicbranding_maccat.xml\" only.", "Move it there.", "", checkBranding},
        {"branding-build-missing", Severity::warning, "The branding's catalog has no single branding build.",
         "Without one, or with two, build \"0\" is recorded for the branding.",
         "Give one cbrmsbuildno (brandingBuild).", "", checkNoBranding},
    };
}
