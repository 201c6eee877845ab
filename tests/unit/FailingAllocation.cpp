#include "FailingAllocation.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

constexpr long never = -1;

// Allocations until the one that fails; threads of other tests allocate too, hence atomic.
std::atomic<long> allocationsLeft{never};

void *allocate(std::size_t size) noexcept {
    if (allocationsLeft.load(std::memory_order_relaxed) != never && allocationsLeft.fetch_sub(1) == 0)
        return nullptr;
    // NOLINTNEXTLINE(cppcoreguidelines-no-malloc): this is what operator new stands on
    return std::malloc(size == 0 ? 1 : size);
}

void *allocateOrThrow(std::size_t size) {
    void *memory = allocate(size);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

void release(void *memory) noexcept {
    // NOLINTNEXTLINE(cppcoreguidelines-no-malloc): as above
    std::free(memory);
}

} // namespace

FailingAllocation::FailingAllocation(std::size_t index) noexcept {
    allocationsLeft = static_cast<long>(index);
}

FailingAllocation::~FailingAllocation() {
    allocationsLeft = never;
}

bool FailingAllocation::happened() const noexcept {
    return allocationsLeft == never;
}

void *operator new(std::size_t size) {
    return allocateOrThrow(size);
}
void *operator new[](std::size_t size) {
    return allocateOrThrow(size);
}
void *operator new(std::size_t size, const std::nothrow_t &) noexcept {
    return allocate(size);
}
void *operator new[](std::size_t size, const std::nothrow_t &) noexcept {
    return allocate(size);
}
void operator delete(void *memory) noexcept {
    release(memory);
}
void operator delete[](void *memory) noexcept {
    release(memory);
}
void operator delete(void *memory, std::size_t) noexcept {
    release(memory);
}
void operator delete[](void *memory, std::size_t) noexcept {
    release(memory);
}
void operator delete(void *memory, const std::nothrow_t &) noexcept {
    release(memory);
}
void operator delete[](void *memory, const std::nothrow_t &) noexcept {
    release(memory);
}
