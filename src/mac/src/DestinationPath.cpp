#include "DestinationPath.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

#include "Text.h"

namespace {

// A blank is not among them: in a file's name it breaks the hash check and does no other harm.
bool isRefused(char character) {
    const auto code = static_cast<unsigned char>(character);
    constexpr std::string_view shellCharacters = ";&|<>()$`\\\"'";
    return code < 0x20 || code == 0x7f || shellCharacters.find(character) != std::string_view::npos;
}

bool leadsOut(const std::string &relativePath) {
    return contains("/" + relativePath + "/", "/../");
}

} // namespace

std::string destinationPath(const std::string &folder, const std::string &subFolder,
                            const std::string &fileName) {
    std::string path = folder + "/" + subFolder + "/" + fileName;
    // In a folder's name a blank makes the rest another folder's.
    if (std::any_of(path.begin(), path.end(), isRefused) || contains(subFolder, " ") ||
        leadsOut(subFolder + "/" + fileName))
        throw std::invalid_argument("a destination that no command may name");
    return path;
}
