#include "Numbers.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace {
using Int32Limits = std::numeric_limits<std::int32_t>;
}

std::int32_t truncateToInt32(double value) noexcept {
    // Written so that not-a-number fails the test too.
    const bool fits = value > Int32Limits::min() - 1.0 && value < Int32Limits::max() + 1.0;
    return fits ? static_cast<std::int32_t>(value) : Int32Limits::min();
}

std::int32_t leadingNumber(const std::string &text) noexcept {
    const long long number = std::strtoll(text.c_str(), nullptr, 10);
    return static_cast<std::int32_t>(std::clamp<long long>(number, Int32Limits::min(), Int32Limits::max()));
}
