// Whole files, as tests want to write and compare them.
#pragma once

#include <fstream>
#include <iterator>
#include <string>

// "" when there is no such file.
inline std::string readText(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline void writeText(const std::string &path, const std::string &text) {
    std::ofstream(path, std::ios::binary) << text;
}
