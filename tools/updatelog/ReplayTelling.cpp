#include "ReplayTelling.h"

#include <nlohmann/json.hpp>

#include "Paper.h"
#include "Telling.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t hanging = 6;

void tellEach(const char *title, const std::vector<std::string> &texts, std::optional<Colour> colour,
              Paper &paper) {
    if (texts.empty())
        return;
    paper.line(title);
    for (const std::string &text : texts)
        paper.line("  " + text, hanging, colour);
}

void tellFetched(const Json &transfers, Paper &paper) {
    if (transfers.empty())
        return;
    paper.line("Chosen, as the log tells:");
    for (const Json &transfer : transfers)
        paper.line("  + " + transfer.at("url").get<std::string>() + "  " +
                       transfer.at("state").get<std::string>(),
                   hanging);
}

// What the log says of the packages that were fetched.
Json fetchedOf(const Replay &replay) {
    RunStory packagesOnly;
    packagesOnly.transfers = replay.fetched;
    return inJson(packagesOnly).at("transfers");
}

Json orderOf(const Plan &order) {
    Json places = Json::array();
    for (const std::string &path : order.branding)
        places.push_back({{"path", path}, {"why", "branding"}});
    for (const PlacedPackage &package : order.order)
        places.push_back({{"path", package.path}, {"why", whyPlaced(package)}});
    return places;
}

} // namespace

void tellReplay(const Replay &replay, const ReplayBundle &bundle, Paper &paper) {
    paper.line("Bundle of " + bundle.made() + ", engine " + bundle.engineVersion() + ", system " +
               bundle.systemVersion() + (bundle.isMasked() ? ", masked" : ""));
    paper.line(inOneLine(replay.run).text, hanging);
    if (replay.explanation) {
        tellExplanation(*replay.explanation, paper);
    } else {
        tellFetched(fetchedOf(replay), paper);
        tellOrder(replay.order, paper);
    }
    tellEach("The log says so too:", replay.agreements, Colour::green, paper);
    tellEach("The log says otherwise:", replay.differences, Colour::red, paper);
    tellEach("What cannot be answered from this bundle:", replay.unanswered, Colour::yellow, paper);
}

std::string replayInJson(const Replay &replay, const ReplayBundle &bundle) {
    const Json run = inJson(replay.run);
    const Json json = {
        {"bundle",
         {{"made", bundle.made()},
          {"engine", bundle.engineVersion()},
          {"system", bundle.systemVersion()},
          {"masked", bundle.isMasked()}}},
        {"run",
         {{"run", run.at("run")},
          {"kind", run.at("kind")},
          {"end", run.at("end")},
          {"began", run.at("began")}}},
        {"explanation", replay.explanation ? explanationInJson(*replay.explanation) : Json()},
        {"log",
         {{"fetched", fetchedOf(replay)},
          {"installed",
           replay.installation ? inJson(*replay.installation).at("installations") : Json::array()},
          {"order", orderOf(replay.order)}}},
        {"agreements", replay.agreements},
        {"differences", replay.differences},
        {"unanswered", replay.unanswered},
    };
    // Names may hold any bytes; those that are no UTF-8 are replaced.
    return json.dump(2, ' ', false, Json::error_handler_t::replace);
}
