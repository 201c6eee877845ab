// Logs of real runs, each told and compared with what is known from outside to have happened; and damaged
// copies of them.
#include <algorithm>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "LogDamage.h"
#include "ProducedLog.h"
#include "Program.h"
#include "Stories.h"

namespace {

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

// The installed program, of the same log.
void expectPrinted(const std::vector<RunStory> &stories) {
    std::string printed;
    for (const RunStory &story : stories)
        printed += jsonOf(story) + "\n";
    const Ended ended = run({"/usr/local/Brovik/qrn/bin/updatelog", "--all", "--json"});
    EXPECT_EQ(ended.out, printed);
    EXPECT_EQ(ended.status, isWell(stories.back()) ? 0 : 1);
}

void expectToldAsItHappened(const ProducedLog &log) {
    const std::vector<RunStory> stories = storiesOf(log.text);
    std::vector<std::string> told;
    for (const RunStory &story : stories)
        told.push_back(inPlainWords(story));
    ASSERT_EQ(told, knownOf(log)) << log.text;
    expectTimesAndLinesOf(stories, log);
    expectPrinted(stories);
}

// What an undamaged log tells, part by part.
std::vector<std::vector<std::string>> toldByParts(const ProducedLog &log) {
    std::vector<std::string> told = toldOfAll(log.text);
    std::vector<std::vector<std::string>> parts;
    auto begin = told.begin();
    for (const LogPart &part : log.parts) {
        const auto end = begin + static_cast<std::ptrdiff_t>(part.runs.size());
        parts.emplace_back(begin, end);
        begin = end;
    }
    return parts;
}

// Those that the damage leaves whole, in their order, whatever is told between them.
void expectTheOthersUntouched(const DamagedLog &damaged, const ProducedLog &log) {
    const std::vector<std::string> told = toldOfAll(damaged.text);
    const std::vector<std::vector<std::string>> expected = toldByParts(log);
    auto from = told.begin();
    for (std::size_t i = 0; i < expected.size(); ++i) {
        if (!damaged.isWhole[i])
            continue;
        for (const std::string &run : expected[i]) {
            const auto found = std::find(from, told.end(), run);
            if (found == told.end()) {
                ADD_FAILURE() << "part " << i << ":\n"
                              << run << "\nis told of as one of these:\n"
                              << testing::PrintToString(told) << "\n"
                              << damaged.text;
                return;
            }
            from = found + 1;
        }
    }
}

void expectForeignLinesShown(const DamagedLog &damaged) {
    std::multiset<std::string> shown;
    for (const RunStory &story : storiesOf(damaged.text)) {
        for (const UnknownLine &line : story.unknownLines)
            shown.insert(line.text);
    }
    for (const std::string &line : damaged.foreign)
        EXPECT_EQ(shown.count(line), 1U) << line << "\n" << damaged.text;
}

// Adds how many runs have met.
void expectToldTogether(const ProducedLog &one, const ProducedLog &other, Chance &chance, std::size_t &met) {
    const ProducedLog both = takenTogether(one, other, chance);
    std::vector<std::string> told;
    for (const RunStory &story : storiesOf(both.text))
        told.push_back(inPlainWords(story));
    EXPECT_EQ(told, knownOf(both)) << both.text;
    for (const MeetingRuns &meeting : meetings(one, other, chance)) {
        ++met;
        told.clear();
        for (const RunStory &story : storiesOf(meeting.text))
            told.push_back(inPlainWords(story));
        EXPECT_EQ(told, (std::vector<std::string>{inPlainWords(meeting.first), inPlainWords(meeting.second)}))
            << meeting.text;
    }
    // Nobody can tell whose line is whose then, but that there are runs.
    const std::vector<RunStory> mixed = storiesOf(mixedByLines(one, other, chance));
    EXPECT_GE(mixed.size(), std::max(one.parts.size(), other.parts.size()));
    for (const RunStory &story : mixed)
        EXPECT_TRUE(story.isOfEngine);
}

// A copy of each log, each damaged in another way.
void expectDamagedCopiesToldOf(const std::vector<ProducedLog> &logs, std::size_t copies) {
    Chance chance(100);
    std::size_t met = 0;
    for (std::size_t i = 0; i < copies; ++i) {
        const NamedDamage &damage = damages()[i % damages().size()];
        SCOPED_TRACE(std::string("log ") + std::to_string(i) + " " + damage.name);
        const DamagedLog damaged = damage.damage(logs[i], chance);
        expectTheOthersUntouched(damaged, logs[i]);
        expectForeignLinesShown(damaged);
        expectToldTogether(logs[i], logs[(i + 1) % logs.size()], chance, met);
    }
    EXPECT_GT(met, copies / 10);
}

void expectAllScenarios(const Drawn &drawn) {
    for (const std::string &name : LogProducer::scenarios())
        EXPECT_TRUE(drawn.count(name) == 1 && drawn.at(name) > 1) << name;
}

TEST(NarratedLog, OfASampleIsToldAsItHappenedAndItsDamagedCopiesAreToo) {
    const Customer customer;
    LogProducer producer(customer, 20);
    std::vector<ProducedLog> logs;
    while (logs.size() < 20) {
        logs.push_back(producer.produce(false));
        expectToldAsItHappened(logs.back());
    }
    expectDamagedCopiesToldOf(logs, 20);
}

TEST(NarratedLog, OfTwoHundredIsToldAsItHappenedAndOfAHundredDamagedCopiesLong) {
    const Customer customer;
    LogProducer producer(customer, 200);
    std::vector<ProducedLog> logs;
    while (logs.size() < 200) {
        logs.push_back(producer.produce(true));
        expectToldAsItHappened(logs.back());
    }
    expectAllScenarios(producer.drawn());
    expectDamagedCopiesToldOf(logs, 100);
}

} // namespace
