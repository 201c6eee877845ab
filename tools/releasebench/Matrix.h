// What an update does for every product version on every system version, and where a product gets by
// repeating it. The engine's own functions decide all of it.
#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Offer.h"
#include "Plan.h"
#include "VersionAxis.h"

// A release and what one of its audience is told of it.
struct Served {
    std::string folder;
    Asker asker;
    Offer offer;
    std::vector<std::string> orderNames;
    std::vector<std::string> fullVersions; // that the full-install packages of its catalogs bring
};

// Ids that are empty are those that the release names first. Throws what reading the release throws.
Served servedOf(const std::filesystem::path &folder, const Asker &asker);

struct Axes {
    VersionAxis products;
    VersionAxis systems;
};

// Of all versions and bounds in these.
Axes axesOf(const std::vector<const Served *> &all);

// What is got together, told by paths below the package folder.
struct PackageSet {
    std::vector<std::string> installed; // in their order, branding first
    std::vector<std::string> leftOut;   // downloaded, and never installed: no order name admits them
};

// Why a product stays where it is in the end.
enum class WayEnd { nothingOffered, offeredForEver, fails };

struct Cell {
    // One update.
    Outcome outcome = Outcome::nothingToDo;
    std::shared_ptr<const std::string> reason; // of any other outcome than done; never null
    std::size_t choice = 0;    // the same for cells that choose the same hot-fixes in a row of one column
    std::size_t downloads = 0; // packages; 0 unless it is done
    std::optional<std::size_t> set; // of those packages, where sets are listed and it is done
    std::string version;            // afterwards
    std::string build;              // "" when it stays
    bool isRaised = false;          // whether that version is above the one before
    // The update repeated, until it raises the version no more. It never lowers it.
    std::size_t updates = 0; // that raise the version
    std::size_t nextRow = 0; // after one of them
    std::size_t endRow = 0;
    WayEnd end = WayEnd::nothingOffered;
};

struct Matrix {
    Asker asker;
    std::string newest;                 // the highest version that the release brings; "" when it brings none
    std::vector<VersionRange> products; // the rows
    std::vector<VersionRange> systems;  // the columns: neighbours for which no hot-fix differs are one
    std::vector<std::size_t> columnOf;  // of each range of the axis of systems
    std::vector<std::vector<Cell>> rows;
    std::vector<PackageSet> sets;
    bool listsSets = true; // false when there are more packages to list than the limit
    std::size_t newestRow = 0;

    const Cell &at(std::size_t row, std::size_t column) const { return rows[row][column]; }
    bool reachesNewest(const Cell &cell) const { return cell.endRow >= newestRow; }
    std::size_t installedBy(const Cell &cell) const {
        return cell.set ? sets[*cell.set].installed.size() : cell.downloads;
    }
};

struct MatrixLimits {
    std::size_t cells = 1'000'000;
    std::size_t listed = 200'000; // packages of all sets together
};

// Throws UnusableInput when there are more cells than the limit.
Matrix matrixOf(const Served &served, const Axes &axes, const MatrixLimits &limits = {});
