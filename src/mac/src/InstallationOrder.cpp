#include "InstallationOrder.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <string_view>
#include <utility>

#include <boost/algorithm/string/case_conv.hpp>

#include "Text.h"
#include "Version.h"

namespace {

std::string &at(std::vector<std::string> &paths, int index) {
    return paths[static_cast<std::size_t>(index)];
}

bool hasLowerVersion(const std::string &left, const std::string &right) {
    return isGreaterVersion(hotFixVersionOf(right), hotFixVersionOf(left));
}

// Sorts in n log n for every input, and more slowly than splitting does for most.
void heapSort(std::vector<std::string> &paths, int first, int last) {
    const auto begin = paths.begin() + first;
    const auto end = paths.begin() + last + 1;
    std::make_heap(begin, end, hasLowerVersion);
    std::sort_heap(begin, end, hasLowerVersion);
}

// Splits until there is nothing left to split or the depth is used up: splits that leave most paths on one
// side again and again would take n * n comparisons.
void sortBySplitting(std::vector<std::string> &paths, int first, int last, int depth) {
    for (; first < last; --depth) {
        if (depth == 0) {
            heapSort(paths, first, last);
            return;
        }
        const int split = splitAroundVersion(paths, at(paths, first + (last - first) / 2), first, last);
        // Only the smaller part by recursion, so that the stack stays small.
        if (split - first < last - split - 1) {
            sortBySplitting(paths, first, split, depth - 1);
            first = split + 1;
        } else {
            sortBySplitting(paths, split + 1, last, depth - 1);
            last = split;
        }
    }
}

// Twice what splits into halves would need.
int depthFor(int count) {
    int depth = 0;
    for (; count > 1; count /= 2)
        depth += 2;
    return depth;
}

using Places = std::list<PlacedPackage>;

void take(Places &from, Places::iterator package, PlacedBy rule, const std::string &orderName, Places &to) {
    package->rule = rule;
    package->orderName = orderName;
    to.splice(to.end(), from, package);
}

// The named packages come first, in the order of the names; the others follow as they were.
Places orderWithinVersion(Places group, const std::vector<std::string> &orderNames) {
    if (group.size() < 2)
        return group;
    // Packages of one name as they stand.
    std::multimap<std::string_view, Places::iterator> byName;
    for (auto package = group.begin(); package != group.end(); ++package)
        byName.emplace(lastComponent(package->path), package);
    Places ordered;
    for (const std::string &orderName : orderNames) {
        const auto named = byName.lower_bound(orderName);
        if (named == byName.end() || named->first != orderName)
            continue;
        take(group, named->second, PlacedBy::nameWithinVersion, orderName, ordered);
        byName.erase(named);
    }
    ordered.splice(ordered.end(), group);
    return ordered;
}

struct Repost {
    Places::iterator package;
    std::string inAnyCase;
};

// Each name admits one repost package, in any letter case; one that no name admits is left out. An empty name
// admits none.
Places takeReposts(Places &reposts, const std::vector<std::string> &orderNames) {
    std::list<Repost> left;
    for (auto package = reposts.begin(); package != reposts.end(); ++package)
        left.push_back({package, inAnyLetterCase(package->path)});
    Places taken;
    for (const std::string &orderName : orderNames) {
        const std::string name = inAnyLetterCase(orderName);
        const auto named = std::find_if(left.begin(), left.end(), [&name](const Repost &repost) {
            return !name.empty() && contains(repost.inAnyCase, name);
        });
        if (named == left.end())
            continue;
        take(reposts, named->package, PlacedBy::nameOfRepost, orderName, taken);
        left.erase(named);
    }
    return taken;
}

} // namespace

bool isBrandingPackage(const std::string &path) {
    return contains(path, "DynamicBranding.pkg");
}

bool isRepostPackage(const std::string &path) {
    return contains(path, "repost");
}

std::string inAnyLetterCase(const std::string &text) {
    return boost::algorithm::to_upper_copy(text);
}

std::string_view hotFixVersionOf(std::string_view path) {
    const std::string_view name = lastComponent(path.substr(0, path.rfind('/')));
    // Any one of these characters, not the three together (kept as shipped).
    return name.substr(name.find_last_of("HF_") + 1);
}

void sortByHotFixVersion(std::vector<std::string> &paths, int first, int last) {
    sortBySplitting(paths, first, last, depthFor(last - first + 1));
}

int splitAroundVersion(std::vector<std::string> &paths, const std::string &pivot, int first, int last) {
    // Read once: the pivot may be one of the paths.
    const auto pivotVersion = parseVersion(hotFixVersionOf(pivot));
    int low = first;
    int high = last;
    while (true) {
        while (low < last && parseVersion(hotFixVersionOf(at(paths, low))) < pivotVersion)
            ++low;
        while (high > first && parseVersion(hotFixVersionOf(at(paths, high))) > pivotVersion)
            --high;
        if (low >= high)
            return std::max(first, std::min(high, last - 1));
        at(paths, low).swap(at(paths, high));
        ++low;
        --high;
    }
}

std::list<std::string> installationOrder(const std::vector<std::string> &sortedPaths,
                                         const std::vector<std::string> &orderNames) {
    std::list<std::string> ordered;
    for (PlacedPackage &package : placedPackages(sortedPaths, orderNames)) {
        if (package.rule != PlacedBy::nothing)
            ordered.push_back(std::move(package.path));
    }
    return ordered;
}

std::list<PlacedPackage> placedPackages(const std::vector<std::string> &sortedPaths,
                                        const std::vector<std::string> &orderNames) {
    // The text order of the versions decides between groups: 10 comes before 9 (kept).
    std::map<std::string_view, Places> groups;
    for (const std::string &path : sortedPaths)
        groups[hotFixVersionOf(path)].push_back({path, PlacedBy::version, ""});

    Places reposts;
    Places others;
    for (auto &[version, group] : groups) {
        for (PlacedPackage &package : orderWithinVersion(std::move(group), orderNames)) {
            if (!package.path.empty())
                (isRepostPackage(package.path) ? reposts : others).push_back(std::move(package));
        }
    }

    Places placed = takeReposts(reposts, orderNames);
    placed.splice(placed.end(), others);
    for (PlacedPackage &package : reposts)
        placed.push_back({std::move(package.path), PlacedBy::nothing, ""});
    return placed;
}
