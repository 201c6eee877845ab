#include "XmlText.h"

#include <cstring>

#include <libxml/parserInternals.h>
#include <libxml/tree.h>

namespace {

const xmlChar *toXml(const std::string &text) {
    return reinterpret_cast<const xmlChar *>(text.c_str());
}

// A text that libxml2 had no memory for is null.
const char *fromXml(const xmlChar *text) {
    return text ? reinterpret_cast<const char *>(text) : "";
}

// xmlNodeIsText leaves out marked sections.
bool isText(const xmlNode *node) {
    return node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE;
}

const xmlNode *contentOfEntity(const xmlNode *reference) {
    const xmlEntity *entity = xmlGetDocEntity(reference->doc, reference->name);
    return entity ? entity->children : nullptr;
}

} // namespace

const xmlNode *firstChild(const xmlNode *node) {
    return node->type == XML_NAMESPACE_DECL ? nullptr : node->children;
}

std::string textOf(const xmlNode *node) {
    const xmlNode *child = firstChild(node);
    return child && isText(child) ? fromXml(child->content) : "";
}

// The allowance is what the parser takes for one text at most.
TextJoiner::TextJoiner()
    : m_allowance(XML_MAX_TEXT_LENGTH) {
}

std::optional<std::string> TextJoiner::attributeOf(const xmlNode *node, const std::string &name) {
    const xmlAttr *attribute = xmlHasProp(node, toXml(name));
    if (!attribute)
        return std::nullopt;
    if (attribute->type == XML_ATTRIBUTE_DECL)
        return fromXml(reinterpret_cast<const xmlAttribute *>(attribute)->defaultValue);
    return join(attribute->children).value_or("");
}

std::optional<std::string> TextJoiner::textOfChild(const xmlNode *node, const std::string &name) {
    const xmlNode *child = firstChild(node);
    while (child && !xmlStrEqual(child->name, toXml(name)))
        child = child->next;
    // Only elements have text below them: below a reference hangs the declaration of its entity.
    return child && child->type == XML_ELEMENT_NODE ? join(child->children) : std::nullopt;
}

std::optional<std::string> TextJoiner::join(const xmlNode *list) {
    std::optional<std::string> joined;
    append(list, joined, false);
    return joined;
}

// The parser refuses entities nested more than 40 deep, so this recursion is shallow.
void TextJoiner::append(const xmlNode *list, std::optional<std::string> &joined, bool inEntity) {
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

bool TextJoiner::takeFromAllowance(const char *text) {
    const std::size_t cost = 1 + (text ? std::strlen(text) : 0);
    const bool enough = cost <= m_allowance;
    m_allowance = enough ? m_allowance - cost : 0;
    return enough;
}
