#pragma once

#include <string>

#include <nlohmann/json_fwd.hpp>

#include "Release.h"

// Parses a document and notes the lines of its keys and elements. Throws UnusableInput, whose message begins
// with the file's name and the line, for what is no JSON and for a key that stands twice in its object.
nlohmann::json parseWithPlaces(const std::string &text, const std::string &fileName, Places &places);
