// What the programs of this folder measure on: catalogs, records and package paths as a release has them, of
// any number and in any order.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "CatalogParser.h"

enum class Arrangement { random, sorted, reversed, equal, organPipe };
constexpr std::array<Arrangement, 5> arrangements = {Arrangement::random, Arrangement::sorted,
                                                     Arrangement::reversed, Arrangement::equal,
                                                     Arrangement::organPipe};
const char *nameOf(Arrangement arrangement);

// The numbers below a count, arranged: the same ones in every run. Equal ones are all the same number; an
// organ pipe goes up to the highest number and down again.
std::vector<std::size_t> numbers(Arrangement arrangement, std::size_t count);

// Ten packages share a version.
std::string versionOf(std::size_t number);
std::string packageName(std::size_t number);
HotFixPackageInfo hotFix(std::size_t number);
ProductInfo product(std::size_t number);
// Where the package lies once it was downloaded; every sixteenth is a repost.
std::string packagePath(std::size_t number);

// One record for each number, made by one of the functions above.
template <typename Record>
std::vector<Record> recordsOf(const std::vector<std::size_t> &sequence, Record (*make)(std::size_t)) {
    std::vector<Record> records;
    records.reserve(sequence.size());
    for (const std::size_t number : sequence)
        records.push_back(make(number));
    return records;
}

// The document of a product catalog with so many hot-fixes.
std::string catalogOf(std::size_t packages);
// A service's reply with so many catalogs for each of two products.
std::string replyOf(std::size_t catalogs);
