// What holds for every place that a download is given, whatever the catalogs say: its path goes into commands
// that a shell runs as root.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

#include "DestinationPath.h"
#include "Machine.h"

// The shell would act on it, or it is a control character.
inline bool isForShell(char character) {
    return std::string(";&|<>()$`\\\"'\x7f").find(character) != std::string::npos ||
           static_cast<unsigned char>(character) < 0x20;
}

inline void requireSafeDestination(const std::string &folder, const std::string &subFolder,
                                   const std::string &fileName) {
    std::string path;
    try {
        path = destinationPath(folder, subFolder, fileName);
    } catch (const std::invalid_argument &) {
        return; // refused, as it says
    }
    for (const char character : path)
        require(!isForShell(character), "no path holds what a shell acts on");
    const std::string reached = std::filesystem::path(path).lexically_normal();
    require(reached.rfind(folder + "/", 0) == 0, "no path leads out of its folder");
    const std::string folderMade = path.substr(0, path.rfind('/'));
    require(folderMade.find(' ') == std::string::npos, "the folder to be made is one word");
}
