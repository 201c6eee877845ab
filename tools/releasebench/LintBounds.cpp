// Bounds that offer a hot-fix to others than meant.
#include <algorithm>
#include <array>
#include <functional>
#include <map>
#include <optional>
#include <queue>
#include <utility>

#include "HotFixSelection.h"
#include "LintInput.h"
#include "LintPairs.h"
#include "LintRule.h"
#include "LintText.h"
#include "Text.h"
#include "Version.h"

namespace {

using Numbers = std::array<std::int32_t, 4>;

// A version that hot-fixes or full-install packages bring, and one that does.
struct Brought {
    std::string version;
    WhereIs place;
};

// What an offer raises products to. Whatever system a hot-fix is for counts.
class Raises {
public:
    explicit Raises(const LintOffer &offer) {
        for (const LintHotFix &hotFix : offer.hotFixes) {
            if (!machineFor(hotFix.record())) // nobody gets it
                continue;
            m_byLowerBound.push_back(stepOf(hotFix.record()));
            bring(hotFix.record().productVer, [hotFix] { return hotFix.at(Item::version); });
            if (m_byLowerBound.back().least)
                m_asked.push_back(*m_byLowerBound.back().least);
        }
        for (const LintCatalog *catalog : offer.catalogs) {
            if (!catalog->product.url.empty() && !catalog->product.version.empty())
                bring(catalog->product.version,
                      [catalog] { return catalog->places->fullInstall(Item::version); });
        }
        answer();
    }

    // From the lowest version up.
    const std::map<Numbers, Brought> &brought() const { return m_brought; }
    std::string highest() const { return m_brought.empty() ? "" : m_brought.rbegin()->second.version; }
    // Whether a product of that version, one that is brought or a lower bound, is offered a higher one.
    bool isRaised(const std::string &version) const {
        return std::binary_search(m_raised.begin(), m_raised.end(), parseVersion(version));
    }

private:
    struct Step {
        std::optional<Numbers> least; // none is before all others
        std::optional<Numbers> most;
        Numbers version;
    };
    static Step stepOf(const HotFixPackageInfo &hotFix) {
        const auto bound = [](const std::string &text) {
            return text.empty() ? std::nullopt : std::optional(parseVersion(text));
        };
        return {bound(hotFix.minVer), bound(hotFix.maxVer), parseVersion(hotFix.productVer)};
    }

    void bring(const std::string &version, WhereIs place) {
        m_asked.push_back(parseVersion(version));
        m_brought.try_emplace(m_asked.back(), Brought{version, std::move(place)});
    }

    // From the lowest version up, with the hot-fixes at hand whose lower bound is passed.
    void answer() {
        std::sort(m_asked.begin(), m_asked.end());
        m_asked.erase(std::unique(m_asked.begin(), m_asked.end()), m_asked.end());
        std::sort(m_byLowerBound.begin(), m_byLowerBound.end(),
                  [](const Step &left, const Step &right) { return left.least < right.least; });
        const auto bringsLower = [](const Step &left, const Step &right) {
            return left.version < right.version;
        };
        std::priority_queue<Step, std::vector<Step>, decltype(bringsLower)> atHand(bringsLower);
        auto next = m_byLowerBound.begin();
        for (const Numbers &version : m_asked) {
            for (; next != m_byLowerBound.end() && (!next->least || *next->least <= version); ++next)
                atHand.push(*next);
            while (!atHand.empty() && atHand.top().most && version > *atHand.top().most)
                atHand.pop();
            if (!atHand.empty() && atHand.top().version > version)
                m_raised.push_back(version);
        }
    }

    std::vector<Step> m_byLowerBound;
    std::vector<Numbers> m_asked;
    std::vector<Numbers> m_raised;
    std::map<Numbers, Brought> m_brought;
};

void checkInverted(const LintInput &input, const Tell &tell) {
    for (const LintHotFix &hotFix : input.hotFixes()) {
        for (const auto &[least, most] :
             {std::pair(Item::minVer, Item::maxVer), std::pair(Item::minSystem, Item::maxSystem)}) {
            const std::string &from = hotFix.value(least);
            const std::string &to = hotFix.value(most);
            if (!from.empty() && !to.empty() && isGreaterVersion(from, to))
                tell(hotFix.at(least),
                     joined({hotFix.word(least), " ", from, " is above ", hotFix.word(most), " ", to}));
        }
    }
}

void checkMissing(const LintInput &input, const Tell &tell) {
    for (const LintHotFix &hotFix : input.hotFixes()) {
        if (hotFix.record().minVer.empty() && hotFix.record().maxVer.empty())
            tell(hotFix.at(), "neither " + hotFix.word(Item::minVer) + " nor " + hotFix.word(Item::maxVer));
    }
}

void checkUnreachable(const LintInput &input, const Tell &tell) {
    for (const LintOffer &offer : input.offers) {
        const std::string highest = Raises(offer).highest();
        for (const LintHotFix &hotFix : offer.hotFixes) {
            const std::string &least = hotFix.record().minVer;
            if (!least.empty() && !highest.empty() && machineFor(hotFix.record()) &&
                isGreaterVersion(least, highest))
                tell(hotFix.at(Item::minVer), joined({hotFix.word(Item::minVer), " ", least, " is above ",
                                                      highest, ", the highest version that is brought"}));
        }
    }
}

// A product of this version that is offered the hot-fix and is not raised by anything.
bool isOfferedForGood(const Raises &raises, const HotFixPackageInfo &hotFix, const std::string &version) {
    const std::optional<Machine> machine = machineFor(hotFix);
    return !version.empty() && machine &&
           judgeHotFix(hotFix, version, machine->system) == Selection::applies && !raises.isRaised(version);
}

void checkOfferedAgain(const LintInput &input, const Tell &tell) {
    for (const LintOffer &offer : input.offers) {
        const Raises raises(offer);
        for (const LintHotFix &hotFix : offer.hotFixes) {
            const HotFixPackageInfo &record = hotFix.record();
            for (const std::string &version : {record.productVer, record.minVer}) {
                if (!isOfferedForGood(raises, record, version))
                    continue;
                tell(hotFix.at(record.maxVer.empty() ? Item::itself : Item::maxVer),
                     "brings version " + record.productVer + ", and a product of version " + version +
                         " is offered it again and again");
                break;
            }
        }
    }
}

void checkGaps(const LintInput &input, const Tell &tell) {
    for (const LintOffer &offer : input.offers) {
        const Raises raises(offer);
        const std::string highest = raises.highest();
        for (const auto &[numbers, brought] : raises.brought()) {
            const std::string &version = brought.version;
            if (isGreaterVersion(highest, version) && !raises.isRaised(version))
                tell(brought.place(),
                     joined({"a product of version ", version, " is offered nothing higher, although ",
                             highest, " is brought to others"}));
        }
    }
}

void checkOverlap(const LintInput &input, const Tell &tell) {
    for (const LintOffer &offer : input.offers) {
        const auto pairs = pairsOf(
            offer.hotFixes, [](const LintHotFix &hotFix) { return afterLastSlash(hotFix.record().url); },
            [](const LintHotFix &one, const LintHotFix &other) {
                return isGreaterVersion(one.record().productVer, other.record().productVer) ||
                       isGreaterVersion(other.record().productVer, one.record().productVer);
            });
        for (const LintPair &pair : pairs)
            tell(pair.later.at(), afterLastSlash(pair.later.record().url) + " of version " +
                                      pair.later.record().productVer + ": a product of version " +
                                      pair.machine.product + " gets the one of version " +
                                      pair.earlier.record().productVer + " too");
    }
}

} // namespace

std::vector<LintRule> boundRules() {
    return {
        {"bounds-inverted", Severity::error, "The lower bound of a hot-fix is above its upper one.",
         "No product or system is within such bounds: nobody gets the hot-fix.",
         "Exchange or correct the bounds.", "", checkInverted},
        {"bounds-missing", Severity::warning, "A hot-fix has no bound of the product's version.",
         "An empty bound is no bound: products of every version are offered it, those that have it too.",
         "Give minVersion and maxVersion (minver and maxver).", "", checkMissing},
        {"bound-unreachable", Severity::warning, "A lower bound is above every version.",
         "No hot-fix and no full-install package brings a product to that version: nobody gets the hot-fix.",
         "Correct the bound, or publish what leads to it.", "", checkUnreachable},
        {"offered-again", Severity::error, "Who has installed a hot-fix is offered it again.",
         "Bounds are inclusive, and the version afterwards is the highest that the chosen hot-fixes bring. "
         "Where it is within the bounds of the hot-fix still, every check downloads it again and every "
         "installation installs it again.",
         "Set the upper bound below the version that the hot-fix brings.", "", checkOfferedAgain},
        {"bounds-gap", Severity::warning, "A version between the bounds is left without a way up.",
         "Products of a version that this release itself brings are within no bounds of anything higher: "
         "they stay where they are.",
         "Let the next hot-fix's bounds begin at that version.", "", checkGaps},
        {"bounds-overlap", Severity::warning, "One machine gets a package in two versions.",
         "Every hot-fix within whose bounds a machine is, is chosen: both are downloaded and installed, in "
         "the order of the version texts.",
         "Let the bounds follow each other.", "", checkOverlap},
    };
}
