#pragma once

#include <cstddef>

// libxml2's memory that runs out for a moment, or for good: while it lives, one of its allocations, or that
// and all later ones, give null. One may live at a time, and only one thread may use libxml2 meanwhile.
class FailingXmlAllocation {
public:
    enum class From { once, forGood };

    // Allocation 0 is the next one.
    explicit FailingXmlAllocation(std::size_t index, From from = From::once) noexcept;
    ~FailingXmlAllocation();
    FailingXmlAllocation(const FailingXmlAllocation &) = delete;
    FailingXmlAllocation &operator=(const FailingXmlAllocation &) = delete;

    // Whether the allocation was reached.
    bool happened() const noexcept;
};
