// The texts of libxml2's nodes in plain strings.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

struct _xmlNode;

// The text directly at the node's start; "" when it starts with anything else.
std::string textOf(const _xmlNode *node);

// The node's first child; none for namespace nodes, which have nothing but their type in common with others.
const _xmlNode *firstChild(const _xmlNode *node);

// Joins the texts of lists of nodes for one query, their entities substituted. libxml2's own operation takes
// time quadratic in the number of texts and knows no limit, so a small document with many references to one
// long entity would fill the memory.
class TextJoiner {
public:
    TextJoiner();

    // An attribute's text; nothing when the node is not an element or has no such attribute, not even by its
    // document type.
    std::optional<std::string> attributeOf(const _xmlNode *node, const std::string &name);
    // The text below the first child of that name; nothing without such an element or without text in it.
    std::optional<std::string> textOfChild(const _xmlNode *node, const std::string &name);

private:
    std::optional<std::string> join(const _xmlNode *list);
    void append(const _xmlNode *list, std::optional<std::string> &joined, bool inEntity);
    bool takeFromAllowance(const char *text);

    // What one query takes from entities, in nodes and bytes; the rest is left out.
    std::size_t m_allowance;
};
