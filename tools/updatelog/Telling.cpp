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
    case InstallationStory::State::failed:
        return "failed";
    case InstallationStory::State::begun:
        return "begun";
    case InstallationStory::State::listed:
        break;
    }
    return "not begun";
}

std::string counted(unsigned count, const std::string &what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string transferInWords(const TransferStory &transfer) {
    std::string text =
        transfer.url + ": " + stateInWords(transfer.state) + ", " + counted(transfer.attempts, "attempt");
    if (transfer.resumes > 0)
        text += ", " + std::to_string(transfer.resumes) + " of them again";
    if (transfer.hashChecks > 0)
        text += ", " + counted(transfer.hashChecks, "hash check");
    if (transfer.hashFailures > 0)
        text += ", " + std::to_string(transfer.hashFailures) + " wrong";
    return text + ", " + transfer.began + " to " + transfer.ended;
}

// For people: on one line, and no longer than they read.
std::string shown(const std::string &text) {
    constexpr std::size_t most = 500;
    const std::size_t begin = text.find_first_not_of(" \n");
    if (begin == std::string::npos)
        return "";
    std::string line = text.substr(begin, text.find_last_not_of(" \n") + 1 - begin);
    std::replace(line.begin(), line.end(), '\n', ' ');
    return line.size() > most ? line.substr(0, most) + " ..." : line;
}

Json findingInJson(const Finding &finding) {
    return {{"line", finding.line}, {"time", finding.time},         {"text", finding.text},
            {"id", finding.id},     {"happened", finding.happened}, {"remedy", finding.remedy}};
}

} // namespace

bool isWell(const RunStory &story) {
    return story.end == RunEnd::well || story.end == RunEnd::nothingToDo;
}

TellingLine inOneLine(const RunStory &story) {
    return {"run " + std::to_string(story.number) + "  " + (story.began.empty() ? "no time" : story.began) +
                "  " + kindInWords(story.kind) +
                (story.version.empty() ? "" : " of version " + story.version) + ": " + endInWords(story),
            4, isWell(story) ? Tone::good : Tone::bad};
}

std::vector<TellingLine> inFull(const RunStory &story) {
    std::vector<TellingLine> lines{inOneLine(story)};
    const auto add = [&lines](const std::string &text, Tone tone = Tone::plain) {
        lines.push_back({text, 6, tone});
    };
    add("  lines " + std::to_string(story.firstLine) + " to " + std::to_string(story.lastLine) +
        ", last at " + (story.ended.empty() ? "no time" : story.ended));
    if (!story.affiliate.empty())
        add("  affiliate " + story.affiliate);
    if (story.waited)
        add("  waited for another job");
    if (!story.answer.empty())
        add("  the service answered: " + story.answer +
            (story.httpCode.empty() ? "" : " (HTTP " + story.httpCode + ")"));
    for (const TransferStory &transfer : story.transfers)
        add("  " + transferInWords(transfer),
            transfer.state == TransferStory::State::done ? Tone::plain : Tone::bad);
    for (const InstallationStory &installation : story.installations)
        add("  " + installation.path + ": " + stateInWords(installation.state),
            installation.state == InstallationStory::State::done ? Tone::plain : Tone::bad);
    std::set<std::string> told;
    for (const Finding &finding : story.findings) {
        add("  line " + std::to_string(finding.line) + ": " + shown(finding.text), Tone::bad);
        // Of several of a kind one is explained.
        if (!told.insert(finding.happened).second)
            continue;
        add("    " + finding.happened);
        add("    To do: " + finding.remedy);
    }
    for (const UnknownLine &unknown : story.unknownLines)
        add("  line " + std::to_string(unknown.line) + ", which nobody knows: " + shown(unknown.text));
    if (story.left > 0)
        add("  and " + std::to_string(story.left) + " more lines of these kinds");
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
