#include "MatrixCommand.h"
#include "MatrixPicture.h"
#include "PageHead.h"
#include "Readable.h"
#include "UnusableInput.h"
#include "XmlOut.h"

namespace {

using Attributes = XmlOut::Attributes;

constexpr std::size_t mostCells = 100'000;

constexpr const char *style = R"(
.scroll { overflow: auto; max-width: 100%; }
th, td { border: 1px solid var(--line); padding: 0.3rem 0.6rem; text-align: left; vertical-align: top; }
td span { display: block; white-space: nowrap; }
td.fine { background: var(--fine-ground); }
td.bad { background: var(--bad-ground); }
svg { font: 14px sans-serif; fill: var(--ink); }
svg .fine { color: var(--fine); }
svg .bad { color: var(--bad); }
svg .mark { stroke: currentColor; stroke-width: 2; }
svg .hollow, svg .way { fill: none; }
svg .filled { fill: currentColor; }
svg .way { stroke: currentColor; stroke-width: 1.5; opacity: 0.6; }
)";

std::string idOf(std::size_t set) {
    return "set-" + nameOfSet(set);
}

void writeCell(const Matrix &matrix, std::size_t row, std::size_t column, XmlOut &out) {
    const CellWords words = wordsOf(matrix, row, column);
    const std::optional<std::size_t> &set = matrix.at(row, column).set;
    out.open("td", {{"class", nameOf(words.mood)}});
    out.open("span");
    if (set)
        out.leaf("a", {{"href", "#" + idOf(*set)}}, printable(updateWithSet(words)));
    else
        out.leaf("span", printable(updateWithSet(words)));
    out.close();
    out.leaf("span", printable(words.way));
    out.close();
}

void writeTable(const Matrix &matrix, const std::vector<Band> &bands, XmlOut &out) {
    out.leaf("h2", "What an update installs, and the way");
    out.open("div",
             {{"class", "scroll"}, {"tabindex", "0"}, {"role", "region"}, {"aria-label", "The matrix"}});
    out.open("table");
    out.open("thead");
    out.open("tr");
    out.leaf("th", Attributes{{"scope", "col"}}, "product \\ system");
    for (const VersionRange &system : matrix.systems)
        out.leaf("th", Attributes{{"scope", "col"}}, printable(system.label()));
    out.close();
    out.close();
    out.open("tbody");
    for (const Band &band : bands) {
        out.open("tr");
        out.leaf("th", Attributes{{"scope", "row"}}, printable(band.label));
        for (std::size_t column = 0; column < matrix.systems.size(); ++column)
            writeCell(matrix, band.first, column, out);
        out.close();
    }
    out.close();
    out.close();
    out.close();
}

void writeList(const char *list, const std::vector<std::string> &items, XmlOut &out) {
    out.open(list);
    for (const std::string &item : items)
        out.leaf("li", printable(item));
    out.close();
}

void writeSets(const Matrix &matrix, XmlOut &out) {
    if (!matrix.sets.empty())
        out.leaf("h2", "Packages in the order of their installation");
    for (std::size_t set = 0; set < matrix.sets.size(); ++set) {
        out.open("section", {{"id", idOf(set)}});
        out.leaf("h3", nameOfSet(set));
        if (!matrix.sets[set].installed.empty())
            writeList("ol", matrix.sets[set].installed, out);
        if (!matrix.sets[set].leftOut.empty()) {
            out.leaf("p", "Never installed, since no order name admits them:");
            writeList("ul", matrix.sets[set].leftOut, out);
        }
        out.close();
    }
}

void writeWays(const Matrix &matrix, const std::vector<Band> &bands, XmlOut &out) {
    out.leaf("h2", printable(titleOfWays(matrix)));
    if (matrix.newest.empty())
        return;
    writePicture(matrix, bands, out);
    const std::vector<std::string> findings = findingsOf(matrix, bands);
    out.leaf("h2", "Findings");
    if (findings.empty())
        out.leaf("p", "Everybody reaches the newest version.");
    else
        writeList("ul", findings, out);
}

} // namespace

std::string matrixPage(const Matrix &matrix, const std::vector<Band> &bands) {
    if (bands.size() > mostCells / matrix.systems.size())
        throw UnusableInput("releasebench: " + std::to_string(bands.size()) + " rows by " +
                            std::to_string(matrix.systems.size()) +
                            " columns are too many for --html, expected no more than " +
                            std::to_string(mostCells) + " cells; --format json tells them all");
    XmlOut out(XmlOut::Kind::page);
    out.open("html", {{"lang", "en"}, {"xmlns", "http://www.w3.org/1999/xhtml"}});
    writePageHead({printable(titleOf(matrix)), style, ""}, out);
    out.open("body");
    out.open("main");
    out.leaf("h1", printable(titleOf(matrix)));
    writeWays(matrix, bands, out);
    writeTable(matrix, bands, out);
    writeList("ul", legendOf(matrix, bands), out);
    writeSets(matrix, out);
    return out.text();
}
