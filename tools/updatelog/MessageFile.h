// The file that a message is about.
#pragma once

#include <string>

#include "MessageCatalogue.h"

// A value of a message; empty where it has none of that name.
inline std::string valueOf(const Recognised &known, const std::string &name) {
    const auto found = known.values.find(name);
    return found == known.values.end() ? std::string() : found->second;
}

inline std::string fileNameOf(const std::string &path) {
    return path.substr(path.rfind('/') + 1);
}

// Its name, by which a URL and the path at which it is kept are known as one; empty for a message about none.
inline std::string fileOf(const Recognised &known) {
    const std::string url = valueOf(known, "url");
    return fileNameOf(url.empty() ? valueOf(known, "path") : url);
}
