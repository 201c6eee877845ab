// What the fuzz targets have in common: how they tell a broken promise, and the files that they give the
// engine.
#pragma once

#include <string>

// Ends the run with a stack trace when something that must hold does not, and says what.
void require(bool holds, const char *promise);

// Replaces the file, which is then the process's own. A folder that is missing is made.
void putFile(const std::string &path, const std::string &content);

// "" when there is no such file.
std::string fileContent(const std::string &path);
