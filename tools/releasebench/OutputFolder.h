#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <string>

// The files of a folder by their paths from there, "/" between the names.
using FolderFiles = std::map<std::string, std::string>;

bool hasContent(const std::filesystem::path &file, const std::string &content);

// Gives the folder just these files, at once: whoever looks sees the old or the new ones. False, and nothing
// is touched, when it has them already; files that stay the same keep their times. A folder that is there may
// hold only files for which isOurs is true, and leaves its mode to the new one. Throws UnusableInput when it
// holds others, and std::system_error.
bool putFolder(const std::filesystem::path &folder, const FolderFiles &files,
               const std::function<bool(const std::string &)> &isOurs);

// Puts these files into an empty folder, which stays itself: somebody may be working in it. Throws
// std::system_error.
void fillFolder(const std::filesystem::path &folder, const FolderFiles &files);
