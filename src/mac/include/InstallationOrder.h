// The order in which downloaded packages are installed, told from their paths and from the configured order
// of package names alone.
#pragma once

#include <list>
#include <string>
#include <string_view>
#include <vector>

// Whether the package, by any part of its path, is one that is installed at once and stands in no order.
bool isBrandingPackage(const std::string &path);
// Whether the package, by any part of its path, is one that only an order name admits.
bool isRepostPackage(const std::string &path);
// A path or an order name as repost packages are found by it: in any letter case.
std::string inAnyLetterCase(const std::string &text);

// The version in the name of the directory that holds the package: a part of the path.
std::string_view hotFixVersionOf(std::string_view path);

// Sorts paths by ascending hot-fix version, from first to last inclusive; equal versions keep no order. Takes
// n log n comparisons for n paths, whatever their order, on a stack of a fixed size.
void sortByHotFixVersion(std::vector<std::string> &paths, int first, int last);

// Moves the paths from first to last so that no version of the lower part is above the pivot's and none of
// the upper part below it; gives the last index of the lower part. No part is empty where there are two
// paths and the pivot is one of them.
int splitAroundVersion(std::vector<std::string> &paths, const std::string &pivot, int first, int last);

// The order of installation of packages that are sorted by version. Versions follow one another in the order
// of their texts, within a version the named packages come first. Repost packages come before all others, and
// one that no name admits is left out (kept: the order is what admits them).
std::list<std::string> installationOrder(const std::vector<std::string> &sortedPaths,
                                         const std::vector<std::string> &orderNames);

// What gave a package its place.
enum class PlacedBy { version, nameWithinVersion, nameOfRepost, nothing };

struct PlacedPackage {
    std::string path;
    PlacedBy rule = PlacedBy::version;
    std::string orderName; // that decided; "" when none did
};

// The same with the rule behind each place. Packages that are left out follow at the end, placed by nothing.
std::list<PlacedPackage> placedPackages(const std::vector<std::string> &sortedPaths,
                                        const std::vector<std::string> &orderNames);
