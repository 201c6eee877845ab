#pragma once

#include <cstdint>
#include <optional>
#include <string>

// The number that the whole text, digits only, writes in decimal.
std::optional<std::uint64_t> wholeNumber(const std::string &text);

// A file's bytes; none when it can't be read.
std::optional<std::string> contentOf(const std::string &path);
