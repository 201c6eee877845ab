#pragma once

#include <string>
#include <vector>

// The one of some names that another one was probably meant to be, in any letter case; "" for none.
std::string probablyMeant(const std::string &name, const std::vector<std::string> &names);
