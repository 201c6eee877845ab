// Keeps what names a customer out of what goes to support: affiliate ids and licence values.
//
// Values are known by the names behind which they stand, in configurations, requests, replies, URLs and the
// log. Wherever else a known value stands, in small letters or large ones and as markup and URLs write it, it
// is masked too: one that no number or version looks like in any text, any other as a folder of a path or URL
// only. The same value gets the same mask everywhere and another one another, so that paths and URLs still
// fit each other and no two become one.
#pragma once

#include <cstddef>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>

#include "NamedValues.h"

struct MaskCount {
    std::size_t affiliates = 0;
    std::size_t licences = 0;

    std::size_t all() const { return affiliates + licences; }
};

class BundleMask {
public:
    // What stands there instead; for the second of a kind and later ones with "_" and a number.
    static const std::string affiliate;
    static const std::string licence;

    // Learns the values that a text names. To be called for all texts before any is masked.
    void learn(const std::string &text);
    // The text without them; counts what was masked.
    std::string masked(const std::string &text, MaskCount &count) const;

private:
    struct Known {
        SecretKind kind;
        std::string mask;
    };

    void learnValue(std::string_view value, SecretKind kind);
    Known maskOf(std::string_view value, SecretKind kind) const;
    std::string withoutKnown(const std::string &text, MaskCount &count) const;
    // Of the longest known value that begins there, in a text of small letters; 0 for none.
    std::size_t knownAt(std::string_view text, std::size_t begin, const Known *&known) const;
    static const std::string &plainMask(SecretKind kind);
    static void append(std::string &text, const Known &known, MaskCount &count);

    std::unordered_map<std::string, Known> m_known;  // by each form that a value takes
    std::set<std::size_t, std::greater<>> m_lengths; // of these
    std::size_t m_affiliates = 0;
    std::size_t m_licences = 0;
};
