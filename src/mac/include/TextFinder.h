#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

// Finds many texts within others, all at once. Whatever the texts are, a search takes time that grows with
// the length of what is searched, not with the number or the lengths of the texts; an empty text is in every
// other. The texts need not outlive the construction. Every operation may be called by any thread.
class TextFinder {
public:
    static constexpr std::size_t none = static_cast<std::size_t>(-1);

    TextFinder() = default;
    // Takes two dozen bytes of memory for a byte of a text that no other one begins with as well.
    explicit TextFinder(const std::vector<std::string_view> &texts);

    // The index of the first of the texts that is in the one searched.
    std::size_t firstWithin(std::string_view searched) const;
    // For each text the index of the first one searched that it is in.
    std::vector<std::size_t> firstHolders(const std::vector<std::string_view> &searched) const;

private:
    using Index = std::uint32_t;
    static constexpr Index root = 0;

    // What the texts begin with, each beginning once.
    struct Node {
        char last = 0; // byte
        Index child = root;
        Index sibling = root;
        // The longest other beginning that this one ends with.
        Index shorter = root;
        // The first text that this beginning ends with.
        std::size_t text = none;
    };

    Index childOf(Index node, char byte) const noexcept;
    Index addChild(Index node, char byte);
    void join(Index parent, Index child) noexcept;
    // The longest beginning at the end of a text, one byte further on.
    Index step(Index node, char byte) const noexcept;

    std::vector<Node> m_nodes{Node()};
    std::vector<Index> m_ends; // of each text
};
