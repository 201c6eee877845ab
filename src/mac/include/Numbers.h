// Conversions of numbers that come from the network or from files. Every input has one defined result.
#pragma once

#include <cstdint>
#include <string>

// Truncates toward zero. A value that does not fit, and what is not a number, gives -2147483648, as the
// conversion instruction of 32-bit x86 does.
std::int32_t truncateToInt32(double value) noexcept;

// The leading decimal number of a text, 0 without one; what does not fit becomes the nearest 32-bit value.
std::int32_t leadingNumber(const std::string &text) noexcept;
