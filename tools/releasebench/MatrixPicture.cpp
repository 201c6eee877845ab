#include "MatrixPicture.h"

#include <algorithm>

#include "Readable.h"
#include "XmlOut.h"

namespace {

using Attributes = XmlOut::Attributes;

constexpr std::size_t mostRows = 200;
constexpr std::size_t mostColumns = 40;

// In the picture's units, which are pixels until it is scaled.
constexpr std::size_t perLetter = 8;
constexpr std::size_t rowHeight = 34;
constexpr std::size_t markSize = 7;
constexpr std::size_t roomForWays = 50; // to the left of a column's marks

enum class Mark { ring, disc, square, diamond, cross };

struct MarkWords {
    Mark mark;
    Mood mood;
    const char *words;
};

constexpr MarkWords legend[] = {
    {Mark::ring, Mood::nothing, "is there already"},
    {Mark::disc, Mood::fine, "gets to the newest version"},
    {Mark::square, Mood::bad, "never gets there: nothing is offered"},
    {Mark::diamond, Mood::bad, "is offered the same update for ever"},
    {Mark::cross, Mood::bad, "its update fails"},
};

Mark markOf(const Matrix &matrix, const Cell &cell) {
    if (cell.end == WayEnd::fails)
        return Mark::cross;
    if (cell.end == WayEnd::offeredForEver)
        return Mark::diamond;
    if (!matrix.reachesNewest(cell))
        return Mark::square;
    return cell.updates > 0 ? Mark::disc : Mark::ring;
}

std::string number(std::size_t value) {
    return std::to_string(value);
}

// The edges of a mark around a place.
std::string shapeOf(Mark mark, std::size_t x, std::size_t y) {
    const std::string left = number(x - markSize);
    const std::string right = number(x + markSize);
    const std::string top = number(y - markSize);
    const std::string bottom = number(y + markSize);
    const std::string here = number(x);
    const std::string level = number(y);
    switch (mark) {
    case Mark::square:
        return "M " + left + " " + top + " H " + right + " V " + bottom + " H " + left + " Z";
    case Mark::diamond:
        return "M " + here + " " + top + " L " + right + " " + level + " L " + here + " " + bottom + " L " +
               left + " " + level + " Z";
    case Mark::cross:
        return "M " + left + " " + top + " L " + right + " " + bottom + " M " + right + " " + top + " L " +
               left + " " + bottom;
    case Mark::ring:
    case Mark::disc:
        break;
    }
    const std::string arc = "A " + number(markSize) + " " + number(markSize) + " 0 0 1 ";
    return "M " + left + " " + level + " " + arc + right + " " + level + " " + arc + left + " " + level +
           " Z";
}

void writeMark(Mark mark, std::size_t x, std::size_t y, XmlOut &out) {
    const bool isFilled = mark == Mark::disc || mark == Mark::diamond;
    out.empty("path", {{"class", isFilled ? "mark filled" : "mark hollow"}, {"d", shapeOf(mark, x, y)}});
}

void writeText(std::size_t x, std::size_t y, const std::string &text, XmlOut &out) {
    out.leaf("text", {{"x", number(x)}, {"y", number(y + 5)}}, printable(text));
}

class Picture {
public:
    Picture(const Matrix &matrix, const std::vector<Band> &bands, XmlOut &out)
        : m_matrix(matrix)
        , m_bands(bands)
        , m_out(out) {
        std::size_t longest = 0;
        for (const Band &band : bands)
            longest = std::max(longest, band.label.size());
        std::size_t left = longest * perLetter;
        for (std::size_t column = 0; column < matrix.systems.size(); ++column) {
            m_places.push_back(left + roomForWays);
            std::size_t letters = matrix.systems[column].label().size();
            for (const Band &band : bands)
                letters = std::max(letters, wordsOf(matrix, band.first, column).way.size());
            left += roomForWays + 2 * markSize + (letters + 1) * perLetter;
        }
        m_width = std::max<std::size_t>(left, 400);
    }

    void write() {
        const std::size_t height = levelOf(m_bands.size() + std::size(legend) + 1);
        m_out.open("svg", {{"xmlns", "http://www.w3.org/2000/svg"},
                           {"role", "img"},
                           {"aria-labelledby", "picture-title"},
                           {"width", number(m_width)},
                           {"height", number(height)},
                           {"viewBox", "0 0 " + number(m_width) + " " + number(height)}});
        m_out.leaf(
            "title", {{"id", "picture-title"}},
            "The way of each product version to the newest, by system version; the table below says the "
            "same in words");
        for (std::size_t column = 0; column < m_places.size(); ++column)
            writeText(m_places[column] - markSize, rowHeight / 2, m_matrix.systems[column].label(), m_out);
        for (std::size_t band = 0; band < m_bands.size(); ++band) {
            writeText(0, levelOf(band), m_bands[band].label, m_out);
            for (std::size_t column = 0; column < m_places.size(); ++column)
                writeCell(band, column);
        }
        writeLegend();
        m_out.close();
    }

private:
    static std::size_t levelOf(std::size_t band) { return rowHeight * band + rowHeight * 3 / 2; }

    void writeCell(std::size_t band, std::size_t column) {
        const Cell &cell = m_matrix.at(m_bands[band].first, column);
        const CellWords words = wordsOf(m_matrix, m_bands[band].first, column);
        const std::size_t x = m_places[column];
        const std::size_t y = levelOf(band);
        m_out.open("g", {{"class", nameOf(words.mood)}});
        m_out.leaf("title",
                   printable("product " + m_bands[band].label + ", system " +
                             m_matrix.systems[column].label() + ": " + words.update + "; " + words.way));
        const std::size_t next = bandOf(cell.nextRow);
        if (next != band)
            writeWay(x, y, levelOf(next));
        writeMark(markOf(m_matrix, cell), x, y, m_out);
        writeText(x + 2 * markSize, y, words.way, m_out);
        m_out.close();
    }

    // Bent to the left, the farther the longer it is.
    void writeWay(std::size_t x, std::size_t from, std::size_t to) {
        const std::size_t bend = std::min<std::size_t>(roomForWays - markSize, 14 + (to - from) / 6);
        const std::string side = number(x - markSize - bend);
        const std::string edge = number(x - markSize);
        m_out.empty("path", {{"class", "way"},
                             {"d", "M " + edge + " " + number(from) + " C " + side + " " + number(from) +
                                       " " + side + " " + number(to) + " " + edge + " " + number(to)}});
    }

    void writeLegend() {
        std::size_t level = m_bands.size();
        for (const MarkWords &entry : legend) {
            m_out.open("g", {{"class", nameOf(entry.mood)}});
            writeMark(entry.mark, 2 * markSize, levelOf(++level), m_out);
            writeText(4 * markSize, levelOf(level), entry.words, m_out);
            m_out.close();
        }
    }

    std::size_t bandOf(std::size_t row) const {
        const auto found = std::partition_point(m_bands.begin(), m_bands.end(),
                                                [row](const Band &band) { return band.last < row; });
        return static_cast<std::size_t>(found - m_bands.begin());
    }

    const Matrix &m_matrix;
    const std::vector<Band> &m_bands;
    XmlOut &m_out;
    std::vector<std::size_t> m_places; // of columns, from the left
    std::size_t m_width = 0;
};

} // namespace

const char *nameOf(Mood mood) {
    switch (mood) {
    case Mood::fine:
        return "fine";
    case Mood::nothing:
        return "nothing";
    case Mood::bad:
        break;
    }
    return "bad";
}

void writePicture(const Matrix &matrix, const std::vector<Band> &bands, XmlOut &out) {
    if (bands.size() > mostRows || matrix.systems.size() > mostColumns) {
        out.leaf("p", "The matrix is too large for a picture of the ways, which has " + number(mostRows) +
                          " rows and " + number(mostColumns) +
                          " columns at most; the table tells all of them.");
        return;
    }
    out.open("div",
             {{"class", "scroll"}, {"tabindex", "0"}, {"role", "region"}, {"aria-label", "The picture"}});
    Picture(matrix, bands, out).write();
    out.close();
    out.leaf("p", "Lines lead to the version that an update brings.");
}
