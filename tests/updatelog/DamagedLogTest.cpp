// What is told of logs that were cut, overwritten or changed on their way: of the runs that are whole, the
// same.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Lines.h"
#include "Stories.h"

namespace {

using testing::SizeIs;
using testing::Test;

const std::string wholeInstallation = installationStarts() +
                                      " Installing /One.pkg\nInstalled /One.pkg successfully\n"
                                      " Installing /Two.pkg\nFailed to install /Two.pkg\n";
const std::string wholeDownload =
    checkStarts(0) + asks(0) + isAnswered(1, "<productresponse>\n <error/>\n</productresponse>\n") +
    at(1, "INFO : TolvaneHandler - Update Available") + at(2, "INFO : Start download: " + packageUrl) +
    at(3, "Error: HTTP response= 404 and CURL response = 0, URL: " + packageUrl) +
    at(3, "ERROR: Download Failed") + exits(3);
const std::vector<std::string> wholeRuns = {idleCheck(), wholeDownload, wholeInstallation, deafCheck(),
                                            idleCheck()};

const std::vector<std::string> &expectedTold() {
    static const std::vector<std::string> all = [] {
        std::vector<std::string> told;
        for (const std::string &run : wholeRuns)
            told.push_back(toldOf(storyOf(run)));
        return told;
    }();
    return all;
}

// Where each run of the log begins, and where the last one ends.
std::vector<std::size_t> bounds() {
    std::vector<std::size_t> begins = {0};
    for (const std::string &run : wholeRuns)
        begins.push_back(begins.back() + run.size());
    return begins;
}

std::string wholeLog() {
    std::string log;
    for (const std::string &run : wholeRuns)
        log += run;
    return log;
}

// From the first byte on, up to the last.
struct Hole {
    std::size_t begin;
    std::size_t end;
};

// Those that the hole leaves whole are told as they were, those before it first and those behind it last.
void expectTheOthersUntouched(const std::string &damaged, const Hole &hole) {
    const std::vector<std::string> told = toldOfAll(damaged);
    const std::vector<std::size_t> begins = bounds();
    for (std::size_t run = 0; run < wholeRuns.size(); ++run) {
        const std::string &expected = expectedTold()[run];
        const std::size_t behind = wholeRuns.size() - run; // and itself
        if (begins[run + 1] <= hole.begin) {
            ASSERT_GT(told.size(), run) << hole.begin;
            EXPECT_EQ(told[run], expected) << "run " << run << ", hole at " << hole.begin;
        } else if (begins[run] >= hole.end) {
            ASSERT_GE(told.size(), behind) << hole.end;
            EXPECT_EQ(told[told.size() - behind], expected) << "run " << run << ", hole up to " << hole.end;
        }
    }
}

TEST(DamagedLog, ThatWasCutTellsTheWholeRuns) {
    const std::string log = wholeLog();
    for (std::size_t cut = 0; cut <= log.size(); cut += 3) {
        expectTheOthersUntouched(log.substr(0, cut), {cut, log.size()});
        expectTheOthersUntouched(log.substr(cut), {0, cut});
        if (Test::HasFailure())
            return;
    }
}

TEST(DamagedLog, WithAHoleTellsTheWholeRuns) {
    const std::string log = wholeLog();
    for (const std::size_t length : {1U, 40U, 300U, 2000U}) {
        for (std::size_t begin = 0; begin + length < log.size(); begin += 11) {
            const Hole hole = {begin, begin + length};
            for (const std::string &filling :
                 {std::string(), std::string(length, '\0'), std::string("\xff\n\x01 : \r\n"),
                  std::string("from syslog\n")})
                expectTheOthersUntouched(log.substr(0, begin) + filling + log.substr(hole.end), hole);
            if (Test::HasFailure())
                return;
        }
    }
}

TEST(DamagedLog, OfAnotherSystemTellsTheSame) {
    std::string log;
    for (const char character : wholeLog())
        log += character == '\n' ? std::string("\r\n") : std::string(1, character);
    EXPECT_EQ(toldOfAll(log), toldOfAll(wholeLog()));
    EXPECT_THAT(toldOfAll(log), SizeIs(wholeRuns.size()));
}

} // namespace
