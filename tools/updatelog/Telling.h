// A run's story in words, and as a document.
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "Story.h"

struct TellingLine {
    enum class Tone { plain, good, bad };

    std::string text;
    std::size_t indent = 0; // of what does not fit on the line
    Tone tone = Tone::plain;
};

// The run in one line: when, what, how it ended.
TellingLine inOneLine(const RunStory &story);
// All that is known of it.
std::vector<TellingLine> inFull(const RunStory &story);

nlohmann::ordered_json inJson(const RunStory &story);

// Whether nothing needs to be done.
bool isWell(const RunStory &story);
