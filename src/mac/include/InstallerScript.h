// The text of the script that installs an update's packages, and the commands around it; no machine is
// touched.
#pragma once

#include <list>
#include <string>

// The command that installs one package.
std::string installCommand(const std::string &path);

// The lines before the first package: how the script tells what became of a package.
std::string installerScriptOpening();
// The lines of one package.
std::string installerScriptLines(const std::string &path);
// The lines behind the last package: the new configuration, the restart that a marker asks for, the clean-up.
std::string installerScriptClosing();

// The whole script.
std::string installerScript(const std::list<std::string> &orderedPaths);
