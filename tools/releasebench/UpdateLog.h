// What the engine's log of an update means to people.
#pragma once

#include <string>
#include <vector>

// A line of the log, without its stamp, in the words of the story; "" for one that is not worth telling.
std::string toldOfUpdate(const std::string &line);

// The packages that an installer script installs, in its order.
std::vector<std::string> packagesOfScript(const std::string &script);

// A downloaded package's path, below the folder of all packages.
std::string belowPackages(const std::string &path);
