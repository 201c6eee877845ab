#include "XmlBounds.h"

#include <cstring>

#include <libxml/SAX2.h>
#include <libxml/dict.h>
#include <libxml/hash.h>
#include <libxml/parser.h>

namespace {

// As long as the longest reply that is taken.
constexpr std::size_t mostBytes = 128U << 20U;
// Of one element. The parser's array of them is doubled when it is full, so that half as many pass for
// certain.
constexpr int mostAttributes = 200;
constexpr int valuesPerAttribute = 5;
// In scope at once.
constexpr int mostNamespaces = 256;
constexpr int valuesPerNamespace = 2;
// Different names of elements, attributes and entities, and identifiers of elements.
constexpr int mostNames = 150'000;
// Each element is searched for all that are declared.
constexpr int mostDeclaredAttributes = 32;
// Of declarations that are no entities' (a list of values is compared value by value), and of entities that
// hold markup or declarations: the parser reads these at once and asks for no block meanwhile.
constexpr std::size_t mostDeclarationBytes = 64U << 10U;

std::size_t lengthOf(const xmlChar *text) noexcept {
    return text ? std::strlen(reinterpret_cast<const char *>(text)) : 0;
}

bool isReadAsMarkup(int entityType, const xmlChar *content) noexcept {
    return entityType == XML_INTERNAL_PARAMETER_ENTITY || (content && xmlStrchr(content, '<'));
}

} // namespace

struct XmlBounds::Hooks {
    static XmlBounds &of(void *parser) noexcept {
        return *static_cast<XmlBounds *>(static_cast<xmlParserCtxt *>(parser)->_private);
    }

    static void declareAttribute(void *parser, const xmlChar *element, const xmlChar *name, int type,
                                 int defaultType, const xmlChar *value, xmlEnumeration *values) noexcept {
        XmlBounds &bounds = of(parser);
        if (++bounds.m_attributes > mostDeclaredAttributes)
            bounds.m_areExceeded = true;
        xmlSAX2AttributeDecl(parser, element, name, type, defaultType, value, values);
    }

    static void declareEntity(void *parser, const xmlChar *name, int type, const xmlChar *publicId,
                              const xmlChar *systemId, xmlChar *content) noexcept {
        XmlBounds &bounds = of(parser);
        bounds.m_declarationBytes = 0;
        // One that is refused is not declared, so that no reference leads to it.
        if (!isReadAsMarkup(type, content) || bounds.takeFromAllowance(1 + lengthOf(content)))
            xmlSAX2EntityDecl(parser, name, type, publicId, systemId, content);
    }

    // Lifts the limit of one text and none of the others that the option lifts.
    static void characters(void *parser, const xmlChar *text, int length) noexcept {
        auto &context = *static_cast<xmlParserCtxt *>(parser);
        const int options = context.options;
        context.options |= XML_PARSE_HUGE;
        xmlSAX2Characters(parser, text, length);
        context.options = options;
    }

    static xmlEntity *parameterEntity(void *parser, const xmlChar *name) noexcept {
        xmlEntity *entity = xmlSAX2GetParameterEntity(parser, name);
        return entity && of(parser).takeFromAllowance(1 + lengthOf(entity->content)) ? entity : nullptr;
    }
};

XmlBounds::XmlBounds(xmlParserCtxt &parser, XmlTexts texts) noexcept
    : m_parser(parser)
    , m_allowance(mostDeclarationBytes) {
    m_parser._private = this;
    m_parser.sax->attributeDecl = Hooks::declareAttribute;
    m_parser.sax->entityDecl = Hooks::declareEntity;
    m_parser.sax->getParameterEntity = Hooks::parameterEntity;
    if (texts == XmlTexts::unlimited)
        m_parser.sax->characters = Hooks::characters;
}

bool XmlBounds::mayRead() noexcept {
    m_areExceeded = m_areExceeded || !isWithin();
    return !m_areExceeded;
}

void XmlBounds::hasRead(std::size_t count) noexcept {
    m_bytes += count;
    const bool inDeclaration = m_parser.inSubset == 1 && m_parser.instate == XML_PARSER_DTD;
    m_declarationBytes = inDeclaration ? m_declarationBytes + count : 0;
}

bool XmlBounds::isWithin() const noexcept {
    const bool hasIds = m_parser.myDoc && m_parser.myDoc->ids;
    const int ids = hasIds ? xmlHashSize(static_cast<xmlHashTable *>(m_parser.myDoc->ids)) : 0;
    return m_bytes <= mostBytes && m_declarationBytes <= mostDeclarationBytes &&
           m_parser.maxatts <= mostAttributes * valuesPerAttribute &&
           m_parser.nsNr <= mostNamespaces * valuesPerNamespace && xmlDictSize(m_parser.dict) <= mostNames &&
           ids <= mostNames;
}

bool XmlBounds::takeFromAllowance(std::size_t count) noexcept {
    if (count > m_allowance)
        m_areExceeded = true;
    else
        m_allowance -= count;
    return !m_areExceeded;
}
