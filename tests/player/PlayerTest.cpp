// What is played of a recording, and when; and which files are recordings.
#include <algorithm>
#include <atomic>
#include <sstream>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Background.h"
#include "Player.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::HasSubstr;

const std::string head = recordingLine();
const std::string install = callLine(Function::freshInstall);
const std::string retry = callLine(Function::retryDownloadPackages);

std::string figures(int at, double kb, bool failed = false, bool completed = false) {
    return progressLine(milliseconds(at), DownloadProgressInfo{kb, 0, 0, kb, 100, failed, completed, true});
}

std::string returnsAt(int at, std::optional<int> result) {
    return returnLine(milliseconds(at), result);
}

Recording recordingOf(const std::string &text) {
    std::istringstream lines(text);
    return readRecording(lines);
}

double kbOf(const Player &player) {
    return player.progress()->downloadedSize;
}

// --- files

struct Unusable {
    const char *name;
    std::string text;
    std::string message;
};

void PrintTo(const Unusable &unusable, std::ostream *out) {
    *out << unusable.name;
}

class UnusableRecording : public testing::TestWithParam<Unusable> {};

TEST_P(UnusableRecording, IsRefusedWithItsReason) {
    try {
        static_cast<void>(recordingOf(GetParam().text));
        FAIL() << "was read";
    } catch (const RecordingUnusable &error) {
        EXPECT_THAT(error.what(), HasSubstr(GetParam().message));
    }
}

const std::string noRecording = "line 1: no recording of this format; recordinstall makes them";
const std::string freshInstallsLine = "{\"event\":\"phase\",\"phase\":\"preparing\"}\n";

INSTANTIATE_TEST_SUITE_P(
    Files, UnusableRecording,
    testing::Values(
        Unusable{"Empty", "", "no call of the engine in it"},
        Unusable{"WithoutACall", head + figures(0, 0), "no call of the engine in it"},
        Unusable{"OfAnotherProgram", freshInstallsLine, noRecording},
        Unusable{"OfAnotherFormat", R"({"event":"recording","format":2})", noRecording},
        Unusable{"NoJson", head + "at once\n", "line 2: "}, Unusable{"NoObject", head + "[]\n", "line 2: "},
        Unusable{"AnEmptyLine", head + "\n" + install, "line 2: "},
        Unusable{"AnUnknownEvent", head + install + R"({"event":"pause","at":5})",
                 "line 3: no event of a recording: pause"},
        Unusable{"AnUnknownFunction", head + R"({"event":"call","function":"GetHashValue"})",
                 "line 2: no function of the engine that runs downloads: GetHashValue"},
        Unusable{"ACallWithinACall", head + install + retry, "line 3: a call within a call"},
        Unusable{"AnEndWithoutACall", head + returnsAt(5, 0), "line 2: the end of a call that did not begin"},
        Unusable{"TwoEnds", head + install + returnsAt(5, 0) + returnsAt(6, 0),
                 "line 4: the end of a call that did not begin"},
        Unusable{"NoResult", head + install + returnsAt(5, std::nullopt), "line 3: "},
        Unusable{"AResultThatIsNoInt", head + install + R"({"event":"return","at":5,"result":4294967296})",
                 "line 3: no result: 4294967296"},
        Unusable{"AResultBelowAnInt", head + install + R"({"event":"return","at":5,"result":-4294967296})",
                 "line 3: no result: -4294967296"},
        Unusable{"AResultBeyondEveryNumber",
                 head + install + R"({"event":"return","at":5,"result":18446744073709551615})",
                 "line 3: no result: 18446744073709551615"},
        Unusable{"AResultWithAFraction", head + install + R"({"event":"return","at":5,"result":1e300})",
                 "line 3: no result: 1e+300"},
        Unusable{"AFigureMissing", head + install + R"({"event":"progress","at":1,"failed":true})",
                 "line 3: "},
        Unusable{"ATimeThatRunsBackwards", head + install + figures(5, 1) + figures(4, 2),
                 "line 4: the time runs backwards"},
        Unusable{"ANegativeTime", head + install + figures(-1, 1), "line 3: no time: -1"},
        Unusable{"ATimeBeyondAMonth", head + install + R"({"event":"return","at":2592000001,"result":0})",
                 "line 3: no time: 2592000001"}),
    [](const auto &parameter) { return parameter.param.name; });

// Of a large installation: each of its moments with all its texts would be gigabytes.
TEST(Recordings, ShareWhatTheirMomentsHaveInCommon) {
    std::string text = head + install + packagesLine(milliseconds(1), std::string(1000, 'x'));
    text += hashLine(milliseconds(1), "a.pkg", "AA");
    for (int at = 2; at < 1000; ++at)
        text += figures(at, at);
    const Recording recording = recordingOf(text);
    const std::vector<Moment> &moments = recording.calls.front().moments;
    ASSERT_EQ(moments.size(), 1000U);
    EXPECT_EQ(moments.back().answers.packages, moments[1].answers.packages);
    EXPECT_EQ(recording.hashes.size(), 1U);
    EXPECT_EQ(moments.front().answers.hashes, 0U);
    EXPECT_EQ(moments.back().answers.hashes, 1U);
}

// --- what is answered

TEST(Player, AnswersAsBeforeTheFirstCallUntilItBegins) {
    const Player untold(recordingOf(head + install + returnsAt(0, 0)), 1);
    EXPECT_EQ(kbOf(untold), 0);
    EXPECT_TRUE(untold.progress()->resumable);
    EXPECT_EQ(untold.packages(), "");
    EXPECT_EQ(untold.hashIn("a.pkg"), "");
    const Player told(recordingOf(head + figures(0, 7) + install + returnsAt(0, 0)), 1);
    EXPECT_EQ(kbOf(told), 7);
}

TEST(Player, GivesTheRecordedResultAndKeepsTheLastAnswers) {
    Player player(recordingOf(head + install + figures(1, 10) + packagesLine(milliseconds(1), "/a.pkg!:") +
                              hashLine(milliseconds(1), "a.pkg", "0A") +
                              hashLine(milliseconds(1), "b.pkg", "0B") + returnsAt(2, 0)),
                  1);
    EXPECT_EQ(player.freshInstall(), 0);
    EXPECT_EQ(kbOf(player), 10);
    EXPECT_EQ(player.packages(), "/a.pkg!:");
    EXPECT_EQ(player.hashIn("https://host/b.pkg"), "0B");
    EXPECT_EQ(player.hashIn("b.pkg/a.pkg"), "0A");
    EXPECT_EQ(player.hashIn("c.pkg"), "");
}

TEST(Player, AnswersEveryMomentsAnswerInItsTurn) {
    std::string text = head + install;
    for (int at = 0; at < 200; at += 20)
        text += figures(at, at);
    Player player(recordingOf(text + returnsAt(200, 0)), 1);
    Background host;
    std::atomic<bool> ended{false};
    host.run([&] {
        EXPECT_EQ(player.freshInstall(), 0);
        ended = true;
    });
    std::vector<double> seen = {0};
    const auto begin = std::chrono::steady_clock::now();
    while (!ended) {
        const double kb = kbOf(player);
        const std::chrono::duration<double, std::milli> passed = std::chrono::steady_clock::now() - begin;
        EXPECT_LE(kb, passed.count() + 20); // never before its time
        if (kb != seen.back())
            seen.push_back(kb);
    }
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
    EXPECT_EQ(kbOf(player), 180);
}

TEST(Player, GivesNullWhereTheEngineDid) {
    Player player(recordingOf(head + install + progressLine(milliseconds(0), std::nullopt) +
                              packagesLine(milliseconds(0), std::nullopt) + returnsAt(0, 0)),
                  1);
    EXPECT_EQ(player.freshInstall(), 0);
    EXPECT_FALSE(player.progress());
    EXPECT_FALSE(player.packages());
}

// --- speed

TEST(Player, IsFasterByItsSpeed) {
    const auto begin = std::chrono::steady_clock::now();
    Player player(recordingOf(head + install + figures(3600000, 5) + returnsAt(7200000, 0)), Player::fastest);
    EXPECT_EQ(player.freshInstall(), 0);
    EXPECT_EQ(kbOf(player), 5);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::hours(1));
}

TEST(Player, IsSlowerByItsSpeed) {
    const auto begin = std::chrono::steady_clock::now();
    Player player(recordingOf(head + install + returnsAt(1, 0)), 0.01);
    EXPECT_EQ(player.freshInstall(), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, milliseconds(100));
}

// --- calls

const std::string failsThenWorks = head + install + figures(0, 50, true) + returnsAt(0, 0) + retry +
                                   figures(1, 100, false, true) + returnsAt(1, std::nullopt);

TEST(Player, PlaysARetryWhenItIsAskedFor) {
    Player player(recordingOf(failsThenWorks), 1);
    EXPECT_EQ(player.freshInstall(), 0);
    EXPECT_TRUE(player.progress()->failed);
    player.retryDownloadPackages();
    EXPECT_FALSE(player.progress()->failed);
    EXPECT_TRUE(player.progress()->completed);
}

TEST(Player, PlaysARetryThatIsTheFirstRecordedCall) {
    Player player(recordingOf(head + figures(0, 50, true) + retry + figures(1, 100, false, true) +
                              returnsAt(1, std::nullopt)),
                  1);
    player.retryDownloadPackages();
    EXPECT_TRUE(player.progress()->completed);
}

TEST(Player, LeavesEverythingAsItIsWhereTheRecordingHasNoMore) {
    Player player(recordingOf(failsThenWorks), 1);
    player.retryDownloadPackages(); // nothing was installed yet
    EXPECT_FALSE(player.progress()->failed);
    EXPECT_EQ(player.freshInstall(), 0);
    EXPECT_EQ(player.freshInstall(), -1);
    EXPECT_TRUE(player.progress()->failed);
    player.retryDownloadPackages();
    player.retryDownloadPackages();
    EXPECT_EQ(player.freshInstall(), -1);
    EXPECT_TRUE(player.progress()->completed);
}

// As long as the process, since the call never returns.
Player &playerOfACallThatHangs() {
    static Player *const player = new Player(recordingOf(head + install + figures(0, 50)), 1);
    return *player;
}

TEST(Player, NeverReturnsWhereTheRecordingDoesNotAndHasNothingToRetryThen) {
    std::thread([] { static_cast<void>(playerOfACallThatHangs().freshInstall()); }).detach();
    Player &player = playerOfACallThatHangs();
    EXPECT_TRUE(comesTrue([&] { return kbOf(player) == 50; }));
    player.retryDownloadPackages(); // does not wait for it
    EXPECT_EQ(kbOf(player), 50);
}

TEST(Player, PlaysARetryAfterTheCallBesideWhichItWasAskedFor) {
    Player player(recordingOf(head + install + figures(0, 50, true) + returnsAt(100, 0) + retry +
                              figures(0, 100, false, true) + returnsAt(0, std::nullopt)),
                  1);
    Background host;
    host.run([&] { EXPECT_EQ(player.freshInstall(), 0); });
    ASSERT_TRUE(comesTrue([&] { return player.progress()->failed; }));
    player.retryDownloadPackages();
    EXPECT_TRUE(player.progress()->completed);
    host.join();
}

TEST(Player, PlaysOneInstallationAtATime) {
    Player player(recordingOf(head + install + returnsAt(50, 0)), 1);
    Background host;
    std::atomic<int> succeeded{0};
    for (int i = 0; i < 3; ++i)
        host.run([&] { succeeded += player.freshInstall() == 0 ? 1 : 0; });
    host.join();
    EXPECT_EQ(succeeded, 1);
}

} // namespace
