#include "Tar.h"

#include <algorithm>
#include <numeric>
#include <stdexcept>

namespace {

constexpr std::size_t blockSize = 512;

std::string octal(std::size_t number, std::size_t digits) {
    std::string text(digits, '0');
    for (auto digit = text.rbegin(); digit != text.rend(); ++digit, number /= 8)
        *digit = static_cast<char>('0' + number % 8);
    return text;
}

// A header of the kind "ustar": a regular file of root's, of the first second of 1970.
std::string headerOf(const std::string &path, std::size_t size) {
    constexpr std::size_t longestPath = 99;
    if (path.size() > longestPath)
        throw std::length_error("a path too long for an archive: " + path);
    constexpr std::size_t checksumAt = 148;
    std::string header(blockSize, '\0');
    const auto put = [&header](std::size_t at, const std::string &text) {
        std::copy(text.begin(), text.end(), header.begin() + static_cast<std::ptrdiff_t>(at));
    };
    put(0, path);
    put(100, octal(0644, 7));
    put(108, octal(0, 7));
    put(116, octal(0, 7));
    put(124, octal(size, 11));
    put(136, octal(0, 11));
    put(checksumAt, "        ");
    put(156, "0");
    put(257, "ustar");
    put(263, "00");
    const auto sum =
        std::accumulate(header.begin(), header.end(), std::size_t{0}, [](std::size_t before, char byte) {
            return before + static_cast<unsigned char>(byte);
        });
    put(checksumAt, octal(sum, 6) + std::string(1, '\0') + " ");
    return header;
}

} // namespace

std::string tarOf(const std::map<std::string, std::string> &files) {
    std::string archive;
    for (const auto &[path, content] : files) {
        archive += headerOf(path, content.size()) + content;
        archive.resize((archive.size() + blockSize - 1) / blockSize * blockSize);
    }
    return archive + std::string(2 * blockSize, '\0');
}
