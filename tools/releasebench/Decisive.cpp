#include "Decisive.h"

#include <algorithm>
#include <limits>
#include <numeric>

#include "Version.h"

namespace {

// Of an update of this hot-fix alone.
Fault faultOf(std::size_t hotFix, const UpdatePlanner &planner) {
    const Plan plan = planner.planWith("", {hotFix});
    if (plan.outcome == Outcome::done)
        return Fault::none;
    if (plan.endedAt)
        return Fault::endsProcess;
    return plan.downloads.front().path.empty() ? Fault::refusedPath : Fault::neverComplete;
}

// Their places when they are sorted; equal ones stay in their order.
template <typename IsBefore>
void sortPlaces(std::vector<std::size_t> sorted, const IsBefore &isBefore,
                std::vector<std::uint32_t> &places) {
    std::stable_sort(sorted.begin(), sorted.end(), isBefore);
    for (std::size_t place = 0; place < sorted.size(); ++place)
        places[sorted[place]] = static_cast<std::uint32_t>(place);
}

} // namespace

bool isHigherBuild(const std::string &first, const std::string &second) {
    ReleaseMaxima maxima;
    HotFixPackageInfo hotFix;
    hotFix.buildNo = second;
    maxima.include(hotFix);
    const std::string before = maxima.buildNo;
    hotFix.buildNo = first;
    maxima.include(hotFix);
    return maxima.buildNo != before;
}

DecisiveOrders decisiveOrdersOf(const Offer &offer, const UpdatePlanner &planner) {
    const std::vector<HotFixPackageInfo> &hotFixes = offer.hotFixes;
    DecisiveOrders orders;
    orders.byVersion.resize(hotFixes.size());
    orders.byBuild.resize(hotFixes.size());
    std::vector<std::size_t> all(hotFixes.size());
    std::iota(all.begin(), all.end(), 0U);
    std::vector<std::size_t> numbered;
    for (const std::size_t hotFix : all) {
        orders.faults.push_back(faultOf(hotFix, planner));
        if (orders.faults.back() != Fault::endsProcess)
            numbered.push_back(hotFix);
    }
    sortPlaces(
        all,
        [&](std::size_t left, std::size_t right) {
            return isGreaterVersion(hotFixes[left].productVer, hotFixes[right].productVer);
        },
        orders.byVersion);
    sortPlaces(
        numbered,
        [&](std::size_t left, std::size_t right) {
            return isHigherBuild(hotFixes[left].buildNo, hotFixes[right].buildNo);
        },
        orders.byBuild);
    return orders;
}

void Decisive::add(std::size_t hotFix, std::size_t endProduct) {
    const auto place = static_cast<std::uint32_t>(hotFix);
    switch (m_orders.faults[hotFix]) {
    case Fault::endsProcess:
        m_firstThatEnds.push({place, hotFix, endProduct});
        return;
    case Fault::refusedPath: // the engine tells the last of these, and the first of others
        m_lastRefused.push({std::numeric_limits<std::uint32_t>::max() - place, hotFix, endProduct});
        break;
    case Fault::neverComplete:
        m_firstIncomplete.push({place, hotFix, endProduct});
        break;
    case Fault::none:
        break;
    }
    m_highestVersion.push({m_orders.byVersion[hotFix], hotFix, endProduct});
    m_highestBuild.push({m_orders.byBuild[hotFix], hotFix, endProduct});
}

std::vector<std::size_t> Decisive::at(std::size_t product) {
    std::vector<std::size_t> decisive;
    for (Queue *queue :
         {&m_highestVersion, &m_highestBuild, &m_firstThatEnds, &m_lastRefused, &m_firstIncomplete}) {
        while (!queue->empty() && queue->top().end <= product)
            queue->pop();
        if (!queue->empty())
            decisive.push_back(queue->top().hotFix);
    }
    std::sort(decisive.begin(), decisive.end());
    decisive.erase(std::unique(decisive.begin(), decisive.end()), decisive.end());
    return decisive;
}
