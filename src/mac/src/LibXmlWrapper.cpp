// The assertions guard against edits that would damage a file, so release builds keep them too.
#undef NDEBUG

#include "LibXmlWrapper.h"

#include <cassert>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <optional>
#include <utility>

#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>
#include <libxml/xmlsave.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include "File.h"
#include "ReplaceFile.h"

namespace {

struct XPathContextDeleter {
    void operator()(xmlXPathContext *context) const noexcept { xmlXPathFreeContext(context); }
};
using XmlXPathContext = std::unique_ptr<xmlXPathContext, XPathContextDeleter>;

struct XPathObjectDeleter {
    void operator()(xmlXPathObject *object) const noexcept { xmlXPathFreeObject(object); }
};
using XmlXPathObject = std::unique_ptr<xmlXPathObject, XPathObjectDeleter>;

struct XmlTextDeleter {
    void operator()(xmlChar *text) const noexcept { xmlFree(text); }
};
using XmlText = std::unique_ptr<xmlChar, XmlTextDeleter>;

struct XmlBufferDeleter {
    void operator()(xmlBuffer *buffer) const noexcept { xmlBufferFree(buffer); }
};
using XmlBuffer = std::unique_ptr<xmlBuffer, XmlBufferDeleter>;

// Keeps libxml2's own messages off standard error while it lives. libxml2 has this handler per thread, so
// other threads keep theirs.
class QuietLibrary {
public:
    QuietLibrary() noexcept { xmlSetGenericErrorFunc(nullptr, ignoreMessage); }
    ~QuietLibrary() { xmlSetGenericErrorFunc(m_context, m_handler); }
    QuietLibrary(const QuietLibrary &) = delete;
    QuietLibrary(QuietLibrary &&) = delete;
    QuietLibrary &operator=(const QuietLibrary &) = delete;
    QuietLibrary &operator=(QuietLibrary &&) = delete;

private:
    static void ignoreMessage(void *, const char *, ...) noexcept {}

    const xmlGenericErrorFunc m_handler = xmlGenericError;
    void *const m_context = xmlGenericErrorContext;
};

// A diagnostic that cannot be written is lost: there is nowhere else to tell it.
__attribute__((format(printf, 1, 2))) void printError(const char *format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    static_cast<void>(std::vfprintf(stderr, format, arguments));
    va_end(arguments);
}

const xmlChar *toXml(const char *text) {
    return reinterpret_cast<const xmlChar *>(text);
}
const xmlChar *toXml(const std::string &text) {
    return toXml(text.c_str());
}
const char *fromXml(const xmlChar *text) {
    return reinterpret_cast<const char *>(text);
}

// Files are opened here and not by libxml2, which takes "-", URLs and percent signs in a name for more than a
// name and would read or write something else.
XmlDoc parseFile(const char *fileName) {
    const QuietLibrary quiet;
    const File file(std::fopen(fileName, "rb"));
    XmlDoc document(file ? xmlReadFd(fileno(file.get()), fileName, nullptr, XML_PARSE_NONET) : nullptr);
    if (!document)
        printError("Error: unable to parse file \"%s\"\n", fileName);
    return document;
}

XmlDoc parseMemory(const char *buffer, unsigned long size) {
    if (size > INT_MAX)
        return nullptr;
    const QuietLibrary quiet;
    return XmlDoc(xmlReadMemory(buffer, static_cast<int>(size), nullptr, nullptr, XML_PARSE_NONET));
}

// What libxml2 writes, gathered before any file is touched.
struct Serialised {
    std::string bytes;
    bool isWhole = true;
};

int append(void *serialised, const char *bytes, int count) noexcept {
    auto &target = *static_cast<Serialised *>(serialised);
    try {
        target.bytes.append(bytes, static_cast<std::size_t>(count));
        return count;
    } catch (...) {
        target.isWhole = false;
        return -1;
    }
}

// None without a document and when it could not be written whole.
std::optional<std::string> serialise(xmlDoc *document, const char *encoding, int format) {
    if (!document)
        return std::nullopt;
    const QuietLibrary quiet;
    xmlCharEncodingHandler *encoder = encoding ? xmlFindCharEncodingHandler(encoding) : nullptr;
    Serialised result;
    xmlOutputBuffer *output = xmlOutputBufferCreateIO(append, nullptr, &result, encoder);
    // An encoding that cannot be had is not named either. This releases the output as well.
    const int written = xmlSaveFormatFileTo(output, document, encoder ? encoding : nullptr, format);
    if (written < 0 || !result.isWhole)
        return std::nullopt;
    return std::move(result.bytes);
}

// The number of bytes written, or -1. Without a document the file is not touched.
int saveFormatted(xmlDoc *document, const std::string &fileName) {
    const std::optional<std::string> bytes = serialise(document, "UTF-8", 1);
    return bytes && rewriteFile(fileName, *bytes) ? static_cast<int>(bytes->size()) : -1;
}

XmlXPathContext makeContext(xmlDoc *document) {
    const QuietLibrary quiet;
    XmlXPathContext context(xmlXPathNewContext(document));
    if (!context)
        printError("Error: unable to create new XPath context\n");
    return context;
}

XmlXPathObject evaluate(xmlXPathContext &context, const char *xpath) {
    const QuietLibrary quiet;
    return XmlXPathObject(xmlXPathEvalExpression(toXml(xpath), &context));
}

void printEvaluationError(const char *xpath) {
    printError("Error: unable to evaluate xpath expression \"%s\"\n", xpath);
}

// The nodes of a result. Its namespace nodes belong to it, all others to the document.
class SelectedNodes {
public:
    explicit SelectedNodes(XmlXPathObject result)
        : m_result(std::move(result)) {}

    std::size_t size() const { return set() ? static_cast<std::size_t>(set()->nodeNr) : 0; }
    xmlNode **begin() const { return set() ? set()->nodeTab : nullptr; }
    xmlNode **end() const { return begin() + size(); }
    // The node when there is just one, else null.
    xmlNode *single() const { return size() == 1 ? *begin() : nullptr; }

private:
    const xmlNodeSet *set() const { return m_result ? m_result->nodesetval : nullptr; }

    XmlXPathObject m_result;
};

SelectedNodes select(xmlDoc *document, const std::string &xpath) {
    const XmlXPathContext context = makeContext(document);
    XmlXPathObject result = context ? evaluate(*context, xpath.c_str()) : nullptr;
    // The type decides: libxml2 leaves out the set itself of some results that are only empty.
    if (result && result->type != XPATH_NODESET)
        printEvaluationError(xpath.c_str());
    return SelectedNodes(std::move(result));
}

xmlNode *selectSingleElement(xmlDoc *document, const std::string &xpath) {
    const SelectedNodes nodes = select(document, xpath);
    xmlNode *node = nodes.single();
    return node && node->type == XML_ELEMENT_NODE ? node : nullptr;
}

// A namespace node has nothing but its type in common with other nodes.
const xmlNode *firstChild(const xmlNode *node) {
    return node->type == XML_NAMESPACE_DECL ? nullptr : node->children;
}

// xmlNodeIsText leaves out marked sections.
bool isText(const xmlNode *node) {
    return node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE;
}

std::string textOf(const xmlNode *node) {
    const xmlNode *child = firstChild(node);
    return child && isText(child) ? fromXml(child->content) : "";
}

// Joins the texts of lists of nodes for one query, their entities substituted. libxml2's own operation takes
// time quadratic in the number of texts and knows no limit, so a small document with many references to one
// long entity would fill the memory.
class TextJoiner {
public:
    // Nothing when the list holds no text.
    std::optional<std::string> join(const xmlNode *list) {
        std::optional<std::string> joined;
        append(list, joined, false);
        return joined;
    }

private:
    // The parser refuses entities nested more than 40 deep, so this recursion is shallow.
    void append(const xmlNode *list, std::optional<std::string> &joined, bool inEntity) {
        for (const xmlNode *node = list; node; node = node->next) {
            const char *text = isText(node) ? fromXml(node->content) : nullptr;
            if (inEntity && !takeFromAllowance(text))
                return;
            if (text)
                (joined ? *joined : joined.emplace()).append(text);
            if (node->type == XML_ENTITY_REF_NODE && m_allowance > 0)
                append(contentOfEntity(node), joined, true);
        }
    }

    static const xmlNode *contentOfEntity(const xmlNode *reference) {
        const xmlEntity *entity = xmlGetDocEntity(reference->doc, reference->name);
        return entity ? entity->children : nullptr;
    }

    bool takeFromAllowance(const char *text) {
        const std::size_t cost = 1 + (text ? std::strlen(text) : 0);
        const bool enough = cost <= m_allowance;
        m_allowance = enough ? m_allowance - cost : 0;
        return enough;
    }

    // What one query takes from entities, in nodes and bytes; the rest is left out. It is what the parser
    // takes for one text at most.
    std::size_t m_allowance = XML_MAX_TEXT_LENGTH;
};

// Nothing when the node is not an element or has no such attribute, not even by its document type.
std::optional<std::string> attributeOf(const xmlNode *node, const std::string &name, TextJoiner &texts) {
    const xmlAttr *attribute = xmlHasProp(node, toXml(name));
    if (!attribute)
        return std::nullopt;
    if (attribute->type == XML_ATTRIBUTE_DECL)
        return fromXml(reinterpret_cast<const xmlAttribute *>(attribute)->defaultValue);
    return texts.join(attribute->children).value_or("");
}

std::optional<std::string> textOfChild(const xmlNode *node, const std::string &name, TextJoiner &texts) {
    const xmlNode *child = firstChild(node);
    while (child && !xmlStrEqual(child->name, toXml(name)))
        child = child->next;
    // Only elements have text below them: below a reference hangs the declaration of its entity.
    return child && child->type == XML_ELEMENT_NODE ? texts.join(child->children) : std::nullopt;
}

std::string markupOf(xmlDoc *document, xmlNode *node) {
    const XmlBuffer buffer(xmlBufferCreate());
    // A namespace node has no markup of its own.
    if (!buffer || node->type == XML_NAMESPACE_DECL || xmlNodeDump(buffer.get(), document, node, 0, 0) < 0)
        return "";
    return fromXml(xmlBufferContent(buffer.get()));
}

bool addTextChild(xmlNode *parent, const std::string &name, const std::string &content) {
    const QuietLibrary quiet;
    // An empty text would be saved as a pair of tags instead of an empty element.
    const xmlChar *text = content.empty() ? nullptr : toXml(content);
    return xmlNewTextChild(parent, nullptr, toXml(name), text) != nullptr;
}

} // namespace

void XmlDocDeleter::operator()(xmlDoc *document) const noexcept {
    xmlFreeDoc(document);
}

LibXmlWrapper::LibXmlWrapper(const std::string &fileName)
    : m_fileName(fileName)
    , m_document(parseFile(fileName.c_str())) {
}

LibXmlWrapper::LibXmlWrapper(const char *buffer, unsigned long size)
    : m_document(parseMemory(buffer, size)) {
}

int LibXmlWrapper::AddNewNode(const std::string &name, const std::string &content) {
    xmlNode *root = xmlDocGetRootElement(m_document.get());
    if (!root || !addTextChild(root, name, content))
        return -1;
    return saveFormatted(m_document.get(), m_fileName);
}

bool LibXmlWrapper::AddNewElementNode(const std::string &xpath, const std::string &name,
                                      const std::string &content) {
    xmlNode *element = selectSingleElement(m_document.get(), xpath);
    return element && addTextChild(element, name, content);
}

bool LibXmlWrapper::setXPathElementAttribute(const std::string &xpath, const std::string &attribute,
                                             const std::string &value) {
    xmlNode *element = selectSingleElement(m_document.get(), xpath);
    const QuietLibrary quiet;
    return element && xmlSetProp(element, toXml(attribute), toXml(value));
}

bool LibXmlWrapper::SaveToFile(const std::string &fileName) {
    // The result is not looked at (kept as shipped).
    static_cast<void>(saveFormatted(m_document.get(), fileName));
    return true;
}

bool LibXmlWrapper::SaveToMemory(std::string &output) {
    const QuietLibrary quiet;
    xmlChar *bytes = nullptr;
    int size = 0;
    xmlDocDumpFormatMemoryEnc(m_document.get(), &bytes, &size, "UTF-8", 1);
    const XmlText owned(bytes);
    output.assign(bytes ? fromXml(bytes) : "", static_cast<std::size_t>(size));
    return true;
}

int LibXmlWrapper::UpdateNodeWithValue(const char *filename, const char *xpathExpr, const char *value) {
    assert(filename);
    assert(xpathExpr);
    assert(value);
    const XmlDoc document = parseFile(filename);
    if (!document)
        return -1;
    const XmlXPathContext context = makeContext(document.get());
    if (!context)
        return -1;
    XmlXPathObject result = evaluate(*context, xpathExpr);
    if (!result) {
        printEvaluationError(xpathExpr);
        return -1;
    }
    update_xpath_nodes(result->nodesetval, value);
    result.reset();
    const std::optional<std::string> bytes = serialise(document.get(), fromXml(document->encoding), 0);
    // Neither a failed open nor a failed write is reported (kept as shipped).
    if (bytes)
        static_cast<void>(rewriteFile(filename, *bytes));
    return 0;
}

std::string LibXmlWrapper::getXPathElement(const std::string &xpath) const {
    const SelectedNodes nodes = select(m_document.get(), xpath);
    return nodes.single() ? textOf(nodes.single()) : "";
}

std::string LibXmlWrapper::getXPathStringValue(const std::string &xpath) const {
    return getXPathElement(xpath);
}

bool LibXmlWrapper::isXPathElementExists(const std::string &xpath) const {
    return select(m_document.get(), xpath).single() != nullptr;
}

std::string LibXmlWrapper::getXPathElementAttribute(const std::string &xpath,
                                                    const std::string &attribute) const {
    TextJoiner texts;
    const xmlNode *element = selectSingleElement(m_document.get(), xpath);
    return element ? attributeOf(element, attribute, texts).value_or("") : "";
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
    for (const xmlNode *node : select(m_document.get(), xpath))
        texts.push_back(textOf(node));
    return texts;
}

std::vector<std::string> LibXmlWrapper::getXPathAllOptionalElement(const std::string &xpath,
                                                                   const std::string &child,
                                                                   const std::string &defaultValue) const {
    TextJoiner joiner;
    std::vector<std::string> texts;
    for (const xmlNode *node : select(m_document.get(), xpath))
        texts.push_back(textOfChild(node, child, joiner).value_or(defaultValue));
    return texts;
}

std::vector<std::string> LibXmlWrapper::getPropertyValue(const std::string &xpath,
                                                         const std::string &attribute) const {
    TextJoiner joiner;
    std::vector<std::string> values;
    for (const xmlNode *node : select(m_document.get(), xpath)) {
        std::optional<std::string> value = attributeOf(node, attribute, joiner);
        if (value)
            values.push_back(std::move(*value));
    }
    return values;
}

std::vector<std::string> LibXmlWrapper::getAllElements(const std::string &xpath) const {
    const XmlXPathContext context = makeContext(m_document.get());
    if (!context)
        return {};
    XmlXPathObject result = evaluate(*context, xpath.c_str());
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
        static_cast<void>(std::printf("value is === >>> %s\n", markup.back().c_str()));
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
    const XmlText markup(xmlEncodeSpecialChars(nullptr, toXml(value)));
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
}
