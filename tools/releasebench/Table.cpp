#include "Table.h"

#include <algorithm>

namespace {

constexpr std::size_t gap = 2;

std::vector<std::size_t> widthsOf(const Table &table) {
    std::vector<std::size_t> widths;
    for (std::size_t column = 0; column < table.head.size(); ++column) {
        std::size_t width = table.head[column].size();
        for (const std::vector<std::string> &row : table.rows)
            width = std::max(width, row[column].size());
        widths.push_back(width);
    }
    return widths;
}

// The end of the columns from that one on for which a line has room; one at least.
std::size_t endOfBlock(const std::vector<std::size_t> &widths, std::size_t first, std::size_t room) {
    std::size_t width = widths.front() + gap + widths[first];
    std::size_t end = first + 1;
    while (end < widths.size() && (room == 0 || width + gap + widths[end] <= room))
        width += gap + widths[end++];
    return end;
}

std::string padded(const std::string &text, std::size_t width) {
    return text + std::string(width - text.size(), ' ');
}

std::string lineOf(const std::vector<std::string> &row, const std::vector<std::size_t> &widths,
                   std::size_t first, std::size_t end) {
    std::string line = padded(row.front(), widths.front());
    for (std::size_t column = first; column < end; ++column)
        line += std::string(gap, ' ') + padded(row[column], widths[column]);
    return line.substr(0, line.find_last_not_of(' ') + 1);
}

} // namespace

void Table::write(Paper &paper) const {
    const std::vector<std::size_t> widths = widthsOf(*this);
    for (std::size_t first = 1; first < head.size();) {
        const std::size_t end = endOfBlock(widths, first, paper.width());
        if (first > 1)
            paper.line("");
        paper.line(lineOf(head, widths, first, end));
        for (const std::vector<std::string> &row : rows)
            paper.line(lineOf(row, widths, first, end));
        first = end;
    }
}
