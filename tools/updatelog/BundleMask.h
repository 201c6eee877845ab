// Keeps what names a customer out of what goes to support: affiliate ids and licence values.
//
// Values are known by the names behind which they stand, in configurations, requests, replies, URLs and the
// log. Wherever else a known value stands, it is masked too: one that no number or version looks like in any
// text, any other as a folder of a path or URL only. The same value gets the same mask everywhere, so that
// paths and URLs still fit each other.
#pragma once

#include <cstddef>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

struct MaskCount {
    std::size_t affiliates = 0;
    std::size_t licences = 0;

    std::size_t all() const { return affiliates + licences; }
};

class BundleMask {
public:
    static const std::string affiliate; // what stands there instead
    static const std::string licence;

    // Learns the values that a text names. To be called for all texts before any is masked.
    void learn(const std::string &text);
    // The text without them; counts what was masked.
    std::string masked(const std::string &text, MaskCount &count) const;

private:
    enum class Kind { affiliate, licence };
    struct Named {
        std::size_t begin;
        std::size_t end;
        Kind kind;
    };

    static std::vector<Named> namedIn(std::string_view text);
    std::string withoutKnown(const std::string &text, MaskCount &count) const;
    // Of the longest known value that begins there; 0 for none.
    std::size_t knownAt(std::string_view text, std::size_t begin, Kind &kind) const;
    static void append(std::string &text, Kind kind, MaskCount &count);

    std::unordered_map<std::string, Kind> m_known;
    std::set<std::size_t, std::greater<>> m_lengths; // of known values
};
