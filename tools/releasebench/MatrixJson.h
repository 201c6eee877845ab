#pragma once

#include <nlohmann/json_fwd.hpp>

#include "VersionAxis.h"

// "label", "tried" and the ends: "from" or "above", "to" or "below".
nlohmann::ordered_json rangeInJson(const VersionRange &range);
