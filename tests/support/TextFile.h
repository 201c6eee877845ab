// Whole files, as tests want to write and compare them.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

// "" when there is no such file.
inline std::string readText(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline void writeText(const std::string &path, const std::string &text) {
    std::ofstream file(path, std::ios::binary);
    if (!(file << text).flush())
        throw std::runtime_error("the test cannot write " + path);
}

// A program that others may be starting meanwhile: the system lets nobody write to a file that is executed.
inline void replaceProgram(const std::string &path, const std::string &text) {
    const std::string draft = path + ".draft";
    writeText(draft, text);
    std::filesystem::permissions(draft, std::filesystem::perms(0755));
    std::filesystem::rename(draft, path);
}
