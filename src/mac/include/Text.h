#pragma once

#include <string>
#include <string_view>

inline bool contains(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

// An affiliate id as the service is asked with it: up to its first "-".
inline std::string upToDash(const std::string &text) {
    return text.substr(0, text.find('-'));
}

// The last component of a URL or path; the whole text when it has no "/".
inline std::string_view lastComponent(std::string_view text) {
    return text.substr(text.rfind('/') + 1);
}
inline std::string afterLastSlash(const std::string &text) {
    return std::string(lastComponent(text));
}

// Whether a download of that URL is a package: what is none never counts as downloaded.
inline bool isPackage(const std::string &address) {
    return contains(afterLastSlash(address), ".pkg");
}
