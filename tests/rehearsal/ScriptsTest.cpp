// The project's own scripts, as whoever calls them sees them.
#include "Shell.h"

#include <gtest/gtest.h>

namespace {

struct Told {
    const char *story;
    const char *inTheMidst;  // a line that it tells while the engine works
    const char *neverServed; // a package without which it goes wrong soon
    const char *problem;     // and how it tells so
};

// CTest shows it beside the test's name.
void PrintTo(const Told &shown, std::ostream *stream) {
    *stream << shown.story;
}

// ./demo in a tree of its own, where all is installed and this build stands for its own.
const std::string demoTree = R"sh(
    tree=$(mktemp -d) && cd "$tree"
    trap 'rm -r "$tree"' EXIT
    cp -R "$rehearsal" "$rehearsal/../demo" .
    mkdir -p scripts bin build && ln -s "$build" build/rehearsal && ln -s "$(type -P true)" scripts/install-packages
    printf '#!/bin/sh\n[ "$1" != --install ] || exec %s "$@"\n' "$(type -P cmake)" >bin/cmake && chmod 755 bin/cmake
    PATH=$tree/bin:$PATH results=build/demo
)sh";

class Story : public testing::TestWithParam<Told> {
protected:
    static std::string begin() {
        const Told &told = GetParam();
        return demoTree + "story=" + told.story + " line='^" + told.inTheMidst +
               "' package=" + told.neverServed + "\n";
    }
};

TEST_P(Story, endsAtOnceWhenItIsInterrupted) {
    const Outcome outcome = outside(begin() + R"sh(
        export TMPDIR=$tree/temporary && mkdir "$TMPDIR"
        set -m # a process group of its own, as in a terminal
        : >told # the other process may be late
        ./demo "$story" >told 2>&1 &
        until grep -q "$line" told; do kill -0 $! || exit; sleep 0.05; done
        kill -INT -- -$!
        wait $!
        echo "$?"
        sed -n '/releasebench \(lint\|explain\)$/{n;s/^\( *\)[^ ].*/\1found/p}' told
        grep -i problem told
        sed -n '$p' told
        ls "$results/DownloadManager.log" >/dev/null
        ls -A "$TMPDIR")sh");
    EXPECT_EQ(outcome,
              (Outcome{"130\n  found\n  found\nInterrupted. What is left of it is in build/.\n", 0}));
}

TEST_P(Story, leavesTheLogWhenItFails) {
    const Outcome outcome = outside(begin() + R"sh(
        echo "$package * status 404" >"rehearsal/demo/$story/servers"
        ./demo "$story" >told 2>&1
        echo "$?"
        grep -o -m 1 'Enter sendTolvane' "$results/DownloadManager.log"
        grep -o 'PROBLEM: .*' told)sh");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output.substr(0, 20), "1\nEnter sendTolvane\n") << outcome;
    EXPECT_NE(outcome.output.find(GetParam().problem), std::string::npos) << outcome;
}

INSTANTIATE_TEST_SUITE_P(Demo, Story,
                         testing::Values(Told{"update", "  started ", "/HF_1.0.1.0/antivirus.pkg",
                                              "PROBLEM: there is no package list, "},
                                         Told{"fresh", "[0-9]* %, ", "/core/platform.pkg",
                                              "PROBLEM: the host program ended with status "}),
                         [](const auto &one) { return one.param.story; });

TEST(DemoScript, tellsAFreshInstallationToItsEnd) {
    const Outcome outcome = outside(demoTree + R"sh(
        sed -i '/ slow /d' rehearsal/demo/fresh/servers # nobody watches
        ./demo fresh --keep >told 2>&1; echo "$?"
        grep -o '^[$] .*\|as foretold: .*\|PROBLEM.*' told
        grep -c 'Hash mismatch' "$results/DownloadManager.log"
        ls "$results/machine/private/tmp/configuration.plist" >/dev/null || cat told)sh");
    EXPECT_EQ(outcome, (Outcome{"0\n$ releasebench lint\n$ releasebench explain\n$ releasebench rehearse\n"
                                "$ freshinstall --retry 1\nas foretold: the same packages and versions. To "
                                "read:\n1\n",
                                0}));
}

TEST(DemoScript, findsAStoryThatIsLessThanItPromises) {
    const Outcome outcome = outside(demoTree + R"sh(
        : >rehearsal/demo/fresh/servers
        ./demo fresh | tail -n 1; echo "${PIPESTATUS[0]}")sh");
    EXPECT_EQ(outcome, (Outcome{"  PROBLEM: no package arrived damaged\n1\n", 0}));
}

// Whoever leaves a pipe before its end is reached may end the program that writes to it: hence sed, not head.
TEST(DemoScript, refusesAWordThatItDoesNotKnow) {
    const Outcome outcome =
        outside(R"sh("$rehearsal/../demo" backwards | sed -n 1p; echo "${PIPESTATUS[0]}")sh");
    EXPECT_EQ(outcome.output.substr(0, outcome.output.find('\n')), "./demo: there is no backwards");
    EXPECT_EQ(outcome.output.substr(outcome.output.size() - 3), "64\n");
}

TEST(DemoBuild, isForItsOwnServiceAndLooksForNoTestLibrary) {
    const Outcome outcome = inside(R"sh(
        cd "$rehearsal/.." && rm -rf build/rehearsal
        cmake --preset rehearsal -DUPDATE_SERVICE_HOST=host.example >/dev/null
        cmake --preset rehearsal >/dev/null
        grep UPDATE_SERVICE_HOST build/rehearsal/CMakeCache.txt
        grep -i gtest build/rehearsal/CMakeCache.txt)sh");
    EXPECT_EQ(outcome.output, "UPDATE_SERVICE_HOST:STRING=update.brovik.example\n");
}

TEST(TestScript, tellsItsOwnUsage) {
    EXPECT_EQ(outside(R"sh("$rehearsal/../test" --help | sed -n 1p)sh").output,
              "usage: ./test [PRESET] [--long] [OPTION]...\n");
}

TEST(TestScript, refusesAPresetAndAnOptionThatItDoesNotKnow) {
    EXPECT_EQ(
        outside(R"sh("$rehearsal/../test" fastest)sh"),
        (Outcome{
            "./test: there is no preset fastest\n./test: the presets are release, dev, asan-ubsan, tsan, "
            "coverage and clang; see ./test --help\n",
            64}));
    EXPECT_EQ(outside(R"sh("$rehearsal/../test" -R Version --rerun-filed)sh"),
              (Outcome{"./test: CTest has no option --rerun-filed; ctest --help shows what it has\n", 64}));
}

TEST(TestScript, refusesABuildForAnotherService) {
    const Outcome outcome = inside(R"sh(
        cd "$rehearsal/.." && mkdir -p build/dev
        echo 'UPDATE_SERVICE_HOST:STRING=host.example' >build/dev/CMakeCache.txt
        ./test dev)sh");
    EXPECT_EQ(outcome.status, 64);
    EXPECT_EQ(outcome.output.substr(0, outcome.output.find(',')),
              "./test: build/dev is configured for the update service host.example");
}

TEST(FuzzScript, tellsItsOwnUsage) {
    EXPECT_EQ(outside(R"sh("$rehearsal/../scripts/fuzz" --help | sed -n 1p)sh").output,
              "usage: scripts/fuzz [--seconds N] [TARGET...]\n");
}

TEST(FuzzScript, refusesATargetAnOptionAndATimeThatItDoesNotKnow) {
    EXPECT_EQ(outside(R"sh("$rehearsal/../scripts/fuzz" Replies 2>&1 | sed -n 1p; echo "${PIPESTATUS[0]}")sh")
                  .output,
              "scripts/fuzz: there is no target Replies\n64\n");
    EXPECT_EQ(outside(R"sh("$rehearsal/../scripts/fuzz" --forever)sh"),
              (Outcome{"scripts/fuzz: there is no option --forever; see scripts/fuzz --help\n", 64}));
    EXPECT_EQ(outside(R"sh("$rehearsal/../scripts/fuzz" --seconds 0)sh"),
              (Outcome{"scripts/fuzz: --seconds needs a number of seconds\n", 64}));
}

TEST(SoakScript, tellsItsUsageAndRefusesWhatItCannotRun) {
    EXPECT_EQ(outside(R"sh("$rehearsal/../scripts/soak" --help | sed -n 1p)sh").output,
              "usage: scripts/soak [--cycles N] [--installs N]\n");
    EXPECT_EQ(outside(R"sh("$rehearsal/../scripts/soak" --cycles 3)sh"),
              (Outcome{"soak: --cycles must be 4 at least\n", 64}));
    EXPECT_EQ(outside(R"sh("$rehearsal/../scripts/soak" --cycles 40 --installs)sh"),
              (Outcome{"soak: --installs needs a number from 5 to 999999\n", 64}));
    EXPECT_EQ(outside(R"sh("$rehearsal/../scripts/soak" --rounds 3)sh"),
              (Outcome{"soak: there is no --rounds\nsoak: scripts/soak --help shows the options\n", 64}));
}

TEST(ValgrindScript, tellsItsUsage) {
    EXPECT_EQ(outside(R"sh("$rehearsal/../scripts/valgrind" --help | sed -n 1p)sh").output,
              "usage: scripts/valgrind [OPTION]...\n");
}

TEST(BenchScript, tellsItsUsageAndRefusesWhatItCannotMeasure) {
    EXPECT_EQ(
        outside(R"sh("$rehearsal/../bench/run" --help | sed -n 1p)sh").output,
        "usage: bench/run [--runs N] [--only GROUP[,GROUP...]] [--workloads NAME[,NAME...]] [--list]\n");
    EXPECT_EQ(
        outside(R"sh("$rehearsal/../bench/run" --fast)sh"),
        (Outcome{"bench/run: there is no --fast\nbench/run: bench/run --help shows the options\n", 64}));
    EXPECT_EQ(outside(R"sh("$rehearsal/../bench/run" --runs 0)sh"),
              (Outcome{"bench/run: --runs needs a number of runs\n", 64}));
    EXPECT_EQ(
        outside(R"sh("$rehearsal/../bench/run" --only uploads 2>&1 | sed -n 1p; echo "${PIPESTATUS[0]}")sh")
            .output,
        "bench/run: there is no group uploads\n64\n");
}

class MeasuringScript : public testing::Test {
protected:
    void SetUp() override {
        if (outside("command -v python3").status != 0)
            GTEST_SKIP() << "python3 is missing, which the other tests do not need";
    }
};

TEST_F(MeasuringScript, tellsItsOwnUsage) {
    EXPECT_EQ(outside(R"sh("$rehearsal/../scripts/mutate" --help | sed -n 1p)sh").output,
              "usage: scripts/mutate [OPTION]...\n");
    EXPECT_EQ(outside(R"sh("$rehearsal/../scripts/coverage" --help | sed -n 1p)sh").output,
              "usage: scripts/coverage [OPTION]... [SUITE]...\n");
}

TEST_F(MeasuringScript, simulatesAFleetByTheFormulas) {
    const Outcome outcome = outside(R"sh("$rehearsal/../bench/fleet/simulation-test")sh");
    EXPECT_EQ(outcome.status, 0) << outcome;
}

TEST_F(MeasuringScript, refusesAnOptionThatItDoesNotKnow) {
    EXPECT_EQ(outside(R"sh("$rehearsal/../scripts/mutate" --sampel 20)sh"),
              (Outcome{"scripts/mutate: there is no option --sampel; see scripts/mutate --help\n", 64}));
    EXPECT_EQ(
        outside(R"sh("$rehearsal/../scripts/count-instructions" --udpate)sh"),
        (Outcome{"scripts/count-instructions: there is no option --udpate; see scripts/count-instructions "
                 "--help\n",
                 64}));
    EXPECT_EQ(outside(R"sh("$rehearsal/../scripts/coverage" --reprot)sh"),
              (Outcome{"scripts/coverage: there is no option --reprot; see scripts/coverage --help\n", 64}));
}

// Made-up dumps of callgrind: a step with two functions of its own, one of which calls, and one that the
// processor decides on.
class CountedInstructions : public MeasuringScript {
protected:
    static Outcome compared(const std::string &change) {
        return outside(R"sh(
            folder=$(mktemp -d) && cd "$folder" && mkdir counted
            compare() { "$rehearsal/../scripts/instructions.py" "$@" baseline counted; }
            write() { # STEP FIRST SECOND
                cat >"counted/steps.$1" <<DUMP
desc: Trigger: --dump-after=$1
fn=$1
0 100
cfn=first(int)
calls=3 0
0 $2
fn=first(int)
0 $2
fn=second()
0 $(($3 - 7))
4 7
fn=__memcpy_avx_unaligned_erms
0 $RANDOM
DUMP
            }
            { echo "c++ 12" && echo "libxml2 2.9"; } >counted/versions
            write stepOne 5000 4900 && write stepTwo 400 500
            compare --update)sh"
                       "\n" +
                       change + R"sh(
            compare
            status=$?
            rm -r "$folder"
            exit "$status")sh");
    }
};

TEST_F(CountedInstructions, MayChangeByFivePercent) {
    EXPECT_EQ(compared("write stepOne 5000 5400; write stepTwo 400 451"),
              (Outcome{"baseline: 2 steps\n"
                       "stepOne: 10,500 instructions, 5.0% more than 10,000\n"
                       "stepTwo: 951 instructions, 4.9% fewer than 1,000\n",
                       0}));
}

TEST_F(CountedInstructions, FailWhenTheyGrowAndNameTheFunction) {
    EXPECT_EQ(
        compared("write stepTwo 300 700"),
        (Outcome{"baseline: 2 steps\n"
                 "stepOne: 10,000 instructions, 0.0% fewer than 10,000\n"
                 "stepTwo: 1,100 instructions, 10.0% more than 1,000\n"
                 "  +200 in second()\n"
                 "Over 5% more, or other steps. If that is meant: scripts/count-instructions --update\n",
                 1}));
}

TEST_F(CountedInstructions, ThatBecameFewerAreNoFailure) {
    EXPECT_EQ(compared("write stepTwo 300 500"),
              (Outcome{"baseline: 2 steps\n"
                       "stepOne: 10,000 instructions, 0.0% fewer than 10,000\n"
                       "stepTwo: 900 instructions, 10.0% fewer than 1,000\n"
                       "  Fewer are no failure: keep them by --update.\n",
                       0}));
}

TEST_F(CountedInstructions, OfOtherStepsFail) {
    EXPECT_EQ(
        compared("rm counted/steps.stepOne; write stepNew 1 10"),
        (Outcome{"baseline: 2 steps\n"
                 "stepNew: not counted before\n"
                 "stepOne: not counted any more\n"
                 "stepTwo: 1,000 instructions, 0.0% fewer than 1,000\n"
                 "Over 5% more, or other steps. If that is meant: scripts/count-instructions --update\n",
                 1}));
}

TEST_F(CountedInstructions, OfOtherVersionsAreNotCompared) {
    EXPECT_EQ(compared("write stepOne 9000 9000; { echo 'c++ 12'; echo 'libxml2 2.12'; } >counted/versions"),
              (Outcome{"baseline: 2 steps\n"
                       "Not compared: baseline was counted with other versions.\n"
                       "  - libxml2 2.9\n"
                       "  + libxml2 2.12\n",
                       0}));
}

TEST_F(CountedInstructions, ThatAreNotThereAreAFailure) {
    const Outcome outcome = compared("rm counted/steps.*");
    EXPECT_EQ(outcome,
              (Outcome{"baseline: 2 steps\ncounted: no step was counted, or nothing in a step\n", 1}));
}

// The sample is taken from sources, platforms and rules alike, so each source is in it.
TEST_F(MeasuringScript, breaksEverySourceInOnePlaceAtLeast) {
    const Outcome outcome = outside(R"sh(
        cd "$rehearsal/.."
        find src/mac/src -name '*.cpp' ! -path '*/macos/*' | sort |
            comm -23 - <(scripts/mutate --list | grep -oE '^[^:]+\.cpp' | sort -u))sh");
    EXPECT_EQ(outcome, (Outcome{"", 0}));
}

TEST(StyleScript, saysThatItNeedsGit) {
    const Outcome outcome = inside(R"sh(
        mkdir /tmp/bin && ln -s /usr/bin/{bash,env,dirname} /tmp/bin && export PATH=/tmp/bin
        "$rehearsal/../scripts/check-style")sh");
    EXPECT_NE(outcome.output.find("so it needs git and a clone.\n"), std::string::npos) << outcome;
    EXPECT_EQ(outcome.status, 1);
}

TEST(InstallScript, namesWhatIsMissingOnAnotherSystem) {
    const Outcome outcome = inside(hide + R"sh(
        hide dpkg-query nginx
        "$rehearsal/../scripts/install-packages" build && echo 'all for the build'
        "$rehearsal/../scripts/install-packages" demo 2>&1 | sed -n 1,3p; echo "${PIPESTATUS[0]}")sh");
    if (outcome.status == needsRealRoot)
        GTEST_SKIP() << outcome.output;
    EXPECT_EQ(outcome.output, "all for the build\nThis is not a Debian system, and nginx is missing. Please "
                              "install what these Debian "
                              "packages hold:\n  ca-certificates\n  iproute2\n1\n");
}

// A demonstration needs no compiler but the build's, and nothing of the tests.
TEST(PackageList, keepsTestsAndChecksOutOfTheDemonstration) {
    const Outcome outcome = outside(
        R"sh(grep -E '^(build|demo) ' "$rehearsal/../scripts/packages.debian" | grep -cE 'clang|gtest|gmock|valgrind|shellcheck|tmux')sh");
    EXPECT_EQ(outcome.output, "0\n");
}

} // namespace
