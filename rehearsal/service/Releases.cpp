#include "Releases.h"

#include "Text.h"

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <stdexcept>
#include <vector>

namespace {

struct FreeDocument {
    void operator()(xmlDoc *document) const noexcept { xmlFreeDoc(document); }
};
using Document = std::unique_ptr<xmlDoc, FreeDocument>;

struct FreeText {
    void operator()(xmlChar *text) const noexcept { xmlFree(text); }
};
using Text = std::unique_ptr<xmlChar, FreeText>;

const xmlChar *xml(const char *text) {
    return reinterpret_cast<const xmlChar *>(text);
}
const xmlChar *xml(const std::string &text) {
    return xml(text.c_str());
}

std::string plain(const Text &text) {
    return text ? std::string(reinterpret_cast<const char *>(text.get())) : std::string();
}

Document parse(const std::string &text) {
    if (text.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        return nullptr;
    }
    return Document(xmlReadMemory(text.data(), static_cast<int>(text.size()), "", nullptr,
                                  XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
}

bool isNamed(const xmlNode *node, const char *name) {
    return node->type == XML_ELEMENT_NODE && xmlStrEqual(node->name, xml(name)) == 1;
}

std::vector<xmlNode *> children(const xmlNode *parent, const char *name) {
    std::vector<xmlNode *> found;
    for (xmlNode *node = parent ? parent->children : nullptr; node; node = node->next) {
        if (isNamed(node, name)) {
            found.push_back(node);
        }
    }
    return found;
}

xmlNode *child(const xmlNode *parent, const char *name) {
    const auto found = children(parent, name);
    return found.empty() ? nullptr : found.front();
}

std::string attribute(const xmlNode *node, const char *name, const char *fallback = "") {
    const Text value(xmlGetProp(node, xml(name)));
    return value ? plain(value) : fallback;
}

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

struct Question {
    std::string affId;
    std::vector<std::string> appIds;
};

Question questionIn(const Document &document) {
    const xmlNode *root = document ? xmlDocGetRootElement(document.get()) : nullptr;
    if (!root) {
        throw std::invalid_argument("the request is not well-formed XML");
    }
    const xmlNode *package = child(child(root, "pkglist"), "package");
    const xmlNode *products = child(package, "products");
    const xmlNode *affId = child(child(package, "metadata"), "affid");
    if (!isNamed(root, "productrequest") || !products || !affId) {
        throw std::invalid_argument("the request is not a productrequest");
    }
    Question question;
    question.affId = plain(Text(xmlNodeGetContent(affId)));
    for (const xmlNode *product : children(products, "product")) {
        question.appIds.push_back(attribute(product, "appid"));
    }
    return question;
}

const xmlNode *releaseFor(const Question &question, const xmlNode *releases) {
    for (const xmlNode *release : children(releases, "release")) {
        const std::string affId = attribute(release, "affid");
        if (affId == "*" || affId == question.affId) {
            return release;
        }
    }
    return nullptr;
}

std::vector<xmlNode *> askedProducts(const Question &question, const xmlNode *release) {
    auto products = children(release, "product");
    const auto notAsked = [&](const xmlNode *product) {
        const auto &ids = question.appIds;
        return std::find(ids.begin(), ids.end(), attribute(product, "appid")) == ids.end();
    };
    products.erase(std::remove_if(products.begin(), products.end(), notAsked), products.end());
    return products;
}

std::string responseTo(const Question &question, const xmlNode *releases) {
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

Reply releaseReply(const std::string &folder, const Request &request) {
    const std::string contentType = "text/xml; charset=utf-8";
    if (const auto fixed = contentOf(folder + "/reply.xml")) {
        return textReply(200, *fixed, contentType);
    }
    Question question;
    try {
        question = questionIn(parse(request.body));
    } catch (const std::invalid_argument &problem) {
        return textReply(400, problem.what() + std::string("\n"));
    }
    const Document data = parse(contentOf(folder + "/releases.xml").value_or(""));
    const xmlNode *releases = data ? xmlDocGetRootElement(data.get()) : nullptr;
    if (!releases) {
        return textReply(500, "releases.xml is missing or not well-formed\n");
    }
    return textReply(200, responseTo(question, releases), contentType);
}
