// How times stand in the log.
#pragma once

#include <algorithm>
#include <string_view>

inline constexpr std::string_view dayForm = "dddd-dd-dd";
inline constexpr std::string_view timeForm = "dddd-dd-dd.dd:dd:dd";
inline constexpr std::string_view stampForm = "dddd-dd-dd.dd:dd:dd : "; // before each message

// Whether the text is of that form, in which "d" stands for a digit.
inline bool hasForm(std::string_view text, std::string_view form) {
    return std::equal(text.begin(), text.end(), form.begin(), form.end(), [](char found, char expected) {
        return expected == 'd' ? found >= '0' && found <= '9' : found == expected;
    });
}
