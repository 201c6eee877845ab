// Of many hot-fixes that are chosen, the few that say how the update ends: the one with the highest version,
// the one with the highest build number, and those that make it fail. The engine, asked about these alone,
// says the same as of all.
#pragma once

#include <cstddef>
#include <cstdint>
#include <queue>
#include <utility>
#include <vector>

#include "Plan.h"

// What makes an update fail that chooses a hot-fix.
enum class Fault { none, endsProcess, refusedPath, neverComplete };

// The places of hot-fixes in the orders that matter, the lowest decides.
struct DecisiveOrders {
    std::vector<std::uint32_t> byVersion; // the highest first, of equal ones the first of the offer
    std::vector<std::uint32_t> byBuild;   // likewise; without meaning for one that ends the process
    std::vector<Fault> faults;
};

// Whether the engine takes the first of two build numbers, which are numbers, for the higher.
bool isHigherBuild(const std::string &first, const std::string &second);

DecisiveOrders decisiveOrdersOf(const Offer &offer, const UpdatePlanner &planner);

// While one goes through products from the lowest on.
class Decisive {
public:
    explicit Decisive(const DecisiveOrders &orders)
        : m_orders(orders) {}

    // From now on, before that product is reached.
    void add(std::size_t hotFix, std::size_t endProduct);
    // In the offer's order. Products are asked about in ascending order.
    std::vector<std::size_t> at(std::size_t product);

private:
    struct Entry {
        std::uint32_t place;
        std::size_t hotFix;
        std::size_t end;
    };
    struct IsAfter {
        bool operator()(const Entry &left, const Entry &right) const { return left.place > right.place; }
    };
    using Queue = std::priority_queue<Entry, std::vector<Entry>, IsAfter>;

    const DecisiveOrders &m_orders;
    Queue m_highestVersion;
    Queue m_highestBuild;
    Queue m_firstThatEnds;
    Queue m_lastRefused;
    Queue m_firstIncomplete;
};
