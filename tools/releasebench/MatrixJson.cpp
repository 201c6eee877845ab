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

Json cellOf(const Matrix &matrix, std::size_t row, std::size_t column) {
    const Cell &cell = matrix.at(row, column);
    Json json = {{"outcome", nameOf(cell.outcome)},
                 {"reason", *cell.reason},
                 {"packages", matrix.installedBy(cell)},
                 {"set", cell.set ? Json(*cell.set) : Json()},
                 {"version", cell.isRaised ? Json(cell.version) : Json()},
                 {"build", cell.build},
                 {"raised", cell.isRaised}};
    json["way"] = {{"newest", matrix.reachesNewest(cell)},
                   {"updates", cell.updates},
                   {"version", cell.updates > 0 ? Json(matrix.products[cell.endRow].from) : Json()},
                   {"end", nameOf(cell.end)}};
    return json;
}

std::string dumped(const Json &json, int indent) {
    return json.dump(indent, ' ', false, Json::error_handler_t::replace);
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
    // The cells may be many, and take several times the room before they are text.
    std::string text = dumped(json, 2);
    text.resize(text.rfind('\n')); // of the last brace
    text += ",\n  \"cells\": [";
    for (const Band &band : bands) {
        Json row = Json::array();
        for (std::size_t column = 0; column < matrix.systems.size(); ++column)
            row.push_back(cellOf(matrix, band.first, column));
        text += (band.first == 0 ? "\n    " : ",\n    ") + dumped(row, -1);
    }
    return text + "\n  ]\n}";
}
