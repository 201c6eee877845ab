// The installed player in the engine's place: for hosts that know nothing of it. Nothing here has a network.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <map>
#include <memory>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Background.h"
#include "Engine.h"
#include "Program.h"
#include "Recording.h"
#include "TextFile.h"

namespace {

using testing::HasSubstr;

const std::string prefix = "/usr/local/Brovik/qrn/";
const std::string playersFolder = prefix + "lib/downloadManager-player";
const std::string playersFile = playersFolder + "/libdownloadManager.so.1";
const std::string enginesFile = prefix + "lib/libdownloadManager.so.1";
const std::vector<std::string> names = {"normal", "slow", "failing", "given-up", "retried", "broken-off"};

std::string fileOf(const std::string &name) {
    return prefix + "share/downloadManager/recordings/" + name + ".jsonl";
}

Recording recordingIn(const std::string &file) {
    std::istringstream lines(readText(file));
    return readRecording(lines);
}

// The command with the player where the system's loader finds it first.
std::vector<std::string> played(const std::string &file, const std::string &speed,
                                const std::vector<std::string> &command) {
    std::vector<std::string> whole = {"env", "LD_LIBRARY_PATH=" + playersFolder,
                                      "DOWNLOADMANAGER_PLAY=" + file, "DOWNLOADMANAGER_PLAY_SPEED=" + speed};
    whole.insert(whole.end(), command.begin(), command.end());
    return whole;
}

// --- in the engine's place

std::string exportsOf(const std::string &library) {
    return shell("nm --dynamic --defined-only --format=posix " + library +
                 " | cut -d' ' -f1,2 | LC_ALL=C sort");
}

TEST(PlayerLibrary, ExportsWhatTheEngineDoesButItsMain) {
    EXPECT_EQ(exportsOf(playersFile) + "main T\n", exportsOf(enginesFile));
}

TEST(PlayerLibrary, HasTheEnginesNames) {
    const auto sonameOf = [](const std::string &library) {
        return shell("readelf --dynamic " + library + " | grep SONAME");
    };
    EXPECT_EQ(sonameOf(playersFile), sonameOf(enginesFile));
    EXPECT_EQ(shell("ls " + playersFolder), shell("cd " + prefix + "lib; ls -d libdownloadManager.so*"));
}

// The same program that runs with the engine elsewhere.
TEST(PlayerLibrary, IsTakenByAnUnchangedHost) {
    const Recording retried = recordingIn(fileOf("retried"));
    const Answers last = retried.calls.at(1).moments.back().answers;
    const auto help = std::find_if(retried.hashes.begin(), retried.hashes.end(),
                                   [](const auto &hash) { return hash.first == "help.pkg"; });
    const Ended ended = run(played(fileOf("retried"), "100", {HOST_IN_C, "help.pkg", "retry"}));
    EXPECT_EQ(ended.status, 0) << ended.err;
    std::ostringstream expected;
    expected << "before: 0 % of 0 KB, failed 0, completed 0, resumable 1\n"
             << "nonsense: 0\n"
             << "result: -1\n"
             << "after: 0 % of 0 KB, failed 1, completed 0, resumable 1\n"
             << "after retry: " << std::lround(last.progress->progressPercent) << " % of "
             << std::lround(last.progress->totalSize) << " KB, failed 1, completed 0, resumable 1\n"
             << "hash: " << help->second << "\npackages: " << **last.packages << "\n";
    EXPECT_EQ(ended.out, expected.str());
}

// --- what it is told

struct Wrong {
    const char *name;
    std::vector<std::string> environment;
    std::string message;
};

void PrintTo(const Wrong &wrong, std::ostream *out) {
    *out << wrong.name;
}

class WronglyToldPlayer : public testing::TestWithParam<Wrong> {};

TEST_P(WronglyToldPlayer, SaysSoAndFailsBeforeTheDownloads) {
    std::vector<std::string> command = {"env", "--unset=DOWNLOADMANAGER_PLAY",
                                        "LD_LIBRARY_PATH=" + playersFolder};
    command.insert(command.end(), GetParam().environment.begin(), GetParam().environment.end());
    command.insert(command.end(), {HOST_IN_C, "help.pkg", "retry"});
    const Ended ended = run(command);
    EXPECT_EQ(ended.err, "libdownloadManager-player: " + GetParam().message + "\n");
    EXPECT_EQ(ended.status, 0);
    const std::string failed = ": 0 % of 0 KB, failed 1, completed 0, resumable 1\n";
    EXPECT_EQ(ended.out,
              "before: 0 % of 0 KB, failed 0, completed 0, resumable 1\nnonsense: 0\nresult: -1\nafter" +
                  failed + "after retry" + failed + "hash: \npackages: \n");
}

INSTANTIATE_TEST_SUITE_P(
    Errors, WronglyToldPlayer,
    testing::Values(
        Wrong{"NoFile", {}, "DOWNLOADMANAGER_PLAY names no recording"},
        Wrong{"MissingFile", {"DOWNLOADMANAGER_PLAY=/no/such.jsonl"}, "cannot read /no/such.jsonl"},
        Wrong{"NoRecording", {"DOWNLOADMANAGER_PLAY=/dev/null"}, "/dev/null: no call of the engine in it"},
        Wrong{"NoSpeed",
              {"DOWNLOADMANAGER_PLAY=" + fileOf("normal"), "DOWNLOADMANAGER_PLAY_SPEED=fast"},
              "DOWNLOADMANAGER_PLAY_SPEED is no speed from 0.001 to 1000000: fast"},
        Wrong{"NoNumberOnly",
              {"DOWNLOADMANAGER_PLAY=" + fileOf("normal"), "DOWNLOADMANAGER_PLAY_SPEED=2x"},
              "DOWNLOADMANAGER_PLAY_SPEED is no speed from 0.001 to 1000000: 2x"},
        Wrong{"SpeedZero",
              {"DOWNLOADMANAGER_PLAY=" + fileOf("normal"), "DOWNLOADMANAGER_PLAY_SPEED=0"},
              "DOWNLOADMANAGER_PLAY_SPEED is no speed from 0.001 to 1000000: 0"}),
    [](const auto &parameter) { return parameter.param.name; });

// --- every installed recording

// The recorder is a host as well: what it sees of a played installation is what was recorded.
TEST(InstalledRecordings, RecordedFromThePlayerAreTheSame) {
    std::map<std::string, std::unique_ptr<Program>> recorders;
    for (const std::string &name : names)
        recorders[name] = std::make_unique<Program>(
            played(fileOf(name), "40", {prefix + "bin/recordinstall", "/tmp/" + name, "2"}));
    for (const std::string &name : names) {
        const Ended ended = recorders[name]->wait();
        ASSERT_EQ(ended.status, 0) << name << ended.err;
        const std::vector<Call> original = recordingIn(fileOf(name)).calls;
        const std::vector<Call> again = recordingIn("/tmp/" + name).calls;
        ASSERT_GE(again.size(), original.size()) << name;
        for (std::size_t i = 0; i < again.size(); ++i) {
            const Call &call = original[std::min(i, original.size() - 1)]; // one more retry changes nothing
            EXPECT_EQ(again[i].result, call.result) << name;
            const Answers &expected = call.moments.back().answers;
            const Answers &seen = again[i].moments.back().answers;
            EXPECT_EQ(*seen.packages, *expected.packages) << name;
            EXPECT_EQ(progressLine({}, seen.progress), progressLine({}, expected.progress)) << name;
        }
    }
}

struct Shown {
    std::string name;
    std::string retries;
    int status;
    std::string outcome;
};

// By the host that customers run.
TEST(InstalledRecordings, AreShownByFreshinstallAsTheyEnded) {
    const std::vector<Shown> all = {{"normal", "0", 0, "done"},
                                    {"slow", "0", 0, "done"},
                                    {"failing", "1", 2, "downloads-failed"},
                                    {"given-up", "1", 2, "downloads-failed"},
                                    {"retried", "1", 2, "downloads-failed"},
                                    {"retried", "0", 1, "failed-before-downloads"},
                                    {"broken-off", "1", 2, "downloads-failed"}};
    std::vector<std::unique_ptr<Program>> hosts;
    for (const Shown &shown : all)
        hosts.push_back(std::make_unique<Program>(played(
            fileOf(shown.name), "20",
            {prefix + "bin/freshinstall", "--library", playersFile, "--json", "--retry", shown.retries})));
    for (std::size_t i = 0; i < all.size(); ++i) {
        const Ended ended = hosts[i]->wait();
        EXPECT_EQ(ended.status, all[i].status) << all[i].name;
        EXPECT_THAT(ended.out, HasSubstr("\"outcome\":\"" + all[i].outcome + "\"")) << all[i].name;
    }
}

// --- a host of many threads

TEST(PlayerThreads, AskWhileItPlays) {
    ASSERT_EQ(setenv("DOWNLOADMANAGER_PLAY", fileOf("failing").c_str(), 1), 0);
    ASSERT_EQ(setenv("DOWNLOADMANAGER_PLAY_SPEED", "50", 1), 0);
    Engine engine(playersFile);
    Background host;
    std::atomic<bool> ended{false};
    for (int i = 0; i < 4; ++i)
        host.run([&] {
            std::size_t packages = 0;
            while (!ended) {
                const DownloadProgressInfo info = engine.progress();
                EXPECT_LE(info.downloadedSize, info.totalSize);
                const std::size_t now = engine.packages().size();
                EXPECT_GE(now, packages);
                packages = now;
                const std::string hash = engine.expectedHash("help.pkg");
                EXPECT_TRUE(hash.empty() || hash.size() == 40) << hash;
            }
        });
    EXPECT_TRUE(engine.freshInstall());
    engine.retry();
    ended = true;
    host.join();
    EXPECT_EQ(engine.packages().size(), 2U);
}

} // namespace
