#include "CatalogXml.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <fstream>
#include <iterator>

#include <libxml/parser.h>
#include <libxml/tree.h>

#include "CatalogParser.h"
#include "PlainFile.h"
#include "UnusableInput.h"
#include "XPath.h"

namespace {

struct FreeParser {
    void operator()(xmlParserCtxt *parser) const noexcept { xmlFreeParserCtxt(parser); }
};
using Parser = std::unique_ptr<xmlParserCtxt, FreeParser>;

struct FreeText {
    void operator()(xmlChar *text) const noexcept { xmlFree(text); }
};

const char *plain(const xmlChar *text) {
    return text ? reinterpret_cast<const char *>(text) : "";
}

// What is no file, a pipe say, gives its content once only, and the engine reads it too.
std::string contentOf(const std::string &file) {
    std::ifstream stream(isPlainFile(file) ? file : "", std::ios::binary);
    if (!stream)
        throw UnusableInput(file + ": cannot be read, expected a catalog or a release folder");
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

int lineEndsIn(const xmlNode *text) {
    const char *content = plain(text->content);
    return static_cast<int>(std::count(content, content + std::strlen(content), '\n'));
}

} // namespace

CatalogXml::CatalogXml(const std::string &file) {
    const std::string content = contentOf(file);
    bool isWhole = true;
    m_isReadByEngine = parseXmlFile(file.c_str(), isWhole) != nullptr;
    const Parser parser(xmlNewParserCtxt());
    if (!isWhole || !parser || content.size() > INT_MAX)
        throw UnusableInput(file + ": cannot be read, for want of memory");
    m_document.reset(
        xmlCtxtReadMemory(parser.get(), content.data(), static_cast<int>(content.size()), nullptr, nullptr,
                          XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_BIG_LINES));
    if (m_document) {
        m_hotFixes = elements(keyHotFixPackage);
        return;
    }
    const xmlError *error = xmlCtxtGetLastError(parser.get());
    m_faultLine = error ? std::max(error->line, 1) : 1;
    m_fault = error && error->message ? error->message : "no document";
    m_fault.erase(std::min(m_fault.find_last_not_of('\n') + 1, m_fault.size()));
}

const xmlNode *CatalogXml::root() const {
    return m_document ? xmlDocGetRootElement(m_document.get()) : nullptr;
}

std::vector<xmlNode *> CatalogXml::elements(const std::string &xpath) const {
    const SelectedNodes nodes = SelectedNodes::of(m_document.get(), xpath);
    return {nodes.begin(), nodes.end()};
}

// An element's own number ends at 65535; a text's does not, and tells the line that the text ends on.
int CatalogXml::lineOf(const xmlNode *node) {
    constexpr int lastOwnLine = 65535;
    if (node->line < lastOwnLine)
        return node->line;
    for (const xmlNode *text : {node->children, node->next}) {
        if (text && text->type == XML_TEXT_NODE)
            return static_cast<int>(xmlGetLineNo(text)) - lineEndsIn(text);
    }
    return static_cast<int>(xmlGetLineNo(node));
}

std::string CatalogXml::wholeText(const xmlNode *node) {
    const std::unique_ptr<xmlChar, FreeText> text(xmlNodeGetContent(node));
    return plain(text.get());
}

const xmlNode *CatalogXml::child(const xmlNode *parent, const std::string &name) {
    for (const xmlNode *node = parent ? parent->children : nullptr; node; node = node->next) {
        if (node->type == XML_ELEMENT_NODE && name == plain(node->name))
            return node;
    }
    return nullptr;
}
