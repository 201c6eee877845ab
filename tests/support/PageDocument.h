// A page, looked into.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <libxml/parser.h>
#include <libxml/xpath.h>

struct FreeDocument {
    void operator()(xmlDoc *document) const { xmlFreeDoc(document); }
};
using Document = std::unique_ptr<xmlDoc, FreeDocument>;

inline Document parsed(const std::string &page) {
    return Document(
        xmlReadMemory(page.data(), static_cast<int>(page.size()), nullptr, nullptr, XML_PARSE_NONET));
}

// The texts of the nodes that an expression selects.
inline std::vector<std::string> textsOf(const Document &document, const std::string &expression) {
    const std::unique_ptr<xmlXPathContext, void (*)(xmlXPathContext *)> context(
        xmlXPathNewContext(document.get()), xmlXPathFreeContext);
    const std::unique_ptr<xmlXPathObject, void (*)(xmlXPathObject *)> found(
        xmlXPathEvalExpression(reinterpret_cast<const xmlChar *>(expression.c_str()), context.get()),
        xmlXPathFreeObject);
    std::vector<std::string> texts;
    for (int i = 0; found && found->nodesetval && i < found->nodesetval->nodeNr; ++i) {
        const std::unique_ptr<xmlChar, void (*)(void *)> text(
            xmlNodeGetContent(found->nodesetval->nodeTab[i]), xmlFree);
        texts.emplace_back(reinterpret_cast<const char *>(text.get()));
    }
    return texts;
}
