// The forms in which one value stands in documents and URLs.
#pragma once

#include <string>
#include <string_view>
#include <vector>

std::string inLowerCase(std::string_view text);

// In small letters, without what stands around its words: as it is meant, which comes first and is the same
// for all ways in which it may be written, and as markup and URLs write that. None for what holds elements.
std::vector<std::string> formsOf(std::string_view value);
