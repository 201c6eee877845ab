#include "MatrixJson.h"

#include <nlohmann/json.hpp>

#include "MatrixCommand.h"
#include "OutcomeNames.h"

namespace {

using Json = nlohmann::ordered_json;

const char *nameOf(WayEnd end) {
    switch (end) {
    case WayEnd::nothingOffered:
        return "nothing-offered";
    case WayEnd::offeredForEver:
        return "offered-for-ever";
    case WayEnd::fails:
        break;
    }
    return "fails";
}

std::string dumped(const Json &json, int indent) {
    return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

std::string quoted(const std::string &text) {
    return dumped(text, -1);
}

// As text at once: there may be a million, and as objects they take several times the room and the time.
std::string cellOf(const Matrix &matrix, std::size_t row, std::size_t column) {
    const Cell &cell = matrix.at(row, column);
    const std::string version = cell.isRaised ? quoted(cell.version) : "null";
    const std::string end = cell.updates > 0 ? quoted(matrix.products[cell.endRow].from) : "null";
    return std::string("{\"outcome\": \"") + nameOf(cell.outcome) +
           "\", \"reason\": " + quoted(*cell.reason) +
           ", \"packages\": " + std::to_string(matrix.installedBy(cell)) +
           ", \"set\": " + (cell.set ? std::to_string(*cell.set) : "null") + ", \"version\": " + version +
           ", \"build\": " + quoted(cell.build) + ", \"raised\": " + (cell.isRaised ? "true" : "false") +
           ", \"way\": {\"newest\": " + (matrix.reachesNewest(cell) ? "true" : "false") +
           ", \"updates\": " + std::to_string(cell.updates) + ", \"version\": " + end + ", \"end\": \"" +
           nameOf(cell.end) + "\"}}";
}

} // namespace

Json rangeInJson(const VersionRange &range) {
    Json json = {{"label", range.label()}, {"tried", range.tried}};
    if (!range.from.empty())
        json[range.hasFrom ? "from" : "above"] = range.from;
    if (!range.to.empty())
        json[range.hasTo ? "to" : "below"] = range.to;
    return json;
}

std::string matrixInJson(const Matrix &matrix, const std::vector<Band> &bands) {
    Json json = {{"affiliate", matrix.asker.affiliate},
                 {"application", matrix.asker.application},
                 {"newest", matrix.newest},
                 {"products", Json::array()},
                 {"systems", Json::array()},
                 {"setsListed", matrix.listsSets},
                 {"sets", Json::array()}};
    for (const Band &band : bands)
        json["products"].push_back(
            rangeInJson(joined(matrix.products[band.first], matrix.products[band.last])));
    for (const VersionRange &system : matrix.systems)
        json["systems"].push_back(rangeInJson(system));
    for (const PackageSet &set : matrix.sets)
        json["sets"].push_back({{"installed", set.installed}, {"leftOut", set.leftOut}});
    json["findings"] = findingsOf(matrix, bands);
    std::string text = dumped(json, 2);
    text.resize(text.rfind('\n')); // of the last brace
    text += ",\n  \"cells\": [";
    for (const Band &band : bands) {
        text += band.first == 0 ? "\n    [" : ",\n    [";
        for (std::size_t column = 0; column < matrix.systems.size(); ++column)
            text += (column == 0 ? "" : ", ") + cellOf(matrix, band.first, column);
        text += "]";
    }
    return text + "\n  ]\n}";
}
