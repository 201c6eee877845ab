#include "XPath.h"

#include <new>
#include <utility>

#include <libxml/tree.h>
#include <libxml/xmlmemory.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include "StandardStreams.h"
#include "XmlErrors.h"

namespace {

struct XPathParserContextDeleter {
    void operator()(xmlXPathParserContext *context) const noexcept { xmlXPathFreeParserContext(context); }
};
using XmlXPathParserContext = std::unique_ptr<xmlXPathParserContext, XPathParserContextDeleter>;

// The steps of xmlXPathEvalExpression, which in libxml2 2.9 releases its own state twice when there is no
// memory for its stack. So the stack is there before.
XmlXPathObject evaluate(xmlXPathContext &context, const std::string &xpath) {
    constexpr int firstStackSize = 10; // it grows
    const XmlXPathErrors errors(context);
    const XmlXPathParserContext parser(
        xmlXPathNewParserContext(reinterpret_cast<const xmlChar *>(xpath.c_str()), &context));
    if (!parser)
        throw std::bad_alloc();
    parser->valueTab =
        static_cast<xmlXPathObjectPtr *>(xmlMalloc(firstStackSize * sizeof(xmlXPathObjectPtr)));
    if (!parser->valueTab)
        throw std::bad_alloc();
    parser->valueMax = firstStackSize;
    xmlXPathEvalExpr(parser.get());
    XmlXPathObject result(parser->error == XPATH_EXPRESSION_OK ? valuePop(parser.get()) : nullptr);
    errors.throwWithoutMemory();
    return result;
}

} // namespace

void XPathContextDeleter::operator()(xmlXPathContext *context) const noexcept {
    xmlXPathFreeContext(context);
}

void XPathObjectDeleter::operator()(xmlXPathObject *object) const noexcept {
    xmlXPathFreeObject(object);
}

XmlXPathContext makeXPathContext(xmlDoc *document) {
    const XmlErrors errors;
    XmlXPathContext context(xmlXPathNewContext(document));
    if (!context)
        printError("Error: unable to create new XPath context\n");
    return context;
}

XmlXPathObject evaluateXPath(xmlXPathContext &context, const char *xpath) {
    XmlXPathObject result = evaluate(context, xpath);
    // libxml2's quick way for simple paths finds nothing when it has no memory, and does not tell.
    // Parentheses make it take the other one.
    const bool isEmpty =
        result && result->type == XPATH_NODESET && xmlXPathNodeSetIsEmpty(result->nodesetval);
    return isEmpty && context.doc ? evaluate(context, "(" + std::string(xpath) + ")") : std::move(result);
}

void printEvaluationError(const char *xpath) {
    printError("Error: unable to evaluate xpath expression \"%s\"\n", xpath);
}

SelectedNodes::SelectedNodes(XmlXPathObject result)
    : m_result(std::move(result)) {
}

SelectedNodes SelectedNodes::of(xmlDoc *document, const std::string &xpath) {
    const XmlXPathContext context = makeXPathContext(document);
    SelectedNodes nodes(context ? evaluateXPath(*context, xpath.c_str()) : nullptr);
    nodes.m_areKnown = context != nullptr;
    // The type decides: libxml2 leaves out the set itself of some results that are only empty.
    if (nodes.m_result && nodes.m_result->type != XPATH_NODESET)
        printEvaluationError(xpath.c_str());
    return nodes;
}

std::size_t SelectedNodes::size() const {
    return set() ? static_cast<std::size_t>(set()->nodeNr) : 0;
}

xmlNode **SelectedNodes::begin() const {
    return set() ? set()->nodeTab : nullptr;
}

xmlNode *SelectedNodes::singleElement() const {
    xmlNode *node = single();
    return node && node->type == XML_ELEMENT_NODE ? node : nullptr;
}

const xmlNodeSet *SelectedNodes::set() const {
    return m_result ? m_result->nodesetval : nullptr;
}
