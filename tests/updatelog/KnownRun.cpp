#include "KnownRun.h"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "MessageFile.h"
#include "Telling.h"

namespace {

KnownTransfer transferOf(const nlohmann::ordered_json &told, const RunStory &story) {
    KnownTransfer transfer;
    transfer.state = told.at("state");
    transfer.attempts = told.at("attempts");
    transfer.hashChecks = told.at("hashChecks");
    transfer.wrongHashes = told.at("hashFailures");
    const std::string file = fileNameOf(told.at("url"));
    for (const Finding &finding : story.findings) {
        transfer.brokenOff += finding.file == file && finding.id == "transfer-broke-off" ? 1U : 0U;
        transfer.refused += finding.file == file && finding.id == "transfer-failed" ? 1U : 0U;
    }
    return transfer;
}

// What nobody can see from outside agrees with what was seen, or the words tell where it does not.
std::string contradictionsIn(const RunStory &story) {
    std::string words;
    for (const TransferStory &transfer : story.transfers) {
        if (transfer.resumes + 1 != transfer.attempts)
            words += "  tries again " + std::to_string(transfer.resumes) + " times: " + transfer.url + "\n";
    }
    const bool needsSomething = std::any_of(story.findings.begin(), story.findings.end(),
                                            [](const Finding &finding) { return finding.settled.empty(); });
    if (story.end == RunEnd::failed && !needsSomething)
        words += "  failed for no reason\n";
    if (isWell(story) && needsSomething)
        words += "  well, and something is to be done\n";
    return words;
}

} // namespace

std::string inPlainWords(const KnownRun &run) {
    std::string words = run.kind + " of " + run.version + " for " + run.affiliate + ": " + run.end +
                        ", http " + run.httpCode + ", " + run.answer + (run.waited ? ", waited" : "") +
                        (run.recorded ? ", recorded" : "") + "\n";
    for (const auto &[url, transfer] : run.transfers)
        words += "  " + url + ": " + transfer.state + " by " + std::to_string(transfer.attempts) +
                 ", checked " + std::to_string(transfer.hashChecks) + ", wrong " +
                 std::to_string(transfer.wrongHashes) + ", broken off " + std::to_string(transfer.brokenOff) +
                 ", refused " + std::to_string(transfer.refused) + "\n";
    for (const auto &[path, state] : run.installations)
        words += "  " + path + ": " + state + "\n";
    return words;
}

std::string inPlainWords(const RunStory &story) {
    const auto told = inJson(story);
    KnownRun run;
    run.kind = told.at("kind");
    run.end = told.at("end");
    run.version = story.version;
    run.affiliate = story.affiliate;
    run.httpCode = story.httpCode;
    run.answer = story.answer;
    run.waited = story.waited;
    run.recorded = story.isRecorded;
    for (const auto &each : told.at("transfers"))
        run.transfers[each.at("url")] = transferOf(each, story);
    for (const auto &each : told.at("installations"))
        run.installations[each.at("path")] = each.at("state");
    return inPlainWords(run) + contradictionsIn(story);
}
