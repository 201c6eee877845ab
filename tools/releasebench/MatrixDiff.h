// What becomes of every machine when one release takes the place of another.
#pragma once

#include <string>
#include <vector>

#include "Matrix.h"

// A way in which a customer is worse off. The rules have ids that stay.
struct Worse {
    const char *rule;
    std::string text;
};

// What is different for machines, in words.
struct Difference {
    std::string before;
    std::string now;
    std::vector<std::string> added;   // packages that an update installs, as in a PackageSet
    std::vector<std::string> removed; // packages that it installs no more
    std::vector<Worse> worse;

    bool isNone() const { return before == now && added.empty() && removed.empty() && worse.empty(); }
};

struct Change {
    VersionRange products;
    std::vector<VersionRange> systems; // none for all of them
    Difference difference;
};

// The matrices must be of the same axes; the systems are those of the axis.
std::vector<Change> changesBetween(const Matrix &before, const Matrix &now, const VersionAxis &systems);
