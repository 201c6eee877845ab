#include "MatrixView.h"

#include <algorithm>
#include <map>
#include <utility>

namespace {

bool isSettledAt(const Cell &cell, std::size_t row) {
    return cell.endRow == row;
}

bool areAlike(const Matrix &matrix, std::size_t above, std::size_t below, std::size_t column) {
    const Cell &first = matrix.at(above, column);
    const Cell &second = matrix.at(below, column);
    const bool doTheSame = first.outcome != Outcome::done || first.choice == second.choice ||
                           (first.set && first.set == second.set);
    const bool leadAlike =
        isSettledAt(first, above) ? isSettledAt(second, below) : first.endRow == second.endRow;
    return doTheSame && leadAlike && first.outcome == second.outcome && *first.reason == *second.reason &&
           first.isRaised == second.isRaised && (!first.isRaised || first.version == second.version) &&
           first.build == second.build && first.updates == second.updates && first.end == second.end &&
           matrix.reachesNewest(first) == matrix.reachesNewest(second);
}

std::string updateInWords(const Matrix &matrix, const Cell &cell) {
    if (cell.outcome == Outcome::nothingToDo)
        return "-";
    if (cell.outcome == Outcome::fails)
        return "fails";
    return std::to_string(matrix.installedBy(cell)) + " -> " + (cell.isRaised ? cell.version : "stays") +
           " (" + cell.build + ")";
}

std::string counted(std::size_t updates) {
    return std::to_string(updates) + (updates == 1 ? " update" : " updates");
}

std::string wayInWords(const Matrix &matrix, const Cell &cell, std::size_t row) {
    std::string words = cell.updates == 0 ? "there" : counted(cell.updates);
    if (!matrix.reachesNewest(cell))
        words = "never";
    if (cell.end == WayEnd::offeredForEver)
        words += ", for ever";
    if (cell.end == WayEnd::fails)
        words += ", fails";
    if (!matrix.reachesNewest(cell) && !isSettledAt(cell, row))
        words += " at " + matrix.products[cell.endRow].label();
    return words;
}

// What there is to be told of a cell beyond its words; "" for nothing.
std::string findingOf(const Matrix &matrix, std::size_t row, std::size_t column) {
    const Cell &cell = matrix.at(row, column);
    const std::string place = isSettledAt(cell, row) ? "" : " at " + matrix.products[cell.endRow].label();
    const std::string never = matrix.reachesNewest(cell) ? "" : "never reaches " + matrix.newest + ": ";
    switch (cell.end) {
    case WayEnd::offeredForEver:
        return never + "is offered an update for ever" + place + " that does not raise the version";
    case WayEnd::fails:
        return never + "the update" + place + " fails: " + *matrix.at(cell.endRow, column).reason;
    case WayEnd::nothingOffered:
        break;
    }
    return never.empty() ? "" : never + "nothing is offered" + place;
}

// Of one band, each finding with the systems that it holds for.
std::map<std::string, std::string> findingsIn(const Matrix &matrix, const Band &band) {
    std::map<std::string, std::size_t> counts;
    std::map<std::string, std::string> systems;
    for (std::size_t column = 0; column < matrix.systems.size(); ++column) {
        const std::string finding = findingOf(matrix, band.first, column);
        if (finding.empty())
            continue;
        std::string &labels = systems[finding];
        labels += (labels.empty() ? " on system " : ", ") + matrix.systems[column].label();
        ++counts[finding];
    }
    for (const auto &[finding, count] : counts) {
        if (count == matrix.systems.size())
            systems[finding] = count == 1 ? "" : " on every system";
    }
    return systems;
}

bool hasCell(const Matrix &matrix, const std::vector<Band> &bands, bool (*is)(const Cell &)) {
    return std::any_of(bands.begin(), bands.end(), [&](const Band &band) {
        const std::vector<Cell> &cells = matrix.rows[band.first];
        return std::any_of(cells.begin(), cells.end(), is);
    });
}

} // namespace

std::vector<Band> bandsOf(const Matrix &matrix) {
    std::vector<Band> bands;
    for (std::size_t row = 0; row < matrix.rows.size(); ++row) {
        bool isAlike = row > 0;
        for (std::size_t column = 0; isAlike && column < matrix.systems.size(); ++column)
            isAlike = areAlike(matrix, row - 1, row, column);
        if (isAlike)
            bands.back().last = row;
        else
            bands.push_back({row, row, ""});
    }
    for (Band &band : bands)
        band.label = joined(matrix.products[band.first], matrix.products[band.last]).label();
    return bands;
}

std::string updateWithSet(const CellWords &words) {
    return (words.set.empty() ? "" : words.set + ": ") + words.update;
}

CellWords wordsOf(const Matrix &matrix, std::size_t row, std::size_t column) {
    const Cell &cell = matrix.at(row, column);
    Mood mood = Mood::bad;
    if (matrix.reachesNewest(cell) && cell.end == WayEnd::nothingOffered)
        mood = cell.updates > 0 ? Mood::fine : Mood::nothing;
    return {cell.set ? nameOfSet(*cell.set) : "", updateInWords(matrix, cell), wayInWords(matrix, cell, row),
            mood};
}

std::string nameOfSet(std::size_t set) {
    std::string name(1, static_cast<char>('a' + set % 26));
    for (set /= 26; set > 0; set = (set - 1) / 26)
        name.insert(name.begin(), static_cast<char>('a' + (set - 1) % 26));
    return name;
}

std::string contentOf(const PackageSet &set) {
    std::string text;
    for (const std::string &path : set.installed)
        text += (text.empty() ? "" : ", ") + path;
    std::string leftOut;
    for (const std::string &path : set.leftOut)
        leftOut += (leftOut.empty() ? "never installed, since no order name admits them: " : ", ") + path;
    return text + (text.empty() || leftOut.empty() ? "" : "; ") + leftOut;
}

std::string titleOf(const Matrix &matrix) {
    return "What an update installs, affiliate " + matrix.asker.affiliate + ", application " +
           matrix.asker.application;
}

std::string titleOfWays(const Matrix &matrix) {
    return matrix.newest.empty() ? "The release brings no version"
                                 : "The way to the newest version, " + matrix.newest;
}

std::vector<std::string> legendOf(const Matrix &matrix, const std::vector<Band> &bands) {
    std::vector<std::string> lines = {
        "2 -> 1.2.3.4 (56): 2 packages are installed, and version 1.2.3.4, build 56, is recorded"};
    if (hasCell(matrix, bands,
                [](const Cell &cell) { return cell.outcome == Outcome::done && !cell.isRaised; }))
        lines.emplace_back("stays: the version is the one before, so that the update is offered for ever");
    if (hasCell(matrix, bands, [](const Cell &cell) { return cell.outcome == Outcome::nothingToDo; }))
        lines.emplace_back("-: nothing is offered");
    if (hasCell(matrix, bands, [](const Cell &cell) { return cell.outcome == Outcome::fails; }))
        lines.emplace_back("fails: nothing is installed; the findings tell why");
    if (!matrix.listsSets)
        lines.emplace_back(
            "The packages are too many to be listed. Those are counted that are downloaded; which of "
            "them no order name admits is not told here, but by explain.");
    return lines;
}

std::vector<std::string> findingsOf(const Matrix &matrix, const std::vector<Band> &bands) {
    struct Finding {
        std::size_t first; // row
        std::size_t last;
        std::string systems;
        std::string text;
    };
    std::vector<Finding> findings;
    std::map<std::pair<std::string, std::string>, std::size_t> latest; // by text and systems
    for (const Band &band : bands) {
        for (const auto &[text, systems] : findingsIn(matrix, band)) {
            const auto [entry, isNew] = latest.try_emplace({text, systems}, findings.size());
            if (!isNew && findings[entry->second].last + 1 == band.first) {
                findings[entry->second].last = band.last;
                continue;
            }
            entry->second = findings.size();
            findings.push_back({band.first, band.last, systems, text});
        }
    }
    std::vector<std::string> lines;
    for (const Finding &finding : findings) {
        const VersionRange range = joined(matrix.products[finding.first], matrix.products[finding.last]);
        lines.push_back("product " + range.label() + finding.systems + ": " + finding.text);
    }
    return lines;
}
