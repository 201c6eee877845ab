// The examples of docs/formats.md: blocks that are fenced and named, "```xml NAME".
#pragma once

#include <string>
#include <vector>

// As it stands there; throws std::out_of_range when there is none of that name.
const std::string &example(const std::string &name);
std::vector<std::string> exampleNames();

// A document that stands in lines where two elements meet, as the one line that it is.
std::string inOneLine(const std::string &document);

// Writes an example to a file, with its folders.
void putExample(const std::string &name, const std::string &path);
