// What several rules ask of texts.
#pragma once

#include <string_view>

inline bool isDecimal(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}
