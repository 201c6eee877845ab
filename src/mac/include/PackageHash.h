#pragma once

#include <string>

// Whether the suite's hash tool finds this SHA-1, in upper-case hex, in the file. Waits for the tool and
// traces what came out. The path goes to the shell as it is (kept).
bool hasPackageHash(const std::string &file, const std::string &expectedHash);
