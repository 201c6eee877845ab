#pragma once

#include <string>
#include <vector>

#include "Explain.h"

// Writes the installer script that an update would run as root, and on standard error what a shell would not
// take as meant. Statuses::findings when there is any of that.
int runScript(const Question &question);

// What a shell makes of a package's path where it stands unquoted in the script, other than the path; one
// line a reason.
std::vector<std::string> shellFaults(const std::string &path);
