// Process-wide constant texts.
#pragma once

#include <string>

// A text that is made when the library is loaded and never destroyed: a host may leave its main function
// while threads of the engine still run.
inline const std::string &constantText(const char *text) {
    return *new const std::string(text);
}
