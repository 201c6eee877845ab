#include "ServiceReply.h"

#include <algorithm>

#include "XmlNodes.h"

namespace {

xmlNode *add(xmlNode *parent, const char *name) {
    return xmlNewChild(parent, nullptr, xml(name), nullptr);
}

void addText(xmlNode *parent, const char *name, const std::string &text) {
    xmlNewTextChild(parent, nullptr, xml(name), xml(text));
}

void addAttribute(xmlNode *node, const char *name, const std::string &value) {
    xmlNewProp(node, xml(name), xml(value));
}

void addProduct(xmlNode *parent, const xmlNode *data) {
    xmlNode *product = add(parent, "product");
    addAttribute(product, "appid", attribute(data, "appid"));
    xmlNode *list = add(product, "catlist");
    for (const xmlNode *source : children(data, "catalog")) {
        xmlNode *catalog = add(list, "catalog");
        addText(catalog, "caturlroot", attribute(source, "root"));
        addText(catalog, "name", attribute(source, "name"));
        addText(catalog, "version", attribute(source, "version"));
    }
}

const xmlNode *releaseFor(const ServiceQuestion &question, const xmlNode *releases) {
    for (const xmlNode *release : children(releases, "release")) {
        const std::string affId = attribute(release, "affid");
        if (affId == "*" || affId == question.affId) {
            return release;
        }
    }
    return nullptr;
}

std::vector<xmlNode *> askedProducts(const ServiceQuestion &question, const xmlNode *release) {
    auto products = children(release, "product");
    const auto notAsked = [&](const xmlNode *product) {
        const auto &ids = question.appIds;
        return std::find(ids.begin(), ids.end(), attribute(product, "appid")) == ids.end();
    };
    products.erase(std::remove_if(products.begin(), products.end(), notAsked), products.end());
    return products;
}

std::string responseTo(const ServiceQuestion &question, const xmlNode *releases) {
    const xmlNode *release = releaseFor(question, releases);
    const auto products = askedProducts(question, release);
    const std::string noUpdate = "1";
    std::string status = release ? attribute(release, "status", "0") : noUpdate;
    if (status == "0" && products.empty()) {
        status = noUpdate;
    }

    const Document response(xmlNewDoc(xml("1.0")));
    xmlNode *root = xmlNewNode(nullptr, xml("productresponse"));
    xmlDocSetRootElement(response.get(), root);
    addAttribute(root, "status", status);
    xmlNode *error = add(root, "error");
    addText(error, "errorcode", release ? attribute(release, "errorcode", "0") : "0");
    addText(error, "errordetail", release ? attribute(release, "errordetail") : "");
    if (status == "0") {
        xmlNode *package = add(add(root, "pkglist"), "package");
        addAttribute(package, "class", "macdefault");
        xmlNode *core = add(package, "products");
        addAttribute(core, "relname", attribute(release, "relname"));
        addAttribute(core, "relver", attribute(release, "relver"));
        for (const xmlNode *product : products) {
            addProduct(core, product);
        }
        xmlNode *partner = add(package, "partner");
        addAttribute(partner, "affid", question.affId);
        addAttribute(partner, "relname", attribute(release, "relname"));
        addAttribute(partner, "relver", attribute(release, "partnerrelver"));
        for (const xmlNode *product : children(release, "partner")) {
            addProduct(partner, product);
        }
    }

    xmlChar *text = nullptr;
    int length = 0;
    xmlDocDumpFormatMemoryEnc(response.get(), &text, &length, "utf-8", 1);
    return plain(Text(text));
}

} // namespace

std::optional<std::string> serviceReply(const std::string &releasesXml, const ServiceQuestion &question) {
    const Document data = parse(releasesXml);
    const xmlNode *releases = data ? xmlDocGetRootElement(data.get()) : nullptr;
    if (!releases)
        return std::nullopt;
    return responseTo(question, releases);
}
