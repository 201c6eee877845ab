#pragma once

#include <list>
#include <string>
#include <vector>

#include "CatalogParser.h"

// What a fresh installation downloads, in this order: the packages of these products. A partner's package
// takes the place of the first one whose URL contains its name, and moves to the end.
std::list<std::string> productUrls(const std::vector<ProductInfo> &products);
