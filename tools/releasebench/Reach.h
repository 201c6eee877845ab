// Which machines of a matrix a hot-fix applies to, by the engine's judgement.
#pragma once

#include <cstddef>
#include <vector>

#include "CatalogParser.h"
#include "VersionAxis.h"

// From the first to before the end, on both axes; without products for a hot-fix that nobody gets.
struct Reach {
    std::size_t firstProduct = 0;
    std::size_t endProduct = 0;
    std::size_t firstSystem = 0;
    std::size_t endSystem = 0;
};

// The engine's bounds are a lowest and a highest version, so that its judgements along an axis are in order:
// too old, applies, too new. It is asked at as many places as it takes to find where they change, once for
// all hot-fixes with the same bounds.
std::vector<Reach> reachesOf(const std::vector<HotFixPackageInfo> &hotFixes, const VersionAxis &products,
                             const VersionAxis &systems);
