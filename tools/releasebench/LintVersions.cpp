// Versions and build numbers that the engine reads as something else.
#include <algorithm>
#include <array>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <vector>

#include "InstallationOrder.h"
#include "LintInput.h"
#include "LintPairs.h"
#include "LintRule.h"
#include "LintText.h"
#include "Version.h"

namespace {

std::string asRead(const std::string &version) {
    std::string text;
    for (const std::int32_t number : parseVersion(version))
        text += (text.empty() ? "" : ".") + std::to_string(number);
    return text;
}

std::vector<std::string_view> partsOf(std::string_view version) {
    std::vector<std::string_view> parts;
    for (std::size_t stop = 0; stop != std::string_view::npos; version.remove_prefix(stop + 1)) {
        stop = version.find('.');
        parts.push_back(version.substr(0, stop));
        if (stop == std::string_view::npos)
            break;
    }
    return parts;
}

// The number as the engine reads it is not the one that stands there.
bool isTooLarge(std::string_view part) {
    if (!isDecimal(part))
        return false;
    const std::size_t first = std::min(part.find_first_not_of('0'), part.size() - 1);
    return std::to_string(parseVersion(part)[0]) != part.substr(first);
}

constexpr Item versions[] = {Item::version, Item::minVer, Item::maxVer, Item::minSystem, Item::maxSystem};

std::size_t numbersOf(Item item) {
    return item == Item::minSystem || item == Item::maxSystem ? 3 : 4;
}

// Every version and bound that is given.
void visitVersions(const LintInput &input,
                   const std::function<void(const std::string &, Item, const WhereIs &)> &visit) {
    for (const LintHotFix &hotFix : input.hotFixes()) {
        for (const Item item : versions) {
            if (!hotFix.value(item).empty())
                visit(hotFix.value(item), item, [&] { return hotFix.at(item); });
        }
    }
    for (const LintCatalog &catalog : input.catalogs) {
        if (!catalog.product.version.empty())
            visit(catalog.product.version, Item::version,
                  [&] { return catalog.places->fullInstall(Item::version); });
    }
}

void checkMissing(const LintInput &input, const Tell &tell) {
    for (const LintHotFix &hotFix : input.hotFixes()) {
        if (hotFix.record().productVer.empty())
            tell(hotFix.at(), "no " + hotFix.word(Item::version) + ": nobody gets it");
    }
}

// Versions of which a part is not what it seems.
void tellAsRead(const LintInput &input, const Tell &tell, bool (*isWrong)(std::string_view part)) {
    visitVersions(input, [&](const std::string &text, Item, const WhereIs &place) {
        const std::vector<std::string_view> parts = partsOf(text);
        if (std::any_of(parts.begin(), parts.end(), isWrong))
            tell(place(), "\"" + text + "\" is read as " + asRead(text));
    });
}

void checkNumbers(const LintInput &input, const Tell &tell) {
    tellAsRead(input, tell, [](std::string_view part) { return !isDecimal(part); });
}

void checkSizes(const LintInput &input, const Tell &tell) {
    tellAsRead(input, tell, isTooLarge);
}

void checkLeadingZeros(const LintInput &input, const Tell &tell) {
    tellAsRead(input, tell,
               [](std::string_view part) { return isDecimal(part) && part.size() > 1 && part[0] == '0'; });
}

// The lowest version above a bound, of so many numbers.
std::string lowestAbove(const std::string &bound, std::size_t count) {
    const auto numbers = parseVersion(bound);
    std::string text;
    for (std::size_t i = 0; i < count; ++i)
        text += (i == 0 ? "" : ".") + std::to_string(i + 1 < count ? numbers[i] : numbers[i] + 1);
    return text;
}

void checkShortBounds(const LintInput &input, const Tell &tell) {
    visitVersions(input, [&](const std::string &text, Item item, const WhereIs &place) {
        const std::size_t count = numbersOf(item);
        if ((item == Item::maxSystem || item == Item::maxVer) && partsOf(text).size() < count)
            tell(place(), "\"" + text + "\" is read as " + asRead(text) + ": " + lowestAbove(text, count) +
                              " is above it");
    });
}

void checkLong(const LintInput &input, const Tell &tell) {
    visitVersions(input, [&](const std::string &text, Item item, const WhereIs &place) {
        const std::size_t count = partsOf(text).size();
        if (count > numbersOf(item))
            tell(place(), "\"" + text + "\" has " + std::to_string(count) + " numbers, expected " +
                              std::to_string(numbersOf(item)));
    });
}

void checkSpellings(const LintInput &input, const Tell &tell) {
    for (const LintOffer &offer : input.offers) {
        std::map<std::array<std::int32_t, 4>, std::string> first;
        for (const LintHotFix &hotFix : offer.hotFixes) {
            const std::string &version = hotFix.record().productVer;
            const std::string &other = first.emplace(parseVersion(version), version).first->second;
            if (!version.empty() && other != version)
                tell(hotFix.at(Item::version),
                     joined({"\"", version, "\" is the same version as \"", other,
                             "\", in another folder and another group of the order"}));
        }
    }
}

void checkCut(const LintInput &input, const Tell &tell) {
    for (const LintHotFix &hotFix : input.hotFixes()) {
        const std::string &version = hotFix.record().productVer;
        const std::string_view ordered = hotFixVersionOf(hotFix.destination());
        if (!version.empty() && !hotFix.destination().empty() && ordered != version)
            tell(hotFix.at(Item::version),
                 "\"" + version + "\" is ordered as version \"" + std::string(ordered) + "\"");
    }
}

// The products that any of some hot-fixes is for.
struct Range {
    std::optional<std::array<std::int32_t, 4>> least, most;
    bool isLimitedBelow = true, isLimitedAbove = true;

    void include(const HotFixPackageInfo &hotFix) {
        isLimitedBelow = isLimitedBelow && !hotFix.minVer.empty();
        isLimitedAbove = isLimitedAbove && !hotFix.maxVer.empty();
        least = least ? std::min(*least, parseVersion(hotFix.minVer)) : parseVersion(hotFix.minVer);
        most = most ? std::max(*most, parseVersion(hotFix.maxVer)) : parseVersion(hotFix.maxVer);
    }
    bool beginsWithinOrBelow(const Range &other) const {
        return !isLimitedBelow || !other.isLimitedAbove || *least <= *other.most;
    }
};

using Bounds = std::array<std::string_view, 4>;
Bounds boundsOf(const HotFixPackageInfo &hotFix) {
    return {hotFix.minVer, hotFix.maxVer, hotFix.osxMinVer, hotFix.osxMaxVer};
}

// The hot-fixes of one version, one for each different bounds.
class Group {
public:
    void add(const LintHotFix &hotFix) {
        m_range.include(hotFix.record());
        if (m_bounds.insert(boundsOf(hotFix.record())).second)
            m_hotFixes.push_back(hotFix);
    }
    const LintHotFix &first() const { return m_hotFixes.front(); }

    // Whether a machine gets hot-fixes of both. Takes off what it was allowed to look at, and looks no
    // further.
    bool isOfferedWith(const Group &other, int &looks) const {
        --looks;
        if (!m_range.beginsWithinOrBelow(other.m_range) || !other.m_range.beginsWithinOrBelow(m_range))
            return false;
        for (const LintHotFix &mine : m_hotFixes) {
            for (const LintHotFix &its : other.m_hotFixes) {
                if (looks-- > 0 && machineForBoth(mine.record(), its.record()))
                    return true;
            }
        }
        return false;
    }

private:
    Range m_range;
    std::set<Bounds> m_bounds;
    std::vector<LintHotFix> m_hotFixes;
};
using Groups = std::map<std::string, Group>; // in the order of installation

// Repost packages follow the order names instead, and branding follows nothing.
Groups groupsOf(const LintOffer &offer) {
    Groups groups;
    for (const LintHotFix &hotFix : offer.hotFixes) {
        const std::string &path = hotFix.destination();
        if (!path.empty() && !hotFix.record().productVer.empty() && !isRepostPackage(path) &&
            !isBrandingPackage(path))
            groups[std::string(hotFixVersionOf(path))].add(hotFix);
    }
    return groups;
}

void checkTextOrder(const LintInput &input, const Tell &tell) {
    constexpr int mostLooks = 64; // for each group
    for (const LintOffer &offer : input.offers) {
        const Groups groups = groupsOf(offer);
        std::multimap<std::array<std::int32_t, 4>, Groups::const_iterator> before;
        for (auto group = groups.begin(); group != groups.end(); ++group) {
            const auto version = parseVersion(group->first);
            int looks = mostLooks;
            for (auto higher = before.rbegin();
                 higher != before.rend() && higher->first > version && looks > 0; ++higher) {
                if (!group->second.isOfferedWith(higher->second->second, looks))
                    continue;
                tell(group->second.first().at(Item::version),
                     "version " + higher->second->first + " is installed before " + group->first);
                break;
            }
            before.emplace(version, group);
        }
    }
}

} // namespace

std::vector<LintRule> versionRules() {
    return {
        {"version-missing", Severity::error, "A hot-fix brings no version.",
         "The engine leaves such a hot-fix out before it looks at any bound: nobody gets it.",
         "Give the version that the product has afterwards.", "", checkMissing},
        {"version-no-number", Severity::error, "A version is no numbers with stops between.",
         "The engine reads numbers and stops as far as they go, and takes 0 for what is missing: a version "
         "compares as another one than stands there.",
         "Use numbers with stops between only.", "", checkNumbers},
        {"version-too-large", Severity::error, "A number of a version is 2147483648 or more.",
         "Numbers have 32 bits with a sign: such a version is negative, so older than any other, or another "
         "one.",
         "Stay below.", "Version numbers of 2147483648 and more are negative.", checkSizes},
        {"bound-short", Severity::warning, "An upper bound lacks numbers.",
         "A missing number is 0, in upper bounds too: 10.8 excludes 10.8.1 and all that follow.",
         "Write the bound out, 10.8.9 or 1.0.0.9 say.", "", checkShortBounds},
        {"version-long", Severity::warning, "A version has more numbers than the engine compares.",
         "Products have four numbers and systems three. A fifth is not read; a fourth of a system is "
         "compared with 0.",
         "Leave it out.", "", checkLong},
        {"version-leading-zero", Severity::warning, "A number of a version begins with 0.",
         "Versions are compared as numbers but name folders and groups of the order as texts: 1.01 is 1.1 to "
         "one and another version to the other.",
         "Leave the zero out.", "", checkLeadingZeros},
        {"version-spelt-differently", Severity::warning, "One version is written in two ways.",
         "Equal as numbers, they are two as texts: their packages go to two folders, and are ordered in two "
         "groups.",
         "Write a version in one way.", "", checkSpellings},
        {"version-cut", Severity::error, "The order takes a part of a version for the whole.",
         "The version of a downloaded package is what follows the last \"H\", \"F\", \"_\" or \"/\" in its "
         "folder's name: the order goes by the rest.",
         "Number versions with digits and stops.", "The version of a hot-fix is what follows the last",
         checkCut},
        {"version-text-order", Severity::warning, "A higher version is installed before a lower one.",
         "Groups of one version are installed in the order of the version texts, in which 10 comes before 9.",
         "Keep the numbers of digits equal within a release, or the bounds apart.",
         "Groups of one version are installed in the order of the version texts.", checkTextOrder},
    };
}
