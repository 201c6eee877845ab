#include "TextFinder.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

// The automaton of Aho and Corasick: a tree of what the texts begin with, in which every node leads to the
// longest beginning that fits when the next byte does not.

TextFinder::TextFinder(const std::vector<std::string_view> &texts) {
    m_ends.reserve(texts.size());
    for (const std::string_view text : texts) {
        Index node = root;
        for (const char byte : text) {
            const Index child = childOf(node, byte);
            node = child != root ? child : addChild(node, byte);
        }
        m_nodes[node].text = std::min(m_nodes[node].text, m_ends.size());
        m_ends.push_back(node);
    }
    // Shorter ones before longer ones, which refer to them.
    std::vector<Index> byLength{root};
    byLength.reserve(m_nodes.size());
    for (std::size_t i = 0; i < byLength.size(); ++i) {
        for (Index child = m_nodes[byLength[i]].child; child != root; child = m_nodes[child].sibling) {
            join(byLength[i], child);
            byLength.push_back(child);
        }
    }
}

std::size_t TextFinder::firstWithin(std::string_view searched) const {
    Index node = root;
    std::size_t first = m_nodes[node].text;
    for (const char byte : searched) {
        node = step(node, byte);
        first = std::min(first, m_nodes[node].text);
    }
    return first;
}

std::vector<std::size_t> TextFinder::firstHolders(const std::vector<std::string_view> &searched) const {
    std::vector<std::size_t> holders(m_nodes.size(), none);
    std::size_t missing = m_nodes.size();
    for (std::size_t i = 0; i < searched.size() && missing != 0; ++i) {
        // What a beginning that was met before ends with was met with it.
        const auto meet = [&](Index node) {
            for (; holders[node] == none; node = m_nodes[node].shorter) {
                holders[node] = i;
                --missing;
            }
        };
        Index node = root;
        meet(node);
        for (const char byte : searched[i]) {
            node = step(node, byte);
            meet(node);
        }
    }
    std::vector<std::size_t> holdersOfTexts;
    holdersOfTexts.reserve(m_ends.size());
    for (const Index end : m_ends)
        holdersOfTexts.push_back(holders[end]);
    return holdersOfTexts;
}

TextFinder::Index TextFinder::childOf(Index node, char byte) const noexcept {
    Index child = m_nodes[node].child;
    while (child != root && m_nodes[child].last != byte)
        child = m_nodes[child].sibling;
    return child;
}

TextFinder::Index TextFinder::addChild(Index node, char byte) {
    if (m_nodes.size() > std::numeric_limits<Index>::max())
        throw std::length_error("more text than can be looked for at once");
    const auto child = static_cast<Index>(m_nodes.size());
    m_nodes.push_back({byte, root, m_nodes[node].child});
    m_nodes[node].child = child;
    return child;
}

void TextFinder::join(Index parent, Index child) noexcept {
    Node &joined = m_nodes[child];
    if (parent != root)
        joined.shorter = step(m_nodes[parent].shorter, joined.last);
    joined.text = std::min(joined.text, m_nodes[joined.shorter].text);
}

TextFinder::Index TextFinder::step(Index node, char byte) const noexcept {
    Index child = childOf(node, byte);
    while (child == root && node != root) {
        node = m_nodes[node].shorter;
        child = childOf(node, byte);
    }
    return child;
}
