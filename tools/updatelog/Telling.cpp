#include "Telling.h"

#include <algorithm>
#include <set>

#include <nlohmann/json.hpp>

namespace {

using Tone = TellingLine::Tone;
using Json = nlohmann::ordered_json;

std::string kindInWords(RunKind kind) {
    switch (kind) {
    case RunKind::check:
        return "check for updates";
    case RunKind::installation:
        return "installation of updates";
    case RunKind::freshInstallation:
        return "fresh installation";
    case RunKind::unknown:
        break;
    }
    return "run of no known kind";
}

std::string endInWords(const RunStory &story) {
    switch (story.end) {
    case RunEnd::well:
        return "ended well";
    case RunEnd::nothingToDo:
        return "had nothing to do";
    case RunEnd::failed:
        return "failed";
    case RunEnd::stopped:
        break;
    }
    return "stops in its midst";
}

std::string stateInWords(TransferStory::State state) {
    switch (state) {
    case TransferStory::State::done:
        return "came";
    case TransferStory::State::failed:
        return "failed";
    case TransferStory::State::givenUp:
        return "given up";
    case TransferStory::State::begun:
        break;
    }
    return "did not end";
}

std::string stateInWords(InstallationStory::State state) {
    switch (state) {
    case InstallationStory::State::done:
        return "installed";
    case InstallationStory::State::ended:
        return "ended";
    case InstallationStory::State::failed:
        return "failed";
    case InstallationStory::State::begun:
        return "begun";
    case InstallationStory::State::listed:
        break;
    }
    return "not begun";
}

std::string counted(std::size_t count, const std::string &what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

// So that no line is dropped where a run is told in one.
std::string unknownInWords(const RunStory &story) {
    const std::size_t count = story.unknownLines.size();
    if (count == 0)
        return "";
    return (story.left > 0 ? ", at least " : ", ") + std::to_string(count) +
           (count == 1 ? " line that nobody knows" : " lines that nobody knows");
}

std::string causesInWords(const Finding &finding) {
    std::string words;
    for (const std::string &cause : finding.causes)
        words += " " + cause;
    return words;
}

// Names may hold line ends.
std::string withoutLineEnds(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

Json findingInJson(const Finding &finding) {
    return {{"line", finding.line},     {"time", finding.time},     {"text", finding.text},
            {"id", finding.id},         {"file", finding.file},     {"happened", finding.happened},
            {"causes", finding.causes}, {"remedy", finding.remedy}, {"settled", finding.settled}};
}

} // namespace

bool isWell(const RunStory &story) {
    return story.end == RunEnd::well || story.end == RunEnd::nothingToDo;
}

std::optional<Colour> colourOf(Tone tone) {
    switch (tone) {
    case Tone::good:
        return Colour::green;
    case Tone::bad:
        return Colour::red;
    case Tone::plain:
        break;
    }
    return std::nullopt;
}

std::string inWords(const TransferStory &transfer) {
    std::string text =
        transfer.url + ": " + stateInWords(transfer.state) + ", " + counted(transfer.attempts, "attempt");
    if (transfer.resumes > 0)
        text += ", " + std::to_string(transfer.resumes) + " of them again";
    if (transfer.hashChecks > 0)
        text += ", " + counted(transfer.hashChecks, "hash check");
    if (transfer.hashFailures > 0)
        text += ", " + std::to_string(transfer.hashFailures) + " wrong";
    return withoutLineEnds(text) + ", " + transfer.began + " to " + transfer.ended;
}

std::string inWords(const InstallationStory &installation) {
    return withoutLineEnds(installation.path) + ": " + stateInWords(installation.state) +
           (installation.state == InstallationStory::State::ended ? ", nobody looks how" : "");
}

std::string onOneLine(const std::string &text) {
    constexpr std::size_t most = 500;
    const std::size_t begin = text.find_first_not_of(" \n");
    if (begin == std::string::npos)
        return "";
    std::string line = withoutLineEnds(text.substr(begin, text.find_last_not_of(" \n") + 1 - begin));
    if (line.size() <= most)
        return line;
    std::size_t end = most;
    for (; end > most - 3 && (static_cast<unsigned char>(line[end]) & 0xC0) == 0x80; --end) {
        // Not in the midst of a character.
    }
    return line.substr(0, end) + " ...";
}

std::vector<std::string> factsOf(const RunStory &story) {
    std::vector<std::string> facts = {"lines " + std::to_string(story.firstLine) + " to " +
                                      std::to_string(story.lastLine) + ", last at " +
                                      (story.ended.empty() ? "no time" : story.ended)};
    if (!story.affiliate.empty())
        facts.push_back("affiliate " + withoutLineEnds(story.affiliate));
    if (story.waited)
        facts.emplace_back("waited for another job");
    if (!story.answer.empty())
        facts.push_back("the service answered: " + story.answer +
                        (story.httpCode.empty() ? "" : " (HTTP " + story.httpCode + ")"));
    return facts;
}

std::vector<std::string> explanationOf(const Finding &finding) {
    std::vector<std::string> words = {finding.happened};
    if (!finding.causes.empty())
        words.push_back("Causes:" + causesInWords(finding));
    words.push_back("To do: " + finding.remedy);
    return words;
}

// Of several of a kind one is explained.
std::vector<FindingTelling> tellingsOf(const RunStory &story) {
    std::vector<FindingTelling> all;
    std::set<std::string> told;
    for (const Finding &finding : story.findings) {
        all.push_back({&finding, {}});
        if (!finding.settled.empty())
            all.back().words = {finding.settled};
        else if (told.insert(finding.happened).second)
            all.back().words = explanationOf(finding);
    }
    return all;
}

std::vector<std::string> inBrief(const RunStory &story) {
    const auto came = std::count_if(story.transfers.begin(), story.transfers.end(), [](const auto &each) {
        return each.state == TransferStory::State::done;
    });
    const auto installed = std::count_if(story.installations.begin(), story.installations.end(),
                                         [](const auto &each) { return each.isOver(); });
    std::vector<std::string> words = {"run " + std::to_string(story.number), kindInWords(story.kind)};
    if (story.end != RunEnd::stopped)
        words.push_back(endInWords(story));
    if (!story.transfers.empty())
        words.push_back(std::to_string(came) + " of " + counted(story.transfers.size(), "file"));
    if (!story.installations.empty())
        words.push_back(std::to_string(installed) + " of " + counted(story.installations.size(), "package"));
    return words;
}

TellingLine inOneLine(const RunStory &story) {
    return {"run " + std::to_string(story.number) + "  " + (story.began.empty() ? "no time" : story.began) +
                "  " + kindInWords(story.kind) +
                (story.version.empty() ? "" : " of version " + withoutLineEnds(story.version)) + ": " +
                endInWords(story) + unknownInWords(story),
            4, isWell(story) ? Tone::good : Tone::bad};
}

std::vector<TellingLine> inFull(const RunStory &story) {
    std::vector<TellingLine> lines{inOneLine(story)};
    const auto add = [&lines](const std::string &text, bool isBad = false) {
        lines.push_back({text, 6, isBad ? Tone::bad : Tone::plain});
    };
    for (const std::string &fact : factsOf(story))
        add("  " + fact);
    for (const TransferStory &transfer : story.transfers)
        add("  " + inWords(transfer), transfer.state != TransferStory::State::done);
    for (const InstallationStory &installation : story.installations)
        add("  " + inWords(installation), !installation.isOver());
    for (const FindingTelling &told : tellingsOf(story)) {
        add("  line " + std::to_string(told.finding->line) + ": " + onOneLine(told.finding->text),
            told.finding->settled.empty());
        for (const std::string &words : told.words)
            add("    " + words);
    }
    for (const UnknownLine &unknown : story.unknownLines)
        add("  line " + std::to_string(unknown.line) + ", which nobody knows: " + onOneLine(unknown.text));
    if (story.left > 0)
        add("  and " + std::to_string(story.left) + " more of these kinds");
    return lines;
}

Json inJson(const RunStory &story) {
    static const char *const kinds[] = {"unknown", "check", "installation", "fresh installation"};
    static const char *const ends[] = {"well", "nothing to do", "failed", "stopped"};
    Json transfers = Json::array();
    for (const TransferStory &each : story.transfers)
        transfers.push_back({{"url", each.url},
                             {"state", stateInWords(each.state)},
                             {"attempts", each.attempts},
                             {"resumes", each.resumes},
                             {"hashChecks", each.hashChecks},
                             {"hashFailures", each.hashFailures},
                             {"began", each.began},
                             {"ended", each.ended}});
    Json installations = Json::array();
    for (const InstallationStory &each : story.installations)
        installations.push_back({{"path", each.path}, {"state", stateInWords(each.state)}});
    Json findings = Json::array();
    std::transform(story.findings.begin(), story.findings.end(), std::back_inserter(findings), findingInJson);
    Json unknown = Json::array();
    for (const UnknownLine &each : story.unknownLines)
        unknown.push_back({{"line", each.line}, {"time", each.time}, {"text", each.text}});
    return {{"run", story.number},
            {"kind", kinds[static_cast<std::size_t>(story.kind)]},
            {"end", ends[static_cast<std::size_t>(story.end)]},
            {"well", isWell(story)},
            {"began", story.began},
            {"ended", story.ended},
            {"firstLine", story.firstLine},
            {"lastLine", story.lastLine},
            {"version", story.version},
            {"affiliate", story.affiliate},
            {"waited", story.waited},
            {"httpCode", story.httpCode},
            {"answer", story.answer},
            {"recorded", story.isRecorded},
            {"transfers", transfers},
            {"installations", installations},
            {"findings", findings},
            {"unknownLines", unknown},
            {"left", story.left}};
}
