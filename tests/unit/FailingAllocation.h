#pragma once

#include <cstddef>

// Memory that runs out for a moment: while it lives, one allocation of this program throws std::bad_alloc.
// One may live at a time, and only one thread may allocate meanwhile.
class FailingAllocation {
public:
    // Allocation 0 is the next one.
    explicit FailingAllocation(std::size_t index) noexcept;
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation &) = delete;
    FailingAllocation &operator=(const FailingAllocation &) = delete;

    // Whether the allocation was reached.
    bool happened() const noexcept;
};
