// A run's story in words, and as a document.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "RunStory.h"
#include "Terminal.h"

struct TellingLine {
    enum class Tone { plain, good, bad };

    std::string text;
    std::size_t indent = 0; // of what does not fit on the line
    Tone tone = Tone::plain;
};

std::optional<Colour> colourOf(TellingLine::Tone tone);

// A line that tells of a failure, and what is to be said of it: nothing where it was said of one before.
struct FindingTelling {
    const Finding *finding = nullptr;
    std::vector<std::string> words;
};

// For people: on one line, and no longer than they read.
std::string onOneLine(const std::string &text);

// When, what the service answered, and the like.
std::vector<std::string> factsOf(const RunStory &story);
std::string inWords(const TransferStory &transfer);
std::string inWords(const InstallationStory &installation);
// The story must stay as long as they.
std::vector<FindingTelling> tellingsOf(const RunStory &story);

// What has happened, why, and what to do.
std::vector<std::string> explanationOf(const Finding &finding);

// The run so far in few words, the most important first.
std::vector<std::string> inBrief(const RunStory &story);
// The run in one line: when, what, how it ended.
TellingLine inOneLine(const RunStory &story);
// All that is known of it.
std::vector<TellingLine> inFull(const RunStory &story);

nlohmann::ordered_json inJson(const RunStory &story);

// Whether nothing needs to be done.
bool isWell(const RunStory &story);
