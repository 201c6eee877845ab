// What the order of installation admits, and what it means nothing to.
#include <algorithm>
#include <map>
#include <set>
#include <unordered_map>
#include <unordered_set>

#include "HotFixSelection.h"
#include "InstallationOrder.h"
#include "LintInput.h"
#include "LintPairs.h"
#include "LintRule.h"
#include "Text.h"
#include "TextFinder.h"

namespace {

bool isRepost(const LintHotFix &hotFix) {
    return isRepostPackage(hotFix.destination());
}

bool isOrdered(const LintHotFix &hotFix) {
    return !hotFix.destination().empty() && !isBrandingPackage(hotFix.destination());
}

// A release's order names, found in paths in any letter case.
class Names {
public:
    explicit Names(const std::vector<std::string> &order)
        : m_folded(folded(order))
        , m_finder(std::vector<std::string_view>(m_folded.begin(), m_folded.end())) {}

    // The index of the first one that admits a repost package; TextFinder::none for none.
    std::size_t firstIn(const std::string &path) const { return m_finder.firstWithin(inAnyLetterCase(path)); }

    // For each whether it stands in one of the paths.
    std::vector<bool> areIn(const std::vector<LintHotFix> &hotFixes) const {
        const std::vector<std::string> paths = foldedPaths(hotFixes);
        std::vector<bool> found;
        for (const std::size_t holder :
             m_finder.firstHolders(std::vector<std::string_view>(paths.begin(), paths.end())))
            found.push_back(holder != TextFinder::none);
        return found;
    }

private:
    static std::vector<std::string> folded(const std::vector<std::string> &texts) {
        std::vector<std::string> all;
        std::transform(texts.begin(), texts.end(), std::back_inserter(all), inAnyLetterCase);
        return all;
    }
    static std::vector<std::string> foldedPaths(const std::vector<LintHotFix> &hotFixes) {
        std::vector<std::string> paths;
        paths.reserve(hotFixes.size());
        for (const LintHotFix &hotFix : hotFixes)
            paths.push_back(inAnyLetterCase(hotFix.destination()));
        return paths;
    }

    const std::vector<std::string> m_folded;
    const TextFinder m_finder;
};

struct Packages {
    std::vector<LintHotFix> reposts;
    std::vector<LintHotFix> others;
};

Packages packagesOf(const std::vector<LintHotFix> &hotFixes) {
    Packages packages;
    for (const LintHotFix &hotFix : hotFixes) {
        if (isOrdered(hotFix))
            (isRepost(hotFix) ? packages.reposts : packages.others).push_back(hotFix);
    }
    return packages;
}

LintPlace placeOfName(const LintInput &input, std::size_t index) {
    return input.releasePlace("/order/" + std::to_string(index));
}

void checkAdmitted(const LintInput &input, const Tell &tell) {
    if (!input.release)
        return;
    const Names names(input.release->order);
    for (const LintHotFix &hotFix : packagesOf(input.hotFixes()).reposts) {
        if (names.firstIn(hotFix.destination()) == TextFinder::none)
            tell(hotFix.at(), "no order name stands in " + hotFix.destination());
    }
}

// Asks the engine which of some repost packages it leaves out on a machine. It goes through all packages for
// every name: what that costs is limited, and then there is no answer.
class LeftOut {
public:
    LeftOut(const std::vector<LintHotFix> &reposts, const std::vector<std::string> &order)
        : m_reposts(reposts)
        , m_order(order) {}

    std::optional<std::vector<LintHotFix>> on(const Machine &machine) {
        if (!mayTake(m_reposts.size()))
            return std::nullopt;
        std::vector<std::string> paths;
        for (const LintHotFix &hotFix : m_reposts) {
            if (judgeHotFix(hotFix.record(), machine.product, machine.system) == Selection::applies)
                paths.push_back(hotFix.destination());
        }
        if (!mayTake(paths.size() * m_order.size()))
            return std::nullopt;
        std::unordered_set<std::string> leftOut;
        for (const PlacedPackage &package : placedPackages(paths, m_order)) {
            if (package.rule == PlacedBy::nothing)
                leftOut.insert(package.path);
        }
        std::vector<LintHotFix> hotFixes;
        std::copy_if(m_reposts.begin(), m_reposts.end(), std::back_inserter(hotFixes),
                     [&](const LintHotFix &hotFix) { return leftOut.count(hotFix.destination()) != 0; });
        return hotFixes;
    }

private:
    bool mayTake(std::size_t steps) {
        constexpr std::size_t mostSteps = 4000000;
        m_steps += steps;
        return m_steps <= mostSteps;
    }

    const std::vector<LintHotFix> &m_reposts;
    const std::vector<std::string> &m_order;
    std::size_t m_steps = 0;
};

// Of two packages that one name admits first, one takes the name; the engine knows which one, and whether
// there is another name for the other.
void checkShared(const LintInput &input, const Tell &tell) {
    if (!input.release)
        return;
    const std::vector<std::string> &order = input.release->order;
    const Names names(order);
    for (const LintOffer &offer : input.offers) {
        const std::vector<LintHotFix> reposts = packagesOf(offer.hotFixes).reposts;
        const auto nameOf = [&](const LintHotFix &hotFix) {
            const std::size_t name = names.firstIn(hotFix.destination());
            return name != TextFinder::none ? order[name] : "";
        };
        std::set<const HotFixPackageInfo *> told;
        const auto tellOnce = [&](const LintHotFix &hotFix, const Machine &machine, const char *whether) {
            if (!nameOf(hotFix).empty() && told.insert(&hotFix.record()).second)
                tell(hotFix.at(), "product " + machine.product + " on system " + machine.system +
                                      " gets several packages that the order name \"" + nameOf(hotFix) +
                                      "\" stands in, " + whether + hotFix.destination());
        };
        LeftOut leftOut(reposts, order);
        for (const LintPair &pair :
             pairsOf(reposts, nameOf, [](const LintHotFix &, const LintHotFix &) { return true; })) {
            const auto answer = leftOut.on(pair.machine);
            for (const LintHotFix &hotFix : answer.value_or(std::vector<LintHotFix>()))
                tellOnce(hotFix, pair.machine, "and not ");
            if (!answer)
                tellOnce(pair.later, pair.machine, "perhaps not ");
        }
    }
}

// What an order name is to the packages of a release.
class Use {
public:
    explicit Use(const LintInput &input)
        : m_packages(packagesOf(input.hotFixes()))
        , m_order(input.release->order)
        , m_isInRepost(Names(m_order).areIn(m_packages.reposts)) {
        for (const LintHotFix &hotFix : m_packages.others) {
            const std::string name = afterLastSlash(hotFix.destination());
            m_inAnyCase.insert(inAnyLetterCase(name));
            m_names.insert(name);
        }
    }

    bool isUsed(std::size_t index) const { return m_isInRepost[index] || m_names.count(m_order[index]) != 0; }
    bool isUsedInOtherCase(std::size_t index) const {
        return !isUsed(index) && m_inAnyCase.count(inAnyLetterCase(m_order[index])) != 0;
    }

private:
    const Packages m_packages;
    const std::vector<std::string> &m_order;
    const std::vector<bool> m_isInRepost;
    std::unordered_set<std::string> m_names;
    std::unordered_set<std::string> m_inAnyCase;
};

void checkUnused(const LintInput &input, const Tell &tell) {
    if (!input.release)
        return;
    const Use use(input);
    for (std::size_t i = 0; i < input.release->order.size(); ++i) {
        if (!use.isUsed(i) && !use.isUsedInOtherCase(i))
            tell(placeOfName(input, i),
                 "\"" + input.release->order[i] + "\" fits no package of this release");
    }
}

void checkLetterCase(const LintInput &input, const Tell &tell) {
    if (!input.release)
        return;
    const Use use(input);
    for (std::size_t i = 0; i < input.release->order.size(); ++i) {
        if (use.isUsedInOtherCase(i))
            tell(placeOfName(input, i),
                 "\"" + input.release->order[i] + "\" fits a package but for the case of letters");
    }
}

void checkTwice(const LintInput &input, const Tell &tell) {
    if (!input.release)
        return;
    std::set<std::string> before;
    for (std::size_t i = 0; i < input.release->order.size(); ++i) {
        if (!before.insert(input.release->order[i]).second)
            tell(placeOfName(input, i), "\"" + input.release->order[i] + "\" stands before, too");
    }
}

void checkContained(const LintInput &input, const Tell &tell) {
    if (!input.release)
        return;
    const std::vector<std::string> &order = input.release->order;
    std::unordered_map<std::string, std::size_t> ownNames;
    for (std::size_t i = 0; i < order.size(); ++i)
        ownNames.emplace(inAnyLetterCase(order[i]), i);
    const Names names(order);
    for (const LintHotFix &hotFix : packagesOf(input.hotFixes()).reposts) {
        const auto own = ownNames.find(inAnyLetterCase(afterLastSlash(hotFix.destination())));
        const std::size_t first = names.firstIn(hotFix.destination());
        if (own != ownNames.end() && first != own->second)
            tell(placeOfName(input, first), "\"" + order[first] + "\" admits " + hotFix.destination() +
                                                ", whose own name \"" + order[own->second] +
                                                "\" comes later");
    }
}

void checkUndecided(const LintInput &input, const Tell &tell) {
    if (!input.release)
        return;
    const std::set<std::string> names(input.release->order.begin(), input.release->order.end());
    for (const LintOffer &offer : input.offers) {
        std::unordered_map<std::string, LintHotFix> unnamed; // the last one of each version
        std::set<std::string> told;
        for (const LintHotFix &hotFix : packagesOf(offer.hotFixes).others) {
            if (names.count(afterLastSlash(hotFix.destination())) != 0)
                continue;
            const std::string version(hotFixVersionOf(hotFix.destination()));
            const auto [before, isFirst] = unnamed.emplace(version, hotFix);
            if (!isFirst && machineForBoth(before->second.record(), hotFix.record()) &&
                told.insert(version).second)
                tell(hotFix.at(), "the order names neither this package nor " +
                                      afterLastSlash(before->second.destination()) + " of version " +
                                      version);
            before->second = hotFix;
        }
    }
}

} // namespace

std::vector<LintRule> orderRules() {
    return {
        {"repost-not-admitted", Severity::error, "No order name admits a repost package.",
         "A package with \"repost\" in its path is installed only when a name of \"InstallPkgOrder\" stands "
         "in it, in any letter case: this one is downloaded and never installed, and the new version is "
         "recorded all the same.",
         "Add the package's file name to the order, and ship it with the release before.",
         "Packages whose path contains \"repost\" are installed only", checkAdmitted},
        {"repost-shared-name", Severity::warning, "One order name stands for several repost packages.",
         "Each name admits one package: the others are never installed.",
         "Give each package a name of its own in the order.",
         "Packages whose path contains \"repost\" are installed only", checkShared},
        {"order-name-unused", Severity::warning, "An order name fits no package.",
         "It has to be a package's whole file name, or a part of a repost package's path.",
         "Correct or remove it; a name for releases to come may stay, with this rule disabled.", "",
         checkUnused},
        {"order-name-letter-case", Severity::warning,
         "An order name differs from a package's in the case of letters.",
         "Within a version names are compared letter by letter: this one decides nothing.",
         "Write it as the package is called.", "", checkLetterCase},
        {"order-name-twice", Severity::warning, "An order name stands twice.",
         "Each time it takes one package: the second time another one of that name, or another repost "
         "package in whose path it stands.",
         "Remove one.", "", checkTwice},
        {"order-name-contained", Severity::warning,
         "An order name stands in a repost package that has a name of its own.",
         "A name admits the first repost package in whose path it stands: this one takes the place of the "
         "package that it is meant for.",
         "Use names of which none is part of another's path, or put the longer one first.", "",
         checkContained},
        {"order-undecided", Severity::note, "Nothing decides the order of two packages.",
         "Packages of one version that no name stands for follow the named ones, in no order of their own.",
         "Name both where their order matters.", "", checkUndecided},
    };
}
