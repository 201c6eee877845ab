// A parsed document's elements and attributes in plain strings.
#pragma once

#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <libxml/parser.h>
#include <libxml/tree.h>

struct FreeDocument {
    void operator()(xmlDoc *document) const noexcept { xmlFreeDoc(document); }
};
using Document = std::unique_ptr<xmlDoc, FreeDocument>;

struct FreeText {
    void operator()(xmlChar *text) const noexcept { xmlFree(text); }
};
using Text = std::unique_ptr<xmlChar, FreeText>;

inline const xmlChar *xml(const char *text) {
    return reinterpret_cast<const xmlChar *>(text);
}
inline const xmlChar *xml(const std::string &text) {
    return xml(text.c_str());
}

inline std::string plain(const Text &text) {
    return text ? std::string(reinterpret_cast<const char *>(text.get())) : std::string();
}

inline Document parse(const std::string &text) {
    if (text.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        return nullptr;
    }
    return Document(xmlReadMemory(text.data(), static_cast<int>(text.size()), "", nullptr,
                                  XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
}

inline bool isNamed(const xmlNode *node, const char *name) {
    return node->type == XML_ELEMENT_NODE && xmlStrEqual(node->name, xml(name)) == 1;
}

inline std::vector<xmlNode *> children(const xmlNode *parent, const char *name) {
    std::vector<xmlNode *> found;
    for (xmlNode *node = parent ? parent->children : nullptr; node; node = node->next) {
        if (isNamed(node, name)) {
            found.push_back(node);
        }
    }
    return found;
}

inline xmlNode *child(const xmlNode *parent, const char *name) {
    const auto found = children(parent, name);
    return found.empty() ? nullptr : found.front();
}

inline std::string attribute(const xmlNode *node, const char *name, const char *fallback = "") {
    const Text value(xmlGetProp(node, xml(name)));
    return value ? plain(value) : fallback;
}
