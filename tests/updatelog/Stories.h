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
    LogReader reader(log);
    while (const std::optional<LogEntry> entry = reader.next())
        teller.take(*entry);
    teller.finish();
    return stories;
}

// Of a log of one run.
inline RunStory storyOf(const std::string &text) {
    std::vector<RunStory> stories = storiesOf(text);
    EXPECT_EQ(stories.size(), 1U);
    return stories.empty() ? RunStory() : stories.front();
}
