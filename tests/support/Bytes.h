// Contents of files for downloads, and their hashes.
#pragma once

#include <array>
#include <cstdint>
#include <random>
#include <string>

#include <openssl/evp.h>

// The same bytes at every call, of all values, line ends and zeros among them.
inline std::string fileContent(std::size_t size, std::uint32_t variant = 0) {
    std::mt19937 generator(variant);
    std::string bytes(size, '\0');
    for (char &byte : bytes)
        byte = static_cast<char>(generator() & 0xff);
    return bytes;
}

// SHA-1 in upper-case hex, as the catalogs give it.
inline std::string sha1Of(const std::string &bytes) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned size = 0;
    if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), &size, EVP_sha1(), nullptr) != 1)
        return "no digest";
    std::string text;
    for (unsigned i = 0; i < size; ++i) {
        text += "0123456789ABCDEF"[digest.at(i) >> 4];
        text += "0123456789ABCDEF"[digest.at(i) & 0xf];
    }
    return text;
}
