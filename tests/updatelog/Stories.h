// The stories of logs.
#pragma once

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "Story.h"

inline std::vector<RunStory> storiesOf(const std::string &text) {
    std::vector<RunStory> stories;
    StoryTeller teller([&stories](RunStory story) { stories.push_back(std::move(story)); });
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
