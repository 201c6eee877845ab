#pragma once

#include <map>
#include <string>

// An archive of files by their paths, whose bytes depend on nothing else. Throws std::length_error for a path
// that the format has no room for.
std::string tarOf(const std::map<std::string, std::string> &files);
