#pragma once

#include <string>
#include <string_view>

inline bool contains(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

// The last component of a URL or path; the whole text when it has no "/".
inline std::string_view lastComponent(std::string_view text) {
    return text.substr(text.rfind('/') + 1);
}
inline std::string afterLastSlash(const std::string &text) {
    return std::string(lastComponent(text));
}
