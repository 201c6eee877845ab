#pragma once

#include <string>

inline bool contains(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

// The last component of a URL or path; the whole text when it has no "/".
inline std::string afterLastSlash(const std::string &text) {
    return text.substr(text.rfind('/') + 1);
}
