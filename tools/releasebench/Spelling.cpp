#include "Spelling.h"

#include <algorithm>
#include <cstddef>

#include <boost/algorithm/string/case_conv.hpp>

namespace {

// How many letters have to be added, taken away, changed or exchanged with their neighbour.
std::size_t mistakesBetween(const std::string &left, const std::string &right) {
    std::vector<std::vector<std::size_t>> mistakes(left.size() + 1,
                                                   std::vector<std::size_t>(right.size() + 1));
    for (std::size_t i = 0; i <= left.size(); ++i) {
        for (std::size_t k = 0; k <= right.size(); ++k) {
            if (i == 0 || k == 0) {
                mistakes[i][k] = i + k;
                continue;
            }
            const std::size_t changed = mistakes[i - 1][k - 1] + (left[i - 1] == right[k - 1] ? 0 : 1);
            mistakes[i][k] = std::min({changed, mistakes[i - 1][k] + 1, mistakes[i][k - 1] + 1});
            if (i > 1 && k > 1 && left[i - 1] == right[k - 2] && left[i - 2] == right[k - 1])
                mistakes[i][k] = std::min(mistakes[i][k], mistakes[i - 2][k - 2] + 1);
        }
    }
    return mistakes[left.size()][right.size()];
}

} // namespace

std::string probablyMeant(const std::string &name, const std::vector<std::string> &names) {
    constexpr std::size_t longest = 64; // no name of a catalog comes near
    if (name.size() > longest)
        return "";
    const std::string lower = boost::algorithm::to_lower_copy(name);
    std::string meant;
    std::size_t fewest = 3;
    for (const std::string &candidate : names) {
        const std::size_t mistakes = mistakesBetween(lower, boost::algorithm::to_lower_copy(candidate));
        // Half of a short name is another name.
        if (mistakes < fewest && mistakes * 3 <= candidate.size()) {
            fewest = mistakes;
            meant = candidate;
        }
    }
    return meant;
}
