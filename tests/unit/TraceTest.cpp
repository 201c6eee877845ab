#include "Trace.h"

#include <array>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "DownloadController.h"
#include "FullDisk.h"
#include "TextFile.h"
#include "TraceFile.h"
#include "UpdateManager.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

constexpr std::size_t stampLength = sizeof "2013-09-14.08:30:00 : " - 1;

[[maybe_unused]] const bool linesAreItsOwn = allowUnknownMessages();

// The bytes that a text "%s" argument may hold: all but the zero that ends it.
std::string everyByte() {
    std::string bytes;
    for (int byte = 1; byte < 256; ++byte)
        bytes += static_cast<char>(byte);
    return bytes;
}

TEST(Trace, FileIsOpenedByTheFirstController) {
    EXPECT_FALSE(std::filesystem::exists("/var/log/DownloadManager.log"));
    EXPECT_EQ(logFilePtr, nullptr);
    EXPECT_EQ(traceInited, 0);
    const DownloadController controller;
    EXPECT_TRUE(std::filesystem::exists("/var/log/DownloadManager.log"));
    EXPECT_NE(logFilePtr, nullptr);
    EXPECT_EQ(traceInited, 1);
}

TEST(Trace, FileIsNotInheritedByOtherPrograms) {
    const DownloadController controller;
    ASSERT_NE(logFilePtr, nullptr);
    EXPECT_EQ(fcntl(fileno(logFilePtr), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

TEST(Trace, ShippedLevelsWriteEveryMessage) {
    EXPECT_EQ(downloadManagerTraceFlagvalue, 5);
    EXPECT_EQ(catalogparserflagvalue, 5);
}

TEST(Trace, LineBeforeTheFirstControllerIsDropped) {
    trace.error("too early\n");
    const DownloadController controller;
    trace.error("in time\n");
    EXPECT_THAT(traceMessages(), ElementsAre("in time\n"));
}

TEST(Trace, TwoControllersOpenTheFileOnce) {
    const DownloadController first;
    std::FILE *const opened = logFilePtr;
    trace.info("one\n");
    const DownloadController second;
    trace.info("two\n");
    EXPECT_EQ(logFilePtr, opened);
    EXPECT_THAT(traceMessages(), ElementsAre("one\n", "two\n"));
}

TEST(Trace, OutlivesTheController) {
    DownloadController::getInstance();
    DownloadController::releaseInstance();
    trace.info("afterwards\n");
    EXPECT_THAT(traceMessages(), ElementsAre("afterwards\n"));
}

TEST(Trace, EarlierContentStays) {
    writeText("/var/log/DownloadManager.log", "of another run\n");
    openTrace();
    trace.info("of this run\n");
    EXPECT_THAT(traceMessages(), ElementsAre("of another run\n", "of this run\n"));
}

TEST(Trace, LinesOfOtherWritersAreNotOverwritten) {
    openTrace();
    trace.info("before\n");
    // As the installer script does while the updater waits for it.
    std::ofstream("/var/log/DownloadManager.log", std::ios::app) << "from the script\n";
    trace.info("after\n");
    EXPECT_THAT(traceMessages(), ElementsAre("before\nfrom the script\n", "after\n"));
}

TEST(Trace, FileThatCannotBeOpenedIsSilent) {
    std::filesystem::create_directory("/var/log/DownloadManager.log");
    DownloadController controller;
    EXPECT_EQ(logFilePtr, nullptr);
    EXPECT_EQ(traceInited, 1);
    trace.error("unheard\n");
    catalogTrace.error("unheard\n");

    writeText("/tmp/ProductConfig.xml", "<ProductConfiguration/>");
    EXPECT_EQ(controller.productUpdate("1.0.0.5", "105", "CheckForNothing"), 0);
    EXPECT_EQ(UpdateManager().updateProductConfigXml("/tmp/ProductConfig.xml", "AppID", "quaformac"), 0);
    EXPECT_THAT(readText("/tmp/ProductConfig.xml"), testing::HasSubstr("<AppID>quaformac</AppID>"));
    EXPECT_TRUE(std::filesystem::is_empty("/var/log/DownloadManager.log"));
}

TEST(Trace, FailedOpenIsNotRetried) {
    std::filesystem::create_directory("/var/log/DownloadManager.log");
    const DownloadController first;
    std::filesystem::remove("/var/log/DownloadManager.log");
    const DownloadController second;
    trace.error("unheard\n");
    EXPECT_FALSE(std::filesystem::exists("/var/log/DownloadManager.log"));
}

TEST(Trace, FailingWriteIsIgnored) {
    openTrace();
    std::FILE *const file = logFilePtr;
    logFilePtr = std::fopen("/dev/full", "a+");
    ASSERT_NE(logFilePtr, nullptr);
    trace.error("lost: %s\n", std::string(100'000, 'x').c_str());
    static_cast<void>(std::fclose(logFilePtr));
    logFilePtr = file;
    trace.error("written\n");
    EXPECT_THAT(traceMessages(), ElementsAre("written\n"));
}

TEST(Trace, PipeThatNobodyReadsHoldsUpNobody) {
    ASSERT_EQ(mkfifo("/var/log/DownloadManager.log", 0600), 0);
    openTrace();
    ASSERT_NE(logFilePtr, nullptr);
    for (int line = 0; line < 100; ++line)
        trace.info("%s\n", std::string(1000, 'x').c_str()); // more than a pipe takes
}

TEST(Trace, FileThatMayNotGrowEndsNobody) {
    openTrace();
    {
        const FullDisk limit(10);
        trace.info("lost\n");
    }
    trace.info("written\n");
    EXPECT_THAT(traceText(), testing::EndsWith(" : written\n"));
}

TEST(Trace, NothingIsWrittenBetweenStampAndMessage) {
    openTrace();
    trace.info("the message");
    EXPECT_THAT(traceText(),
                MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}\\.[0-9]{2}:[0-9]{2}:[0-9]{2} : the message"));
}

TEST(Trace, MessageWithoutLineEndRunsOn) {
    openTrace();
    trace.info("first,");
    trace.info("second\n");
    EXPECT_THAT(traceText(), MatchesRegex("[^\n]* : first,[^\n]* : second\n"));
}

TEST(Trace, StampIsLocalTime) {
    // Fourteen hours ahead of Greenwich, so that the two cannot be taken for one another.
    // NOLINTNEXTLINE(concurrency-mt-unsafe): this is the only thread
    ASSERT_EQ(setenv("TZ", "AHEAD-14", 1), 0);
    tzset();
    openTrace();
    const std::time_t before = std::time(nullptr);
    trace.info("now\n");
    const std::time_t after = std::time(nullptr);

    std::tm local{};
    const std::string text = traceText();
    const char *rest = strptime(text.c_str(), "%Y-%m-%d.%H:%M:%S", &local);
    ASSERT_NE(rest, nullptr);
    EXPECT_STREQ(rest, " : now\n");
    local.tm_isdst = 0;
    const std::time_t stamped = std::mktime(&local);
    EXPECT_GE(stamped, before);
    EXPECT_LE(stamped, after);
}

struct Gate {
    const char *name;
    std::int32_t governingLevel;
    int level;
    bool written;
};

class TraceGate : public testing::TestWithParam<Gate> {};

TEST_P(TraceGate, GoverningLevelDecides) {
    openTrace();
    downloadManagerTraceFlagvalue = GetParam().governingLevel;
    trace.write(GetParam().level, "message\n");
    EXPECT_EQ(!traceText().empty(), GetParam().written);
}

TEST_P(TraceGate, CatalogParserHasALevelOfItsOwn) {
    openTrace();
    // The other one would decide the opposite.
    downloadManagerTraceFlagvalue = GetParam().written ? 0 : 5;
    catalogparserflagvalue = GetParam().governingLevel;
    catalogTrace.write(GetParam().level, "message\n");
    EXPECT_EQ(!traceText().empty(), GetParam().written);
}

INSTANTIATE_TEST_SUITE_P(Trace, TraceGate,
                         testing::Values(Gate{"ErrorAtFive", 5, 2, true}, Gate{"PartialAtFive", 5, 4, true},
                                         Gate{"InfoAtFive", 5, 5, true}, Gate{"ErrorAtFour", 4, 2, true},
                                         Gate{"PartialAtFour", 4, 4, true}, Gate{"InfoAtFour", 4, 5, false},
                                         Gate{"PartialAtThree", 3, 4, false}, Gate{"ErrorAtTwo", 2, 2, true},
                                         Gate{"InfoAtTwo", 2, 5, false}, Gate{"ErrorAtOne", 1, 2, false},
                                         Gate{"ErrorAtMinusOne", -1, 2, false}),
                         [](const auto &caseInfo) { return caseInfo.param.name; });

TEST(Trace, ErrorAndInfoHaveTheirLevels) {
    openTrace();
    downloadManagerTraceFlagvalue = 4;
    trace.info("five\n");
    trace.error("two\n");
    trace.write(Trace::partialDownloadLevel, "four\n");
    downloadManagerTraceFlagvalue = 2;
    trace.write(Trace::partialDownloadLevel, "four\n");
    trace.error("two\n");
    downloadManagerTraceFlagvalue = 1;
    trace.error("two\n");
    EXPECT_THAT(traceMessages(), ElementsAre("two\n", "four\n", "two\n"));
}

struct Argument {
    const char *name;
    std::string text;
};

class TraceArgument : public testing::TestWithParam<Argument> {};

TEST_P(TraceArgument, ComesOutWhole) {
    openTrace();
    trace.info("INFO: <%s> and <%s>\n", GetParam().text.c_str(), GetParam().text.c_str());
    const std::string written = traceText();
    ASSERT_GT(written.size(), stampLength);
    // Compared first, since a failure would print megabytes.
    const bool whole =
        written.substr(stampLength) == "INFO: <" + GetParam().text + "> and <" + GetParam().text + ">\n";
    EXPECT_TRUE(whole);
}

INSTANTIATE_TEST_SUITE_P(Trace, TraceArgument,
                         testing::Values(Argument{"Plain", "quaformac"}, Argument{"Empty", ""},
                                         Argument{"Utf8", "Gr\xC3\xB6\xC3\x9F"
                                                          "e"},
                                         Argument{"InvalidUtf8", "\xFF\xFE\xC3("},
                                         Argument{"EveryByte", everyByte()},
                                         Argument{"PercentSigns", "100%s %d %n %%"},
                                         Argument{"Megabytes", std::string(8'000'000, 'm')},
                                         Argument{"LineEnds", "a\nb\r\nc\n"}),
                         [](const auto &caseInfo) { return caseInfo.param.name; });

TEST(Trace, NumbersAreSigned) {
    openTrace();
    trace.info("%d %d\n", -1, 42);
    EXPECT_THAT(traceMessages(), ElementsAre("-1 42\n"));
}

TEST(Trace, StampAndMessageOfALineStayTogetherAcrossThreads) {
    constexpr int threadCount = 8;
    constexpr int linesPerThread = 2000;
    openTrace();
    std::vector<std::thread> threads;
    threads.reserve(threadCount);
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([thread] {
            for (int line = 0; line < linesPerThread; ++line)
                trace.info("thread %d line %d\n", thread, line);
        });
    }
    for (std::thread &thread : threads)
        thread.join();

    std::array<int, threadCount> nextLine{};
    std::vector<std::string> torn;
    std::ifstream file("/var/log/DownloadManager.log");
    const std::regex whole(R"(\d{4}-\d\d-\d\d\.\d\d:\d\d:\d\d : thread (\d) line (\d+))");
    for (std::string line; std::getline(file, line);) {
        std::smatch match;
        if (std::regex_match(line, match, whole))
            EXPECT_EQ(std::stoi(match[2]), nextLine.at(std::stoul(match[1]))++);
        else
            torn.push_back(line);
    }
    EXPECT_THAT(torn, IsEmpty());
    EXPECT_THAT(nextLine, testing::Each(linesPerThread));
}

} // namespace
