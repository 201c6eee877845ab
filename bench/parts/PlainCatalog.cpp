#include "PlainCatalog.h"

#include <array>
#include <functional>
#include <memory>

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xpath.h>

namespace {

using Document = std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)>;
using Context = std::unique_ptr<xmlXPathContext, decltype(&xmlXPathFreeContext)>;
using Result = std::unique_ptr<xmlXPathObject, decltype(&xmlXPathFreeObject)>;

const std::array<const char *, 11> items = {"name",        "url",     "hash",       "size",
                                            "minver",      "maxver",  "osx_minver", "osx_maxver",
                                            "product_ver", "buildno", "repost"};

const xmlChar *toXml(const char *text) {
    return reinterpret_cast<const xmlChar *>(text);
}

using Visit = std::function<void(std::size_t item, const xmlNode *node)>;

void visit(const std::string &file, const std::vector<std::string> &expressions, const Visit &visitNode) {
    // Once for the branding build number, which this file does not hold.
    Document(xmlParseFile(file.c_str()), xmlFreeDoc).reset();
    const Document document(xmlParseFile(file.c_str()), xmlFreeDoc);
    for (std::size_t item = 0; item < expressions.size(); ++item) {
        const Context context(xmlXPathNewContext(document.get()), xmlXPathFreeContext);
        const Result result(xmlXPathEvalExpression(toXml(expressions[item].c_str()), context.get()),
                            xmlXPathFreeObject);
        const xmlNodeSet *nodes = result->nodesetval;
        for (int i = 0; nodes && i < nodes->nodeNr; ++i)
            visitNode(item, nodes->nodeTab[i]);
    }
}

std::string textOfChild(const xmlNode *node, const char *name) {
    const xmlNode *child = node->children;
    while (child && xmlStrcmp(child->name, toXml(name)) != 0)
        child = child->next;
    xmlChar *text = child ? xmlNodeListGetString(child->doc, child->children, 1) : nullptr;
    std::string copy = text ? reinterpret_cast<const char *>(text) : "";
    xmlFree(text);
    return copy;
}

} // namespace

std::vector<std::string> hotFixExpressions() {
    return std::vector<std::string>(items.size(), keyHotFixPackage);
}

std::vector<std::string> productExpressions() {
    return {keyProductPackage, keyProductPackage, keyProductPackage, keyProductConfig + "/" + keyVersion,
            keyProductConfig + "/" + keyMainBuildNo};
}

std::size_t parseAndEvaluate(const std::string &file, const std::vector<std::string> &expressions) {
    std::size_t count = 0;
    visit(file, expressions, [&count](std::size_t, const xmlNode *) { ++count; });
    return count;
}

std::vector<HotFixPackageInfo> readPlainly(const std::string &file) {
    std::array<std::vector<std::string>, items.size()> texts;
    visit(file, hotFixExpressions(), [&texts](std::size_t item, const xmlNode *node) {
        texts[item].push_back(textOfChild(node, items[item]));
    });
    std::vector<HotFixPackageInfo> records;
    for (std::size_t i = 0; i < texts[0].size(); ++i)
        records.push_back({texts[0][i], texts[1][i], texts[2][i], texts[3][i], texts[4][i], texts[5][i],
                           texts[6][i], texts[7][i], texts[8][i], texts[9][i], texts[10][i] == "YES"});
    return records;
}
