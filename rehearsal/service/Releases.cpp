#include "Releases.h"

#include "ServiceReply.h"
#include "Text.h"
#include "XmlNodes.h"

#include <stdexcept>

namespace {

ServiceQuestion questionIn(const Document &document) {
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
    ServiceQuestion question;
    question.affId = plain(Text(xmlNodeGetContent(affId)));
    for (const xmlNode *product : children(products, "product")) {
        question.appIds.push_back(attribute(product, "appid"));
    }
    return question;
}

} // namespace

Reply releaseReply(const std::string &folder, const Request &request) {
    const std::string contentType = "text/xml; charset=utf-8";
    if (const auto fixed = contentOf(folder + "/reply.xml")) {
        return textReply(200, *fixed, contentType);
    }
    ServiceQuestion question;
    try {
        question = questionIn(parse(request.body));
    } catch (const std::invalid_argument &problem) {
        return textReply(400, problem.what() + std::string("\n"));
    }
    const auto reply = serviceReply(contentOf(folder + "/releases.xml").value_or(""), question);
    return reply ? textReply(200, *reply, contentType)
                 : textReply(500, "releases.xml is missing or not well-formed\n");
}
