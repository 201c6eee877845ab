#include "MatrixDiff.h"

#include <algorithm>
#include <map>

#include "Decisive.h"
#include "InstallationOrder.h"
#include "MatrixView.h"
#include "Text.h"
#include "Version.h"

namespace {

// A machine in both matrices.
struct Pair {
    const Matrix &before;
    const Matrix &now;
    std::size_t row;
    std::size_t columnBefore;
    std::size_t columnNow;

    const Cell &cellBefore() const { return before.at(row, columnBefore); }
    const Cell &cellNow() const { return now.at(row, columnNow); }
    std::string versionAt(std::size_t itsRow) const {
        return itsRow == row ? "the version that it has" : now.products[itsRow].label();
    }
};

// Nothing where sets are not listed.
std::vector<std::string> installedBy(const Matrix &matrix, const Cell &cell) {
    return cell.set ? matrix.sets[*cell.set].installed : std::vector<std::string>();
}

std::vector<std::string> without(std::vector<std::string> some, std::vector<std::string> others) {
    std::sort(some.begin(), some.end());
    std::sort(others.begin(), others.end());
    std::vector<std::string> left;
    std::set_difference(some.begin(), some.end(), others.begin(), others.end(), std::back_inserter(left));
    return left;
}

std::string inWords(const Matrix &matrix, std::size_t row, std::size_t column) {
    const CellWords words = wordsOf(matrix, row, column);
    const std::string &reason = *matrix.at(matrix.at(row, column).endRow, column).reason;
    const bool fails = matrix.at(row, column).end == WayEnd::fails;
    return words.update + "; newest: " + words.way + (fails ? ": " + reason : "");
}

// --- the rules

bool isInVersionOrHigher(const std::string &package, const std::vector<std::string> &packages) {
    return std::any_of(packages.begin(), packages.end(), [&package](const std::string &other) {
        return lastComponent(other) == lastComponent(package) &&
               !isGreaterVersion(hotFixVersionOf(package), hotFixVersionOf(other));
    });
}

// Of the packages that the update installed before, those that none of the updates installs now.
std::vector<std::string> lostPackages(const Pair &pair) {
    std::vector<std::string> lost = installedBy(pair.before, pair.cellBefore());
    for (std::size_t row = pair.row; !lost.empty();) {
        const Cell &cell = pair.now.at(row, pair.columnNow);
        const std::vector<std::string> installed = installedBy(pair.now, cell);
        lost.erase(std::remove_if(lost.begin(), lost.end(),
                                  [&installed](const std::string &package) {
                                      return isInVersionOrHigher(package, installed);
                                  }),
                   lost.end());
        if (cell.nextRow == row)
            break;
        row = cell.nextRow;
    }
    return lost;
}

void judgeEnd(const Pair &pair, std::vector<Worse> &worse) {
    const Cell &before = pair.cellBefore();
    const Cell &now = pair.cellNow();
    if (now.endRow < before.endRow)
        worse.push_back({"lower-version", "ends at " + pair.versionAt(now.endRow) + ", before at " +
                                              pair.versionAt(before.endRow)});
    // A product above the newest there was is nobody's yet.
    if (pair.row <= pair.before.newestRow && pair.before.reachesNewest(before) &&
        !pair.now.reachesNewest(now))
        worse.push_back({"loses-newest", "got to the newest version, " + pair.before.newest +
                                             ", and gets no more to the newest version, " + pair.now.newest});
    if (now.end == WayEnd::fails && before.end != WayEnd::fails)
        worse.push_back({"fails", "the update at " + pair.versionAt(now.endRow) +
                                      " fails: " + *pair.now.at(now.endRow, pair.columnNow).reason});
    if (now.end == WayEnd::offeredForEver && before.end != WayEnd::offeredForEver)
        worse.push_back({"offered-for-ever", "is offered an update for ever at " +
                                                 pair.versionAt(now.endRow) +
                                                 " that does not raise the version"});
}

void judgeTheSameEnd(const Pair &pair, std::vector<Worse> &worse) {
    const Cell &before = pair.cellBefore();
    const Cell &now = pair.cellNow();
    if (now.endRow == before.endRow && now.updates > before.updates && before.updates > 0)
        worse.push_back({"more-updates", "takes " + std::to_string(now.updates) +
                                             " updates to the same version, before " +
                                             std::to_string(before.updates)});
    const bool areDone = now.outcome == Outcome::done && before.outcome == Outcome::done;
    if (areDone && now.nextRow == before.nextRow && isHigherBuild(before.build, now.build))
        worse.push_back({"lower-build", "gets build " + now.build + ", before " + before.build});
    if (now.endRow > before.endRow || !pair.before.listsSets || !pair.now.listsSets)
        return;
    for (const std::string &package : lostPackages(pair))
        worse.push_back({"package-lost", package + " is installed no more, nor a later one of that name"});
}

Difference differenceOf(const Pair &pair) {
    Difference difference;
    difference.before = inWords(pair.before, pair.row, pair.columnBefore);
    difference.now = inWords(pair.now, pair.row, pair.columnNow);
    const std::vector<std::string> before = installedBy(pair.before, pair.cellBefore());
    const std::vector<std::string> now = installedBy(pair.now, pair.cellNow());
    difference.added = without(now, before);
    difference.removed = without(before, now);
    judgeEnd(pair, difference.worse);
    judgeTheSameEnd(pair, difference.worse);
    return difference;
}

// --- neighbours that differ alike

// Systems that are one column in both matrices.
struct Systems {
    VersionRange range;
    std::size_t columnBefore;
    std::size_t columnNow;
};

std::vector<Systems> systemsOf(const Matrix &before, const Matrix &now, const VersionAxis &axis) {
    std::vector<Systems> all;
    for (std::size_t i = 0; i < axis.size(); ++i) {
        const Systems system = {axis.ranges()[i], before.columnOf[i], now.columnOf[i]};
        const bool isOne = !all.empty() && all.back().columnBefore == system.columnBefore &&
                           all.back().columnNow == system.columnNow;
        if (isOne)
            all.back().range = joined(all.back().range, system.range);
        else
            all.push_back(system);
    }
    return all;
}

// The same for differences of which the same is told.
std::string keyOf(const Difference &difference) {
    std::string key = difference.before + '\n' + difference.now;
    for (const std::string &package : difference.added)
        key += "\n+" + package;
    for (const std::string &package : difference.removed)
        key += "\n-" + package;
    for (const Worse &worse : difference.worse)
        key += std::string("\n!") + worse.rule + worse.text;
    return key;
}

// A row's differences, each with the systems that it is for.
struct RowChange {
    std::vector<std::size_t> systems;
    Difference difference;
};
using RowChanges = std::map<std::string, RowChange>;

RowChanges changesOfRow(const Matrix &before, const Matrix &now, const std::vector<Systems> &systems,
                        std::size_t row) {
    RowChanges changes;
    for (std::size_t i = 0; i < systems.size(); ++i) {
        Difference difference =
            differenceOf({before, now, row, systems[i].columnBefore, systems[i].columnNow});
        if (difference.isNone())
            continue;
        RowChange &change = changes[keyOf(difference)];
        change.systems.push_back(i);
        change.difference = std::move(difference);
    }
    return changes;
}

std::vector<VersionRange> rangesOf(const std::vector<std::size_t> &some,
                                   const std::vector<Systems> &systems) {
    std::vector<VersionRange> ranges;
    for (std::size_t i = 0; i < some.size() && some.size() < systems.size(); ++i) {
        const VersionRange &range = systems[some[i]].range;
        if (i > 0 && some[i - 1] + 1 == some[i])
            ranges.back() = joined(ranges.back(), range);
        else
            ranges.push_back(range);
    }
    return ranges;
}

} // namespace

std::vector<Change> changesBetween(const Matrix &before, const Matrix &now, const VersionAxis &axis) {
    const std::vector<Systems> systems = systemsOf(before, now, axis);
    std::vector<Change> changes;
    // Changes that went on up to the row above, by what they are and for which systems.
    std::map<std::pair<std::string, std::vector<std::size_t>>, std::size_t> open;
    for (std::size_t row = 0; row < before.rows.size(); ++row) {
        decltype(open) goingOn;
        for (auto &[key, change] : changesOfRow(before, now, systems, row)) {
            const auto known = open.find({key, change.systems});
            const std::size_t index = known != open.end() ? known->second : changes.size();
            if (known != open.end())
                changes[index].products = joined(changes[index].products, before.products[row]);
            else
                changes.push_back(
                    {before.products[row], rangesOf(change.systems, systems), change.difference});
            goingOn.emplace(std::make_pair(key, change.systems), index);
        }
        open = std::move(goingOn);
    }
    return changes;
}
