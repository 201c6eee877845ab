// How versions compare, said as simply as can be: by the C library's scan. Only for texts that it scans by a
// rule, those without a number that fits no 64 bits.
#pragma once

#include <array>
#include <cctype>
#include <cstdio>
#include <string>

inline bool isScannable(const std::string &version) {
    int digits = 0;
    for (const char character : version) {
        digits = std::isdigit(static_cast<unsigned char>(character)) != 0 ? digits + 1 : 0;
        if (digits > 18)
            return false;
    }
    return true;
}

inline std::array<int, 4> scanned(const std::string &version) {
    std::array<unsigned, 4> number{};
    static_cast<void>(
        std::sscanf(version.c_str(), "%u.%u.%u.%u", &number[0], &number[1], &number[2], &number[3]));
    return {static_cast<int>(number[0]), static_cast<int>(number[1]), static_cast<int>(number[2]),
            static_cast<int>(number[3])};
}

inline bool isNewer(const std::string &one, const std::string &other) {
    return scanned(one) > scanned(other);
}
