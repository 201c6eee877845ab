// What several rules ask of texts.
#pragma once

#include <string>

inline bool isDecimal(const std::string &text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}
