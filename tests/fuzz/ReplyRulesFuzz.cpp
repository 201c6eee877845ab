// Which catalogs a reply names, against the rules written out one by one. The replies are well-formed.
#include <algorithm>
#include <cstdint>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "CatalogParser.h"
#include "DownloadController.h"
#include "Machine.h"
#include "Markup.h"
#include "TextList.h"

namespace {

using Texts = std::vector<std::string>;

struct Catalog {
    std::optional<std::string> root;
    std::optional<std::string> name;
};

struct Product {
    std::optional<std::string> appId;
    std::vector<Catalog> catalogs;
};

struct Reply {
    std::optional<std::string> relName;
    std::optional<std::string> coreRelVer;
    std::optional<std::string> partnerRelVer;
    std::vector<Product> core;
    std::vector<Product> partner;
};

Product product(FuzzedDataProvider &input, std::string &markup) {
    Product made{maybeLine(input), {}};
    std::string catalogs;
    for (int left = input.ConsumeIntegralInRange(0, 3); left > 0; --left) {
        const Catalog catalog{maybeLine(input), maybeLine(input)};
        const std::string root = child(input, "caturlroot", catalog.root);
        const std::string name = child(input, "name", catalog.name);
        catalogs +=
            element("catalog", "", input.ConsumeBool() ? root + "<version>1</version>" + name : name + root);
        made.catalogs.push_back(catalog);
    }
    markup += element("product", attribute("appid", made.appId), element("catlist", "", catalogs));
    return made;
}

std::vector<Product> products(FuzzedDataProvider &input, std::string &markup) {
    std::vector<Product> made;
    for (int left = input.ConsumeIntegralInRange(0, 4); left > 0; --left)
        made.push_back(product(input, markup));
    return made;
}

std::string text(FuzzedDataProvider &input, Reply &reply) {
    std::string core;
    std::string partner;
    reply.core = products(input, core);
    reply.partner = products(input, partner);
    reply.relName = maybeLine(input);
    reply.coreRelVer = maybeLine(input);
    reply.partnerRelVer = maybeLine(input);
    const std::string attributes =
        attribute("relname", reply.relName) + attribute("relver", reply.coreRelVer);
    return element(
        "productresponse", " status=\"0\"",
        element("pkglist", "",
                element("package", "",
                        element("products", attributes, core) +
                            element("partner", attribute("relver", reply.partnerRelVer), partner))));
}

bool isCore(const std::string &id) {
    return id == "quaformac" || id == "quiformac" || id == "quoformac" || id == "qusformac" ||
           id == "qulmac" || id == "pxbasicformac" || id == "pxquibasicformac";
}

// A product that is not known repeats the catalogs of the one before it.
Texts urlsOf(const std::vector<Product> &products, const Texts &known) {
    Texts urls;
    std::vector<Catalog> catalogs;
    for (const Product &product : products) {
        if (std::count(known.begin(), known.end(), product.appId.value_or("")) > 0)
            catalogs = product.catalogs;
        for (const Catalog &catalog : catalogs)
            urls.push_back(catalog.root.value_or("") + "/" + catalog.name.value_or("") + ".xml");
    }
    return urls;
}

void check(std::list<const char *> got, const Texts &expected) {
    OwnedTexts owned(std::move(got));
    require(Texts(owned.list().begin(), owned.list().end()) == expected,
            "the catalogs are those of the rules");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    Reply reply;
    const std::string markup = text(input, reply);
    std::map<std::string, std::list<const char *>> urls = CatalogParser().getCatalogUrls(markup);

    Texts ids;
    for (const Product &product : reply.core) {
        if (product.appId)
            ids.push_back(*product.appId);
    }
    Texts coreIds = ids;
    Texts partnerIds = ids;
    if (ids.size() != 1) {
        coreIds.erase(
            std::remove_if(coreIds.begin(), coreIds.end(), [](const std::string &id) { return !isCore(id); }),
            coreIds.end());
        partnerIds.erase(std::remove_if(partnerIds.begin(), partnerIds.end(), isCore), partnerIds.end());
    }
    check(urls["Core"], urlsOf(reply.core, coreIds));
    check(urls["Partner"], urlsOf(reply.partner, partnerIds));
    const DownloadController &controller = *DownloadController::getInstance();
    require(controller.getRelName() == reply.relName.value_or("") &&
                controller.getCoreReleaseVer() == reply.coreRelVer.value_or("") &&
                controller.getPartnerReleaseVer() == reply.partnerRelVer.value_or(""),
            "the release is the reply's");
    return 0;
}
