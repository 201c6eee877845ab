// The list of downloaded packages, "/tmp/packagelist.txt", which a "CheckForInstall" run leaves for an
// "Install" run. What it names is installed with administrator rights and its folder is open to everybody, so
// only a list that is this process's user's own counts.
#pragma once

#include <list>
#include <optional>
#include <string>
#include <vector>

// Replaces whatever stands at the list's path, one path a line. False when the list could not be written
// whole; then there is none.
bool writePackageList(const std::list<std::string> &paths);

// The non-empty lines as they stand; none without a list. Empty for a list that anybody else may have
// written, and for what is no file. Throws std::system_error or std::bad_alloc when the list cannot be read.
std::optional<std::vector<std::string>> readPackageList();

// Takes away what an earlier check left: the list, and before it the marker that tells the suite of it. False
// when the list is still there; what is no file is none.
bool removePackageList();
