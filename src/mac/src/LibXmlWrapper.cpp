// The assertions guard against edits that would damage a file, so release builds keep them too.
#undef NDEBUG

#include "LibXmlWrapper.h"

#include <cassert>
#include <cerrno>
#include <cstdlib>
#include <exception>
#include <new>
#include <utility>

#include <libxml/entities.h>
#include <libxml/tree.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include "StandardStreams.h"
#include "XPath.h"
#include "XmlErrors.h"
#include "XmlText.h"

namespace {

struct XmlTextDeleter {
    void operator()(xmlChar *text) const noexcept { xmlFree(text); }
};
using XmlText = std::unique_ptr<xmlChar, XmlTextDeleter>;

struct XmlBufferDeleter {
    void operator()(xmlBuffer *buffer) const noexcept { xmlBufferFree(buffer); }
};
using XmlBuffer = std::unique_ptr<xmlBuffer, XmlBufferDeleter>;

struct XmlNodeDeleter {
    void operator()(xmlNode *node) const noexcept {
        xmlUnlinkNode(node);
        xmlFreeNode(node);
    }
};

const xmlChar *toXml(const char *text) {
    return reinterpret_cast<const xmlChar *>(text);
}
const xmlChar *toXml(const std::string &text) {
    return toXml(text.c_str());
}
const char *fromXml(const xmlChar *text) {
    return reinterpret_cast<const char *>(text);
}

// A buffer that there is no memory for is one that cannot be parsed.
XmlDoc parseOrNull(const char *buffer, unsigned long size, bool &isWhole) {
    try {
        return parseXml(buffer, size);
    } catch (const std::bad_alloc &) {
        isWhole = false;
        return nullptr;
    }
}

std::string markupOf(xmlDoc *document, xmlNode *node) {
    // A namespace node has no markup of its own.
    if (node->type == XML_NAMESPACE_DECL)
        return "";
    std::optional<std::string> markup = serialiseXml(document, node);
    if (!markup)
        throw std::bad_alloc();
    return *std::move(markup);
}

// False when there is no memory for the child; the parent is then as it was.
bool addTextChild(xmlNode *parent, const std::string &name, const std::string &content) {
    const XmlErrors errors;
    // An empty text would be saved as a pair of tags instead of an empty element.
    const xmlChar *text = content.empty() ? nullptr : toXml(content);
    std::unique_ptr<xmlNode, XmlNodeDeleter> child(xmlNewTextChild(parent, nullptr, toXml(name), text));
    // It may be there and lack its text.
    if (!child || errors.ranOutOfMemory())
        return false;
    static_cast<void>(child.release()); // the document's
    return true;
}

} // namespace

LibXmlWrapper::LibXmlWrapper(const std::string &fileName)
    : m_fileName(fileName)
    , m_document(parseXmlFile(fileName.c_str(), m_isWhole)) {
}

LibXmlWrapper::LibXmlWrapper(const char *buffer, unsigned long size)
    : m_document(parseOrNull(buffer, size, m_isWhole)) {
}

int LibXmlWrapper::AddNewNode(const std::string &name, const std::string &content) {
    xmlNode *root = xmlDocGetRootElement(m_document.get());
    if (!root || !addTextChild(root, name, content))
        return -1;
    return saveXml(m_document.get(), m_fileName, "UTF-8", XmlForm::indented);
}

bool LibXmlWrapper::AddNewElementNode(const std::string &xpath, const std::string &name,
                                      const std::string &content) {
    xmlNode *element = SelectedNodes::of(m_document.get(), xpath).singleElement();
    return element && addTextChild(element, name, content);
}

bool LibXmlWrapper::setXPathElementAttribute(const std::string &xpath, const std::string &attribute,
                                             const std::string &value) {
    xmlNode *element = SelectedNodes::of(m_document.get(), xpath).singleElement();
    const XmlErrors errors;
    return element && xmlSetProp(element, toXml(attribute), toXml(value)) && !errors.ranOutOfMemory();
}

bool LibXmlWrapper::SaveToFile(const std::string &fileName) {
    // The result is not looked at (kept as shipped).
    static_cast<void>(saveXml(m_document.get(), fileName, "UTF-8", XmlForm::indented));
    return true;
}

bool LibXmlWrapper::SaveToMemory(std::string &output) {
    const XmlErrors errors;
    xmlChar *bytes = nullptr;
    int size = 0;
    xmlDocDumpFormatMemoryEnc(m_document.get(), &bytes, &size, "UTF-8", 1);
    const XmlText owned(bytes);
    errors.throwWithoutMemory();
    output.assign(bytes ? fromXml(bytes) : "", static_cast<std::size_t>(size));
    return true;
}

int LibXmlWrapper::UpdateNodeWithValue(const char *filename, const char *xpathExpr, const char *value) {
    assert(filename);
    assert(xpathExpr);
    assert(value);
    bool isWhole = true; // however it could not be read
    const XmlDoc document = parseXmlFile(filename, isWhole);
    if (!document)
        return -1;
    const XmlXPathContext context = makeXPathContext(document.get());
    if (!context)
        return -1;
    try {
        XmlXPathObject result = evaluateXPath(*context, xpathExpr);
        if (!result) {
            printEvaluationError(xpathExpr);
            return -1;
        }
        update_xpath_nodes(result->nodesetval, value);
    } catch (const std::bad_alloc &) {
        return -1; // the document is half done
    }
    // Neither a failed open nor a failed write is reported (kept as shipped).
    static_cast<void>(saveXml(document.get(), filename, fromXml(document->encoding), XmlForm::asItStands));
    return 0;
}

SelectedNodes LibXmlWrapper::select(const std::string &xpath) const {
    SelectedNodes nodes = SelectedNodes::of(m_document.get(), xpath);
    m_isWhole = m_isWhole && nodes.areKnown();
    return nodes;
}

std::string LibXmlWrapper::getXPathElement(const std::string &xpath) const {
    const SelectedNodes nodes = select(xpath);
    return nodes.single() ? textOf(nodes.single()) : "";
}

std::string LibXmlWrapper::getXPathStringValue(const std::string &xpath) const {
    return getXPathElement(xpath);
}

bool LibXmlWrapper::isXPathElementExists(const std::string &xpath) const {
    return countNodes(xpath) == 1U;
}

std::optional<std::size_t> LibXmlWrapper::countNodes(const std::string &xpath) const {
    const SelectedNodes nodes = select(xpath);
    return nodes.areKnown() ? std::optional(nodes.size()) : std::nullopt;
}

std::string LibXmlWrapper::getXPathElementAttribute(const std::string &xpath,
                                                    const std::string &attribute) const {
    const xmlNode *element = select(xpath).singleElement();
    return element ? TextJoiner().attributeOf(element, attribute).value_or("") : "";
}

bool LibXmlWrapper::getXPathBoolValue(const std::string &xpath) const {
    const std::string text = getXPathElement(xpath);
    if (text.empty())
        throw std::exception();
    return text == "true" || text == "TRUE";
}

unsigned long LibXmlWrapper::getXPathUnsignedLongValue(const std::string &xpath) const {
    const std::string text = getXPathElement(xpath);
    if (text.empty())
        throw std::exception();
    errno = 0;
    const unsigned long number = std::strtoul(text.c_str(), nullptr, 10);
    if (errno != 0)
        throw std::exception();
    return number;
}

std::vector<std::string> LibXmlWrapper::getXPathAllElement(const std::string &xpath) const {
    std::vector<std::string> texts;
    for (const xmlNode *node : select(xpath))
        texts.push_back(textOf(node));
    return texts;
}

std::vector<std::string> LibXmlWrapper::getXPathAllOptionalElement(const std::string &xpath,
                                                                   const std::string &child,
                                                                   const std::string &defaultValue) const {
    TextJoiner joiner;
    std::vector<std::string> texts;
    for (const xmlNode *node : select(xpath))
        texts.push_back(joiner.textOfChild(node, child).value_or(defaultValue));
    return texts;
}

std::vector<std::vector<std::string>>
LibXmlWrapper::getXPathAllOptionalElements(const std::string &xpath, const std::vector<std::string> &children,
                                           const std::string &defaultValue) const {
    std::vector<TextJoiner> joiners(children.size());
    std::vector<std::vector<std::string>> nodes;
    for (const xmlNode *node : select(xpath)) {
        std::vector<std::string> &texts = nodes.emplace_back();
        texts.reserve(children.size());
        for (std::size_t i = 0; i < children.size(); ++i)
            texts.push_back(joiners[i].textOfChild(node, children[i]).value_or(defaultValue));
    }
    return nodes;
}

std::vector<std::string> LibXmlWrapper::getPropertyValue(const std::string &xpath,
                                                         const std::string &attribute) const {
    TextJoiner joiner;
    std::vector<std::string> values;
    for (const xmlNode *node : select(xpath)) {
        std::optional<std::string> value = joiner.attributeOf(node, attribute);
        if (value)
            values.push_back(std::move(*value));
    }
    return values;
}

std::vector<std::string> LibXmlWrapper::getAllElements(const std::string &xpath) const {
    const XmlXPathContext context = makeXPathContext(m_document.get());
    if (!context) {
        m_isWhole = false;
        return {};
    }
    XmlXPathObject result = evaluateXPath(*context, xpath.c_str());
    if (!result) {
        printError("Error in xmlXPathEvalExpression\n");
        return {};
    }
    const SelectedNodes nodes(std::move(result));
    if (nodes.size() == 0) {
        printError("No result\n");
        return {};
    }
    std::vector<std::string> markup;
    for (xmlNode *node : nodes) {
        markup.push_back(markupOf(m_document.get(), node));
        printOutput("value is === >>> %s\n", markup.back().c_str());
    }
    return markup;
}

xmlNode *LibXmlWrapper::PrintRootElement() const {
    xmlNode *root = xmlDocGetRootElement(m_document.get());
    if (!root)
        printError("Empty Document\n");
    return root;
}

void LibXmlWrapper::PrintChildrenName(xmlNode *node) const {
    const xmlNode *parent = node ? node : xmlDocGetRootElement(m_document.get());
    const xmlNode *child = parent ? firstChild(parent) : nullptr;
    while (child)
        child = child->next;
}

void LibXmlWrapper::update_xpath_nodes(xmlNodeSet *nodes, const char *value) {
    assert(value);
    const XmlErrors errors;
    const XmlText markup(xmlEncodeSpecialChars(nullptr, toXml(value)));
    errors.throwWithoutMemory();
    // From the last node to the first: setting a node's content removes what is below it, which stands later.
    for (int i = nodes ? nodes->nodeNr - 1 : -1; i >= 0; --i) {
        assert(nodes->nodeTab[i]);
        xmlNode *node = nodes->nodeTab[i];
        // The set must not look at this node again: its removal may be next.
        nodes->nodeTab[i] = nullptr;
        if (node->type == XML_NAMESPACE_DECL) {
            // It has no content and belongs to the set, whose release would look at the element it stands on.
            xmlXPathNodeSetFreeNs(reinterpret_cast<xmlNs *>(node));
            continue;
        }
        // libxml2 reads the content of elements and attributes as markup, that of all others as text.
        const bool isMarkup = node->type == XML_ELEMENT_NODE || node->type == XML_ATTRIBUTE_NODE;
        xmlNodeSetContent(node, isMarkup ? markup.get() : toXml(value));
    }
    errors.throwWithoutMemory();
}
