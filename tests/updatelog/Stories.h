// The stories of logs.
#pragma once

#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "Story.h"
#include "Telling.h"

inline std::string jsonOf(const RunStory &story) {
    return inJson(story).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

// What the cases made so far, each once, and no more than can be looked at.
inline std::set<std::string> &madeStories() {
    static std::set<std::string> all;
    return all;
}

inline std::vector<RunStory> storiesOf(const std::string &text) {
    std::vector<RunStory> stories;
    StoryTeller teller([&stories](RunStory story) {
        constexpr std::size_t most = 2000;
        if (madeStories().size() < most)
            madeStories().insert(jsonOf(story));
        stories.push_back(std::move(story));
    });
    std::istringstream log(text);
    teller.takeAll(log);
    return stories;
}

// Of a log of one run.
inline RunStory storyOf(const std::string &text) {
    std::vector<RunStory> stories = storiesOf(text);
    EXPECT_EQ(stories.size(), 1U);
    return stories.empty() ? RunStory() : stories.front();
}

// What the lines of one run tell, wherever they stand and whatever stands between them.
inline std::string toldOf(RunStory story) {
    story.number = story.firstLine = story.lastLine = 0;
    story.unknownLines.clear();
    for (Finding &finding : story.findings)
        finding.line = 0;
    return jsonOf(story);
}

inline std::vector<std::string> toldOfAll(const std::string &text) {
    std::vector<std::string> told;
    for (const RunStory &story : storiesOf(text))
        told.push_back(toldOf(story));
    return told;
}
