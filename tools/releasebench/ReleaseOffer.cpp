#include "ReleaseOffer.h"

#include <algorithm>

#include "Publication.h"
#include "ServiceReply.h"
#include "Text.h"
#include "TolvaneHandler.h"

namespace {

// A fresh installation asks with its whole affiliate id (kept as shipped).
std::string replyTo(const Asker &asker, const Release &release, Job job) {
    ServiceQuestion question;
    question.affId = job == Job::update ? upToDash(asker.affiliate) : asker.affiliate;
    TolvaneHandler().splitString(asker.application, ',', question.appIds);
    return serviceReply(releasesXml(release), question).value_or("");
}

} // namespace

Offer offerTo(const Asker &asker, const Release &release, Job job) {
    return offerOf(replyTo(asker, release, job), job, [&release](const OfferedCatalog &offered) {
        const auto found =
            std::find_if(release.catalogs.begin(), release.catalogs.end(),
                         [&offered](const ReleaseCatalog &catalog) { return catalog.url() == offered.url; });
        return found == release.catalogs.end() ? "" : catalogXml(*found, factsByName);
    });
}

std::vector<std::string> orderNamesOf(const Release &release) {
    return orderNamesIn(orderList(release.order));
}

Asker firstAsker(const Release &release) {
    const Audience &audience = release.audience.front();
    return {audience.affiliates.front(), audience.products.front().application};
}
