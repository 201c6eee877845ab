#include "LintPairs.h"

#include <algorithm>
#include <deque>
#include <unordered_map>
#include <utility>

#include "HotFixSelection.h"
#include "Version.h"

namespace {

// The higher of two lower bounds; "" is none.
const std::string &higher(const std::string &one, const std::string &other) {
    return other.empty() || (!one.empty() && isGreaterVersion(one, other)) ? one : other;
}

const std::string &lower(const std::string &one, const std::string &other) {
    return other.empty() || (!one.empty() && isGreaterVersion(other, one)) ? one : other;
}

// If any version lies within bounds, this one does.
std::string within(const std::string &least, const std::string &most) {
    if (!least.empty())
        return least;
    return most.empty() ? "10.0.0.0" : most;
}

using Group = std::vector<std::pair<std::size_t, LintHotFix>>; // with their places in the offer

bool beginsBefore(const Group::value_type &left, const Group::value_type &right) {
    return isGreaterVersion(right.second.record().minVer, left.second.record().minVer);
}

bool isOver(const HotFixPackageInfo &hotFix, const HotFixPackageInfo &next) {
    return !hotFix.maxVer.empty() && isGreaterVersion(next.minVer, hotFix.maxVer);
}

} // namespace

std::optional<Machine> machineForBoth(const HotFixPackageInfo &one, const HotFixPackageInfo &other) {
    Machine machine{within(higher(one.minVer, other.minVer), lower(one.maxVer, other.maxVer)),
                    within(higher(one.osxMinVer, other.osxMinVer), lower(one.osxMaxVer, other.osxMaxVer))};
    const auto applies = [&](const HotFixPackageInfo &hotFix) {
        return judgeHotFix(hotFix, machine.product, machine.system) == Selection::applies;
    };
    return applies(one) && applies(other) ? std::optional(std::move(machine)) : std::nullopt;
}

std::optional<Machine> machineFor(const HotFixPackageInfo &hotFix) {
    return machineForBoth(hotFix, hotFix);
}

std::vector<LintPair> pairsOf(const std::vector<LintHotFix> &hotFixes,
                              const std::function<std::string(const LintHotFix &)> &keyOf,
                              const std::function<bool(const LintHotFix &, const LintHotFix &)> &isWanted) {
    std::unordered_map<std::string, Group> groups;
    for (std::size_t i = 0; i < hotFixes.size(); ++i) {
        std::string key = keyOf(hotFixes[i]);
        if (!key.empty())
            groups[std::move(key)].emplace_back(i, hotFixes[i]);
    }
    constexpr std::size_t mostAtATime = 64;
    std::vector<LintPair> pairs;
    for (auto &[key, group] : groups) {
        std::stable_sort(group.begin(), group.end(), beginsBefore);
        std::deque<Group::value_type> begun;
        for (const Group::value_type &next : group) {
            const HotFixPackageInfo &record = next.second.record();
            begun.erase(
                std::remove_if(begun.begin(), begun.end(),
                               [&](const auto &other) { return isOver(other.second.record(), record); }),
                begun.end());
            for (const Group::value_type &other : begun) {
                const std::optional<Machine> machine = machineForBoth(other.second.record(), record);
                if (!machine || !isWanted(other.second, next.second))
                    continue;
                const bool isInOrder = other.first < next.first;
                pairs.push_back({isInOrder ? other.second : next.second,
                                 isInOrder ? next.second : other.second, *machine});
                break;
            }
            begun.push_back(next);
            if (begun.size() > mostAtATime)
                begun.pop_front();
        }
    }
    return pairs;
}
