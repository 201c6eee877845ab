// Dotted versions as the catalogs and the configuration files write them.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

// The up to four numbers of a version text, as "%u.%u.%u.%u" reads them. A missing number is 0; one that
// does not fit 32 bits is taken modulo 2^32. Numbers are then signed: 2147483648 and more are negative.
std::array<std::int32_t, 4> parseVersion(std::string_view text) noexcept;

// Whether the first version is above the second, number by number; equal ones are not.
bool isGreaterVersion(std::string_view first, std::string_view second) noexcept;
