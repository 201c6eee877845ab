// What reading a catalog costs libxml2 alone: the file is parsed twice, once for the branding build number,
// and one expression is evaluated for each item.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "CatalogParser.h"

// For each of the eleven items of its hot-fixes, and for the five of its product.
std::vector<std::string> hotFixExpressions();
std::vector<std::string> productExpressions();

// Parses and evaluates, and looks at nothing. Gives the number of nodes that were selected.
std::size_t parseAndEvaluate(const std::string &file, const std::vector<std::string> &expressions);
// The hot-fixes' records as well, by the shortest way that libxml2 offers.
std::vector<HotFixPackageInfo> readPlainly(const std::string &file);
