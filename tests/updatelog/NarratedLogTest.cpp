// Logs of real runs, each told and compared with what is known from outside to have happened; and damaged
// copies of them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ProducedLog.h"
#include "Stories.h"

namespace {

using testing::Test;

std::vector<std::string> knownOf(const ProducedLog &log) {
    std::vector<std::string> words;
    for (const LogPart &part : log.parts) {
        for (const KnownRun &run : part.runs)
            words.push_back(inPlainWords(run));
    }
    return words;
}

void expectTimesAndLinesOf(const std::vector<RunStory> &stories, const ProducedLog &log) {
    auto story = stories.begin();
    std::uint64_t line = 0;
    for (const LogPart &part : log.parts) {
        for (const KnownRun &run : part.runs) {
            EXPECT_GE(story->began, run.notBefore);
            EXPECT_LE(story->ended, run.notAfter);
            EXPECT_LE(story->began, story->ended);
            EXPECT_TRUE(part.runs.size() > 1 || story->firstLine == line + 1);
            EXPECT_TRUE(story->unknownLines.empty());
            EXPECT_EQ(story->left, 0U);
            line = std::max(line, story->lastLine);
            ++story;
        }
    }
}

void expectToldAsItHappened(const ProducedLog &log) {
    const std::vector<RunStory> stories = storiesOf(log.text);
    std::vector<std::string> told;
    for (const RunStory &story : stories)
        told.push_back(inPlainWords(story));
    ASSERT_EQ(told, knownOf(log)) << log.text;
    expectTimesAndLinesOf(stories, log);
}

void expectAllScenarios(const Drawn &drawn) {
    for (const std::string &name : LogProducer::scenarios())
        EXPECT_TRUE(drawn.count(name) == 1 && drawn.at(name) > 1) << name;
}

TEST(NarratedLog, OfASampleIsToldAsItHappened) {
    const Customer customer;
    LogProducer producer(customer, 20);
    for (int number = 0; number < 20; ++number)
        expectToldAsItHappened(producer.produce(false));
}

TEST(NarratedLog, OfTwoHundredIsToldAsItHappenedLong) {
    const Customer customer;
    LogProducer producer(customer, 200);
    for (int number = 0; number < 200; ++number)
        expectToldAsItHappened(producer.produce(true));
    expectAllScenarios(producer.drawn());
}

} // namespace
