#pragma once

#include <string>

// The path of a download: folder, sub-folder and file name, joined by slashes. An empty sub-folder leaves two
// slashes (kept as shipped).
//
// The parts come from catalogs and the path goes into commands that a shell runs as root. Throws
// std::invalid_argument when it holds a character that the shell acts on, a control character, a blank in the
// sub-folder, or a ".." that leads out of the folder.
std::string destinationPath(const std::string &folder, const std::string &subFolder,
                            const std::string &fileName);
