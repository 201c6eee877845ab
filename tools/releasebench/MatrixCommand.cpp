#include "MatrixCommand.h"

#include <functional>

#include "OutputFile.h"
#include "Paper.h"
#include "Statuses.h"
#include "Table.h"

namespace {

constexpr std::size_t hanging = 6;

void tellTable(const Matrix &matrix, const std::vector<Band> &bands,
               const std::function<std::string(const CellWords &)> &partOf, Paper &paper) {
    Table table;
    table.head.emplace_back("product \\ system");
    for (const VersionRange &system : matrix.systems)
        table.head.push_back(system.label());
    for (const Band &band : bands) {
        std::vector<std::string> row = {band.label};
        for (std::size_t column = 0; column < matrix.systems.size(); ++column)
            row.push_back(partOf(wordsOf(matrix, band.first, column)));
        table.rows.push_back(std::move(row));
    }
    table.write(paper);
}

void tellMatrix(const Matrix &matrix, const std::vector<Band> &bands, Paper &paper) {
    paper.line(titleOf(matrix));
    tellTable(matrix, bands, updateWithSet, paper);
    for (const std::string &line : legendOf(matrix, bands))
        paper.line("  " + line, hanging);
    for (std::size_t set = 0; set < matrix.sets.size(); ++set)
        paper.line("  " + nameOfSet(set) + ": " + contentOf(matrix.sets[set]), hanging);
    paper.line("");
    paper.line(titleOfWays(matrix));
    tellTable(
        matrix, bands, [](const CellWords &words) { return words.way; }, paper);
    const std::vector<std::string> findings = findingsOf(matrix, bands);
    if (!findings.empty())
        paper.line("");
    for (const std::string &finding : findings)
        paper.line(finding, hanging, Colour::yellow);
}

} // namespace

int runMatrix(const MatrixOptions &options) {
    const Served served = servedOf(options.folder, {options.affiliate, options.application});
    const Matrix matrix = matrixOf(served, axesOf({&served}));
    const std::vector<Band> bands = bandsOf(matrix);
    if (!options.page.empty())
        putFile(options.page, matrixPage(matrix, bands));
    Paper paper;
    if (options.format == Format::json)
        paper.verbatim(matrixInJson(matrix, bands) + "\n");
    else
        tellMatrix(matrix, bands, paper);
    paper.finish();
    return Statuses::done;
}
