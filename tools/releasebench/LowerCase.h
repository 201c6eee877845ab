#pragma once

#include <algorithm>
#include <cctype>
#include <string>

// As names of hosts, schemes and headers are compared.
inline std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return text;
}
