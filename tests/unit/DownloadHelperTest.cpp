// The worker's progress callback has libcurl's first form.
#define CURL_DISABLE_DEPRECATION

#include "DownloadHelper.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdarg>
#include <limits>
#include <new>

#include <arpa/inet.h>
#include <curl/curl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "FailingAllocation.h"
#include "FullDisk.h"
#include "RefusedLock.h"
#include "ShellPipe.h"
#include "SmallDisk.h"
#include "WorkerFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// What a test lets libcurl fail at.
std::atomic<bool> noHandles{false};
std::atomic<bool> responseCodeThrows{false};
std::atomic<bool> setUrlThrows{false};
std::atomic<bool> noSignalIsRefused{false};
std::atomic<bool> noStreams{false};

std::atomic<int> transfersPerformed{0};

// Every option that was set so far, with its value where that is a number.
using OptionSet = std::pair<CURLoption, long>;
std::vector<OptionSet> optionsSet;

// Sets a flag for as long as it lives.
class Fault {
public:
    explicit Fault(std::atomic<bool> &flag)
        : m_flag(flag) {
        m_flag = true;
    }
    ~Fault() { m_flag = false; }
    Fault(const Fault &) = delete;
    Fault &operator=(const Fault &) = delete;

private:
    std::atomic<bool> &m_flag;
};

// Whether this process has the file open. Asked by name: other threads, of the server and of the sanitizers,
// open and close descriptors of their own at any time.
bool isOpen(const std::string &file) {
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return std::any_of(begin(entries), end(entries), [&file](const auto &entry) {
        std::error_code gone; // closed since it was listed
        return std::filesystem::read_symlink(entry, gone) == file;
    });
}

} // namespace

// The linker leads the engine's calls here.
extern "C" {
CURL *__real_curl_easy_init();
CURL *__wrap_curl_easy_init();
CURL *__wrap_curl_easy_init() {
    return noHandles ? nullptr : __real_curl_easy_init();
}

// An enumeration may not stand before variable arguments in C++; its number is passed in the same way.
CURLcode __real_curl_easy_getinfo(CURL *handle, CURLINFO info, ...);
CURLcode __wrap_curl_easy_getinfo(CURL *handle, unsigned int number, ...);
CURLcode __wrap_curl_easy_getinfo(CURL *handle, unsigned int number, ...) {
    const auto info = static_cast<CURLINFO>(number);
    if (responseCodeThrows && info == CURLINFO_RESPONSE_CODE)
        throw std::bad_alloc();
    std::va_list arguments;
    va_start(arguments, number);
    void *value = va_arg(arguments, void *);
    va_end(arguments);
    return __real_curl_easy_getinfo(handle, info, value);
}

CURLcode __real_curl_easy_perform(CURL *handle);
CURLcode __wrap_curl_easy_perform(CURL *handle);
CURLcode __wrap_curl_easy_perform(CURL *handle) {
    ++transfersPerformed;
    return __real_curl_easy_perform(handle);
}

CURLcode __real_curl_easy_setopt(CURL *handle, CURLoption option, ...);
CURLcode __wrap_curl_easy_setopt(CURL *handle, unsigned int number, ...);
CURLcode __wrap_curl_easy_setopt(CURL *handle, unsigned int number, ...) {
    const auto option = static_cast<CURLoption>(number);
    if (setUrlThrows && option == CURLOPT_URL)
        throw std::bad_alloc();
    if (noSignalIsRefused && option == CURLOPT_NOSIGNAL)
        return CURLE_UNKNOWN_OPTION;
    std::va_list arguments;
    va_start(arguments, number);
    const bool isNumber = option < CURLOPTTYPE_OBJECTPOINT;
    const long value = isNumber ? va_arg(arguments, long) : 0;
    void *pointer = isNumber ? nullptr : va_arg(arguments, void *);
    va_end(arguments);
    optionsSet.emplace_back(option, value);
    return isNumber ? __real_curl_easy_setopt(handle, option, value)
                    : __real_curl_easy_setopt(handle, option, pointer);
}

std::FILE *__real_fdopen(int descriptor, const char *mode);
std::FILE *__wrap_fdopen(int descriptor, const char *mode);
std::FILE *__wrap_fdopen(int descriptor, const char *mode) {
    return noStreams ? nullptr : __real_fdopen(descriptor, mode);
}
}

namespace {

const std::string content = fileContent(100000);
const std::string startLine = "INFO : Start download: <url>\n";
const std::string successLine = "Successfully downloaded: <url>\n";
const std::string resumeLine = "Resume Download: <url>\n";
const std::string partialLine = "ERROR : Download Failed with CURL error code CURLE_PARTIAL_FILE for <url>\n";

std::string errorLine(int http, int curl) {
    return "Error: HTTP response= " + std::to_string(http) + " and CURL response = " + std::to_string(curl) +
           ", URL: <url>\n";
}

double kilobytes(std::size_t bytes) {
    return static_cast<double>(bytes) / 1024;
}

class DownloadHelperTest : public WorkerFixture {};

// --- before a transfer -----------------------------------------------------------------------------------

TEST_F(DownloadHelperTest, ANewWorkerIsIdle) {
    const DownloadProgressInfo info = worker.getProgressInfo();
    EXPECT_EQ(info.progressPercent, 0);
    EXPECT_EQ(info.downloadSpeed, 0);
    EXPECT_EQ(info.remainingTime, 0);
    EXPECT_EQ(info.downloadedSize, 0);
    EXPECT_EQ(info.totalSize, 0);
    EXPECT_EQ(outcome(), untouched);
    EXPECT_EQ(worker.getDownloadURl(), nullptr);
    EXPECT_EQ(worker.getDownloadedFile(), nullptr);
}

TEST_F(DownloadHelperTest, TheLimitsHaveTheValuesOfTheSystem) {
    const CURLSetUpConfig limits;
    EXPECT_EQ(limits.lowSpeedLimit, 10000);
    EXPECT_EQ(limits.lowSpeedTime, 30);
    EXPECT_EQ(limits.connectTimeout, 45);
}

TEST_F(DownloadHelperTest, InitKeepsCopiesAndEmptiesTheFile) {
    writeText(file, "left by an earlier run");
    std::string address = "http://127.0.0.1/a";
    std::string path = file;
    EXPECT_TRUE(worker.Init(address.c_str(), path.c_str(), {}));
    address.assign(address.size(), 'x');
    path.assign(path.size(), 'x');
    EXPECT_STREQ(worker.getDownloadURl(), "http://127.0.0.1/a");
    EXPECT_EQ(worker.getDownloadedFile(), file);
    EXPECT_TRUE(std::filesystem::exists(file));
    EXPECT_EQ(loaded(), "");
    EXPECT_EQ(outcome(), untouched);
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(DownloadHelperTest, ASecondInitKeepsTheFirstUrlAndPath) {
    server.serve("/first", content);
    ASSERT_TRUE(init("/first"));
    EXPECT_TRUE(worker.Init(server.url("/second").c_str(), (file + ".second").c_str(), {}));
    EXPECT_EQ(worker.getDownloadURl(), server.url("/first"));
    EXPECT_EQ(worker.getDownloadedFile(), file);
    EXPECT_FALSE(std::filesystem::exists(file + ".second"));
    worker.startDownload();
    EXPECT_TRUE(hasLoaded(content));
}

TEST_F(DownloadHelperTest, ASecondInitTakesTheNewLimits) {
    ASSERT_TRUE(init("/a"));
    EXPECT_FALSE(init("/a", {10000, 30, -1}));
    EXPECT_TRUE(init("/a", {10000, 30, 45}));
}

TEST_F(DownloadHelperTest, InitFailsWhenTheFileCannotBeOpened) {
    file = folder + "/missing/file";
    EXPECT_FALSE(init("/a"));
    EXPECT_THAT(messages(), ElementsAre("Error occurred in creating output file : <file> \n"));
    EXPECT_EQ(outcome(), untouched);
}

TEST_F(DownloadHelperTest, InitFailsOnAPipeThatNobodyReads) {
    file = folder + "/pipe";
    ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
    EXPECT_FALSE(init("/a"));
    EXPECT_THAT(messages(), ElementsAre("Error occurred in creating output file : <file> \n"));
    EXPECT_EQ(outcome(), untouched);
}

TEST_F(DownloadHelperTest, ASecondInitThatCannotOpenTheFileLeavesNothingOpen) {
    server.serve("/a", content);
    ASSERT_TRUE(init("/a"));
    std::filesystem::remove_all(folder);
    EXPECT_FALSE(init("/a"));
    worker.startDownload();
    EXPECT_EQ(server.requestCount(), 0U);
    EXPECT_EQ(outcome(), failedOutcome);
    EXPECT_THAT(messages(), ElementsAre("Error occurred in creating output file : <file> \n", startLine,
                                        errorLine(0, CURLE_BAD_FUNCTION_ARGUMENT)));
}

TEST_F(DownloadHelperTest, InitSetsTheseOptionsAndNoOther) {
    optionsSet.clear();
    ASSERT_TRUE(init("/a"));
    EXPECT_THAT(optionsSet,
                ElementsAre(OptionSet{CURLOPT_NOSIGNAL, 1}, OptionSet{CURLOPT_URL, 0},
                            OptionSet{CURLOPT_CONNECTTIMEOUT, 45}, OptionSet{CURLOPT_LOW_SPEED_LIMIT, 10000},
                            OptionSet{CURLOPT_LOW_SPEED_TIME, 30}, OptionSet{CURLOPT_RESUME_FROM, 0},
                            OptionSet{CURLOPT_WRITEFUNCTION, 0}, OptionSet{CURLOPT_WRITEDATA, 0},
                            OptionSet{CURLOPT_NOPROGRESS, 0}, OptionSet{CURLOPT_PROGRESSDATA, 0},
                            OptionSet{CURLOPT_PROGRESSFUNCTION, 0}, OptionSet{CURLOPT_FOLLOWLOCATION, 1}));
}

class WithoutMemory : public WorkerFixture, public testing::WithParamInterface<std::size_t> {};

TEST_P(WithoutMemory, InitFailsAndCanBeRepeated) {
    server.serve("/file.xml", content);
    url = server.url("/file.xml");
    bool prepared = true;
    {
        const FailingAllocation failing(GetParam());
        prepared = worker.Init(url.c_str(), file.c_str(), {});
        EXPECT_TRUE(failing.happened());
    }
    EXPECT_FALSE(prepared);
    EXPECT_THAT(messages(), ElementsAre("Caught an exception in initCurlHandler\n"));
    load("/file.xml");
    EXPECT_TRUE(hasLoaded(content));
}

INSTANTIATE_TEST_SUITE_P(DownloadHelper, WithoutMemory, testing::Values(0U, 1U), [](const auto &allocation) {
    return std::string(allocation.param == 0 ? "ForTheUrl" : "ForThePath");
});

TEST_F(DownloadHelperTest, InitFailsWithoutAnEasyHandle) {
    const Fault fault(noHandles);
    EXPECT_FALSE(init("/a"));
    EXPECT_THAT(messages(), ElementsAre("Error occurred in curl initialization\n"));
}

// Without it libcurl would use signals for its time-outs, which strike the host's threads.
TEST_F(DownloadHelperTest, AHandleThatCannotDoWithoutSignalsIsNone) {
    const Fault fault(noSignalIsRefused);
    EXPECT_FALSE(init("/a"));
    EXPECT_THAT(messages(), ElementsAre("Error occurred in curl initialization\n"));
}

TEST_F(DownloadHelperTest, InitFailsWithoutAStreamAndLeavesNothingOpen) {
    {
        const Fault fault(noStreams);
        EXPECT_FALSE(init("/a"));
    }
    EXPECT_THAT(messages(), ElementsAre(testing::StartsWith("Error occurred in creating output file")));
    EXPECT_FALSE(isOpen(file));
}

TEST_F(DownloadHelperTest, AnExceptionWhileOptionsAreSetIsAnError) {
    const Fault fault(setUrlThrows);
    EXPECT_FALSE(init("/a"));
    EXPECT_THAT(messages(), ElementsAre("Caught an exception in setupcurl\n",
                                        "Error occured in setting up CURL handle with error code :-1\n"));
    EXPECT_FALSE(isOpen(file));
}

TEST_F(DownloadHelperTest, ALockThatIsRefusedFailsInitAndLeavesNothingOpen) {
    {
        const RefusedLock refused(0);
        EXPECT_FALSE(init("/a"));
        EXPECT_TRUE(refused.happened());
    }
    EXPECT_THAT(messages(), ElementsAre("Caught an exception in initCurlHandler\n"));
    EXPECT_FALSE(isOpen(file));
    ASSERT_TRUE(init("/a"));
    EXPECT_TRUE(isOpen(file));
}

struct BadLimits {
    const char *name;
    CURLSetUpConfig limits;
};

class BadLimit : public WorkerFixture, public testing::WithParamInterface<BadLimits> {};

TEST_P(BadLimit, FailsInitWithLibcurlsCode) {
    EXPECT_FALSE(init("/a", GetParam().limits));
    EXPECT_THAT(messages(), ElementsAre("Error occured in setting up CURL handle with error code :43\n"));
    EXPECT_EQ(worker.setupcurl(), CURLE_BAD_FUNCTION_ARGUMENT) << "the handle is gone";
}

INSTANTIATE_TEST_SUITE_P(DownloadHelper, BadLimit,
                         testing::Values(BadLimits{"ConnectTimeout", {10000, 30, -1}},
                                         BadLimits{"LowSpeedLimit", {-1, 30, 45}},
                                         BadLimits{"LowSpeedTime", {10000, -1, 45}}),
                         [](const auto &caseInfo) { return caseInfo.param.name; });

TEST_F(DownloadHelperTest, SetUpOfAPreparedWorkerSucceeds) {
    ASSERT_TRUE(init("/a"));
    EXPECT_EQ(worker.setupcurl(), 0);
}

// --- the callbacks ---------------------------------------------------------------------------------------

struct Progress {
    const char *name;
    double resumedFrom; // bytes on disk when the transfer starts
    double total;
    double now;
    double percent;
    double downloadedKb;
    double totalKb;
};

class ProgressFigures : public WorkerFixture, public testing::WithParamInterface<Progress> {};

TEST_P(ProgressFigures, CountTheWholeFile) {
    const Progress &progress = GetParam();
    ASSERT_TRUE(init("/a"));
    if (progress.resumedFrom > 0) {
        // What the transfer before this one has seen is where this one starts.
        EXPECT_EQ(
            DownloadHelper::progressCallback(&worker, 2 * progress.resumedFrom, progress.resumedFrom, 0, 0),
            0);
        ASSERT_EQ(worker.setupcurl(), 0);
    }
    EXPECT_EQ(DownloadHelper::progressCallback(&worker, progress.total, progress.now, 7, 7), 0);
    const DownloadProgressInfo info = worker.getProgressInfo();
    EXPECT_DOUBLE_EQ(info.progressPercent, progress.percent);
    EXPECT_DOUBLE_EQ(info.downloadedSize, progress.downloadedKb);
    EXPECT_DOUBLE_EQ(info.totalSize, progress.totalKb);
    // The handle has not transferred anything.
    EXPECT_EQ(info.downloadSpeed, 0);
    EXPECT_EQ(info.remainingTime, -2147483648.0);
    EXPECT_EQ(outcome(), untouched);
}

INSTANTIATE_TEST_SUITE_P(
    DownloadHelper, ProgressFigures,
    testing::Values(Progress{"Start", 0, 2048, 0, 0, 0, 2}, Progress{"Half", 0, 2048, 1024, 50, 1, 2},
                    Progress{"FractionsStay", 0, 3000, 1000, 100.0 / 3, 1000.0 / 1024, 3000.0 / 1024},
                    Progress{"All", 0, 2048, 2048, 100, 2, 2},
                    Progress{"ResumedStart", 1024, 3072, 0, 25, 1, 4},
                    Progress{"ResumedHalf", 1024, 3072, 1024, 50, 2, 4},
                    Progress{"ResumedAll", 1024, 3072, 3072, 100, 4, 4},
                    Progress{"LargerThan2GiB", 0, 8589934592, 4294967296, 50, 4194304, 8388608}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

TEST_F(DownloadHelperTest, AnUnknownTotalLeavesAllFigures) {
    ASSERT_TRUE(init("/a"));
    EXPECT_EQ(DownloadHelper::progressCallback(&worker, 2048, 1024, 0, 0), 0);
    EXPECT_EQ(DownloadHelper::progressCallback(&worker, 0, 2048, 0, 0), 0);
    const DownloadProgressInfo info = worker.getProgressInfo();
    EXPECT_EQ(info.progressPercent, 50);
    EXPECT_EQ(info.downloadedSize, 1);
    EXPECT_EQ(info.totalSize, 2);
}

TEST_F(DownloadHelperTest, ASpeedThatCannotBeAskedForCountsAsZero) {
    EXPECT_EQ(DownloadHelper::progressCallback(&worker, 2048, 1024, 0, 0), 0);
    const DownloadProgressInfo info = worker.getProgressInfo();
    EXPECT_EQ(info.progressPercent, 50);
    EXPECT_EQ(info.downloadSpeed, 0);
    EXPECT_EQ(info.remainingTime, -2147483648.0);
}

TEST_F(DownloadHelperTest, TheCallbackStopsACancelledTransferOnly) {
    ASSERT_TRUE(init("/a"));
    EXPECT_EQ(DownloadHelper::progressCallback(&worker, 0, 0, 0, 0), 0);
    worker.cancel();
    EXPECT_NE(DownloadHelper::progressCallback(&worker, 0, 0, 0, 0), 0);
    EXPECT_NE(DownloadHelper::progressCallback(&worker, 2048, 1024, 0, 0), 0);
}

TEST_F(DownloadHelperTest, WriteDataGivesWhatTheStreamTook) {
    const File stream(std::fopen(file.c_str(), "wb"));
    std::array<char, 6> bytes{'a', 'b', 'c', 'd', 'e', 'f'};
    EXPECT_EQ(DownloadHelper::write_data(bytes.data(), 2, 3, stream.get()), 3U);
    EXPECT_EQ(DownloadHelper::write_data(bytes.data(), 1, 0, stream.get()), 0U);
    EXPECT_EQ(std::fflush(stream.get()), 0);
    EXPECT_EQ(loaded(), "abcdef");
}

TEST_F(DownloadHelperTest, WriteDataGivesNothingForAFullDisk) {
    const File stream(std::fopen("/dev/full", "wb"));
    ASSERT_EQ(std::setvbuf(stream.get(), nullptr, _IONBF, 0), 0);
    std::array<char, 6> bytes{};
    EXPECT_EQ(DownloadHelper::write_data(bytes.data(), 1, bytes.size(), stream.get()), 0U);
}

struct Rounding {
    const char *name;
    double value;
    int rounded;
};

class RoundNum : public testing::TestWithParam<Rounding> {};

TEST_P(RoundNum, RoundsHalfAwayFromZero) {
    EXPECT_EQ(DownloadHelper::roundNum(GetParam().value), GetParam().rounded);
}

constexpr int lowest = std::numeric_limits<int>::min();

INSTANTIATE_TEST_SUITE_P(
    DownloadHelper, RoundNum,
    testing::Values(Rounding{"Zero", 0, 0}, Rounding{"BelowHalf", 0.49, 0}, Rounding{"Half", 0.5, 1},
                    Rounding{"AboveOne", 1.49, 1}, Rounding{"OneAndAHalf", 1.5, 2},
                    Rounding{"TwoAndAHalf", 2.5, 3}, Rounding{"MinusBelowHalf", -0.49, 0},
                    Rounding{"MinusHalf", -0.5, -1}, Rounding{"MinusTwoAndAHalf", -2.5, -3},
                    Rounding{"Largest", 2147483647, 2147483647}, Rounding{"TooLarge", 2147483648.0, lowest},
                    Rounding{"Lowest", -2147483648.0, lowest}, Rounding{"TooLow", -1e12, lowest},
                    Rounding{"Infinity", std::numeric_limits<double>::infinity(), lowest},
                    Rounding{"NotANumber", std::numeric_limits<double>::quiet_NaN(), lowest}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

// --- what goes over the wire -----------------------------------------------------------------------------

TEST_F(DownloadHelperTest, TheRequestCarriesNothingOfOurOwn) {
    server.serve("/dir/file.xml", content);
    load("/dir/file.xml");
    ASSERT_EQ(server.requestCount(), 1U);
    EXPECT_EQ(server.requests()[0].head,
              "GET /dir/file.xml HTTP/1.1\r\nHost: " + server.host() + "\r\nAccept: */*\r\n\r\n");
}

TEST_F(DownloadHelperTest, AResumedRequestCarriesTheRangeOnTop) {
    server.serve("/file.xml", content, {answer::cut(1234)});
    load("/file.xml");
    ASSERT_EQ(server.requestCount(), 2U);
    EXPECT_EQ(server.requests()[1].head, "GET /file.xml HTTP/1.1\r\nHost: " + server.host() +
                                             "\r\nRange: bytes=1234-\r\nAccept: */*\r\n\r\n");
}

TEST_F(DownloadHelperTest, EveryTransferIsOneCallOfTheEasyInterface) {
    server.serve("/file.xml", content, {answer::cut(1000), answer::cut(1000)});
    load("/file.xml");
    EXPECT_EQ(server.requestCount(), 3U);
    EXPECT_EQ(transfersPerformed, 3);
    EXPECT_TRUE(DownloadHelper::isUrlReachable(server.url("/file.xml").c_str()));
    EXPECT_EQ(transfersPerformed, 4);
}

TEST_F(DownloadHelperTest, RedirectsAreFollowed) {
    server.serve("/first.xml", "", {answer::redirect("/second")});
    server.serve("/second", "", {answer::redirect(server.url("/third"))});
    server.serve("/third", content);
    load("/first.xml");
    EXPECT_TRUE(hasLoaded(content));
    EXPECT_EQ(outcome(), untouched);
    EXPECT_THAT(messages(), ElementsAre(startLine, successLine));
}

TEST_F(DownloadHelperTest, TheFiguresOfATransferAreThoseOfTheFile) {
    server.serve("/file.xml", content);
    load("/file.xml");
    const DownloadProgressInfo info = worker.getProgressInfo();
    EXPECT_EQ(info.progressPercent, 100);
    EXPECT_EQ(info.downloadedSize, kilobytes(content.size()));
    EXPECT_EQ(info.totalSize, kilobytes(content.size()));
    EXPECT_EQ(info.remainingTime, 0);
    EXPECT_GT(info.downloadSpeed, 0);
}

TEST_F(DownloadHelperTest, ProgressCanBeReadWhileTheTransferRuns) {
    const Gate gate;
    server.serve("/file.pkg", content, {answer::hold(content.size() / 4, gate)});
    ASSERT_TRUE(init("/file.pkg"));
    worker.setHashValue(sha1Of(content));
    background.run([this] { worker.startDownload(); });
    EXPECT_TRUE(comesTrue(
        [this] { return worker.getProgressInfo().downloadedSize == kilobytes(content.size() / 4); }));
    const DownloadProgressInfo info = worker.getProgressInfo();
    EXPECT_EQ(info.progressPercent, 25);
    EXPECT_EQ(info.totalSize, kilobytes(content.size()));
    EXPECT_EQ(outcome(), untouched);
    gate.open();
    background.join();
    EXPECT_EQ(outcome(), doneOutcome);
}

TEST_F(DownloadHelperTest, TheFiguresOfAResumedTransferAreThoseOfTheWholeFile) {
    const Gate gate;
    server.serve("/file.xml", content, {answer::cut(30000), answer::hold(20000, gate)});
    ASSERT_TRUE(init("/file.xml"));
    background.run([this] { worker.startDownload(); });
    EXPECT_TRUE(comesTrue([this] { return worker.getProgressInfo().downloadedSize == kilobytes(50000); }));
    EXPECT_EQ(worker.getProgressInfo().progressPercent, 50);
    EXPECT_EQ(worker.getProgressInfo().totalSize, kilobytes(content.size()));
    gate.open();
    background.join();
    EXPECT_EQ(worker.getProgressInfo().progressPercent, 100);
    EXPECT_EQ(worker.getProgressInfo().downloadedSize, kilobytes(content.size()));
    EXPECT_EQ(worker.getProgressInfo().totalSize, kilobytes(content.size()));
}

TEST_F(DownloadHelperTest, AServerWithoutALengthLeavesTheFiguresAtZero) {
    server.serve("/file.xml", content, {answer::noLength()});
    load("/file.xml");
    EXPECT_TRUE(hasLoaded(content));
    EXPECT_THAT(messages(), ElementsAre(startLine, successLine));
    const DownloadProgressInfo info = worker.getProgressInfo();
    EXPECT_EQ(info.progressPercent, 0);
    EXPECT_EQ(info.downloadedSize, 0);
    EXPECT_EQ(info.totalSize, 0);
}

TEST_F(DownloadHelperTest, AServerWithoutALengthLeavesTheLastFigures) {
    server.serve("/file.xml", content, {answer::cut(30000), answer::chunked()});
    load("/file.xml");
    EXPECT_TRUE(hasLoaded(content));
    EXPECT_EQ(worker.getProgressInfo().progressPercent, 30);
    EXPECT_EQ(worker.getProgressInfo().downloadedSize, kilobytes(30000));
}

// --- how a transfer ends ---------------------------------------------------------------------------------

struct Ending {
    const char *name;
    Answer answer;
    std::string outcome;
    Messages messages;
};

class TransferEnd : public WorkerFixture, public testing::WithParamInterface<Ending> {};

TEST_P(TransferEnd, ShowsInFlagsAndTrace) {
    server.serve("/file.xml", content, {GetParam().answer});
    load("/file.xml", {10000, 1, 45});
    EXPECT_EQ(outcome(), GetParam().outcome);
    EXPECT_EQ(messages(), GetParam().messages);
    EXPECT_EQ(server.requestCount(), 1U);
}

Ending success(const char *name, Answer answer) {
    return {name, std::move(answer), untouched, {startLine, successLine}};
}

Ending failure(const char *name, Answer answer, int http, int curl) {
    return {name, std::move(answer), failedOutcome, {startLine, errorLine(http, curl)}};
}

INSTANTIATE_TEST_SUITE_P(
    DownloadHelper, TransferEnd,
    testing::Values(success("Ok200", answer::whole()),
                    success("Partial206", answer::status("206 Partial Content", "part")),
                    success("Empty200", answer::status("200 OK")), success("Chunked", answer::chunked()),
                    success("NoLengthBrokenOff", answer::noLengthCut(100)),
                    failure("NonAuthoritative203", answer::status("203 Non-Authoritative Information", "x"),
                            203, 0),
                    failure("NoContent204", answer::status("204 No Content"), 204, 0),
                    failure("MovedWithoutLocation301", answer::status("301 Moved Permanently"), 301, 0),
                    failure("NotModified304", answer::status("304 Not Modified"), 304, 0),
                    failure("Forbidden403", answer::status("403 Forbidden", "no"), 403, 0),
                    failure("NotFound404", answer::status("404 Not Found", "no such file"), 404, 0),
                    failure("NotFound404WithoutBody", answer::status("404 Not Found"), 404, 0),
                    failure("ServerError500", answer::status("500 Internal Server Error", "oh"), 500, 0),
                    failure("Unavailable503", answer::status("503 Service Unavailable", "later"), 503, 0),
                    failure("NoReply", answer::nothing(), 0, CURLE_GOT_NOTHING),
                    failure("Reset", answer::reset(100), 200, CURLE_RECV_ERROR),
                    Ending{"TooSlow",
                           answer::stall(100),
                           failedOutcome,
                           {startLine, "Download Error: CURLE_OPERATION_TIMEDOUT URL: <url>\n"}}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

struct BadUrl {
    const char *name;
    std::string url;
    int curl;
};

class UnusableUrl : public WorkerFixture, public testing::WithParamInterface<BadUrl> {};

TEST_P(UnusableUrl, FailsTheTransfer) {
    url = GetParam().url;
    ASSERT_TRUE(worker.Init(url.c_str(), file.c_str(), {}));
    worker.startDownload();
    EXPECT_EQ(outcome(), failedOutcome);
    EXPECT_THAT(messages(), ElementsAre(startLine, errorLine(0, GetParam().curl)));
}

INSTANTIATE_TEST_SUITE_P(
    DownloadHelper, UnusableUrl,
    testing::Values(BadUrl{"Refused", refusedUrl("/a"), CURLE_COULDNT_CONNECT},
                    BadUrl{"UnknownHost", "http://nowhere.invalid/a", CURLE_COULDNT_RESOLVE_HOST},
                    BadUrl{"UnknownScheme", "nonsense://127.0.0.1/a", CURLE_UNSUPPORTED_PROTOCOL},
                    BadUrl{"NoHost", "http://", CURLE_URL_MALFORMAT},
                    BadUrl{"NoHttpReply", "file:///dev/null", CURLE_OK}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

TEST_F(DownloadHelperTest, AConnectionThatIsNotAcceptedTimesOut) {
    // A listener whose queue is full lets further connections wait.
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_EQ(listen(listener, 0), 0);
    sockaddr address{};
    socklen_t size = sizeof address;
    ASSERT_EQ(getsockname(listener, &address, &size), 0);
    const int queued = socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_EQ(connect(queued, &address, size), 0);
    sockaddr_in internet{};
    std::copy_n(reinterpret_cast<const char *>(&address), sizeof internet,
                reinterpret_cast<char *>(&internet));

    url = "http://127.0.0.1:" + std::to_string(ntohs(internet.sin_port)) + "/a";
    ASSERT_TRUE(worker.Init(url.c_str(), file.c_str(), {10000, 30, 1}));
    worker.startDownload();
    EXPECT_EQ(outcome(), failedOutcome);
    EXPECT_THAT(messages(), ElementsAre(startLine, "Download Error: CURLE_OPERATION_TIMEDOUT URL: <url>\n"));
    close(queued);
    close(listener);
}

TEST_F(DownloadHelperTest, AFullDiskFailsTheTransfer) {
    file = "/dev/full";
    server.serve("/file.xml", content);
    load("/file.xml");
    EXPECT_EQ(outcome(), failedOutcome);
    EXPECT_THAT(messages(), ElementsAre(startLine, errorLine(200, CURLE_WRITE_ERROR)));
}

TEST_F(DownloadHelperTest, AFileThatMayNotGrowFailsTheTransfer) {
    server.serve("/file.xml", content);
    {
        const FullDisk limit(content.size() - 1);
        load("/file.xml");
    }
    EXPECT_EQ(outcome(), failedOutcome);
    EXPECT_EQ(loaded(), content.substr(0, content.size() - 1));
}

TEST_F(DownloadHelperTest, WhatArrivedIsInTheFile) {
    const Gate gate;
    server.serve("/file.xml", content, {answer::hold(1000, gate)});
    ASSERT_TRUE(init("/file.xml"));
    background.run([this] { worker.startDownload(); });
    EXPECT_TRUE(comesTrue([this] { return loaded().size() == 1000; }));
    gate.open();
    background.join();
    EXPECT_TRUE(hasLoaded(content));
}

struct LackOfRoom {
    const char *name;
    const char *path;
    std::size_t diskBytes;
    Answer answer;
};

constexpr std::size_t pageBytes = 4096;
constexpr std::size_t room = 100000 / pageBytes * pageBytes; // the file's last bytes lack it

class DiskThatIsFull : public WorkerFixture, public testing::WithParamInterface<LackOfRoom> {};

TEST_P(DiskThatIsFull, FailsTheTransferAndARetryWithRoomSucceeds) {
    const LackOfRoom &full = GetParam();
    const SmallDisk disk(folder, full.diskBytes);
    server.serve(full.path, content, {full.answer});
    ASSERT_TRUE(init(full.path));
    worker.setHashValue(sha1Of(content));
    worker.startDownload();
    EXPECT_EQ(outcome(), failedOutcome);
    EXPECT_THAT(messages(), ElementsAre(startLine, errorLine(200, CURLE_WRITE_ERROR)));
    EXPECT_EQ(server.requestCount(), 1U);

    disk.grow(2 * content.size());
    worker.resumeDownload(true);
    EXPECT_TRUE(hasLoaded(content));
    EXPECT_EQ(outcome(), std::string(full.path) == "/file.pkg" ? doneOutcome : untouched);
}

INSTANTIATE_TEST_SUITE_P(
    DownloadHelper, DiskThatIsFull,
    testing::Values(LackOfRoom{"AtTheLastBytesOfAPackage", "/file.pkg", room, answer::whole()},
                    LackOfRoom{"AtTheLastBytesOfACatalog", "/file.xml", room, answer::whole()},
                    LackOfRoom{"AtTheLastBytesWithoutALength", "/file.pkg", room, answer::chunked()},
                    LackOfRoom{"InTheMiddleOfAPackage", "/file.pkg", 10 * pageBytes, answer::whole()},
                    LackOfRoom{"InTheMiddleOfACatalog", "/file.xml", 10 * pageBytes, answer::whole()},
                    LackOfRoom{"InTheMiddleWithoutALength", "/file.pkg", 10 * pageBytes, answer::chunked()},
                    LackOfRoom{"WhereTheTransferBreaksOff", "/file.pkg", 10 * pageBytes,
                               answer::cut(10 * pageBytes + 100)},
                    LackOfRoom{"WhereTheTransferStalls", "/file.xml", 10 * pageBytes,
                               answer::stall(10 * pageBytes + 100)}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

TEST_F(DownloadHelperTest, AResumeFindsTheDiskFullAndTheNextOneRoom) {
    const SmallDisk disk(folder, room);
    server.serve("/file.pkg", content, {answer::cut(50000)});
    ASSERT_TRUE(init("/file.pkg"));
    worker.setHashValue(sha1Of(content));
    worker.startDownload();
    EXPECT_EQ(outcome(), failedOutcome);
    EXPECT_THAT(messages(), ElementsAre(startLine, partialLine, resumeLine, startLine,
                                        errorLine(206, CURLE_WRITE_ERROR)));
    disk.grow(2 * content.size());
    worker.resumeDownload(true);
    EXPECT_TRUE(hasLoaded(content));
    EXPECT_EQ(outcome(), doneOutcome);
}

TEST_F(DownloadHelperTest, TheProgramsOfOtherThreadsDoNotInheritTheFile) {
    const Gate gate;
    server.serve("/file.xml", content, {answer::hold(1000, gate), answer::hold(1000, gate)});
    ASSERT_TRUE(init("/file.xml", {10000, 1, 45}));
    const auto isInherited = [this] {
        ShellPipe pipe("readlink /proc/$$/fd/*");
        for (std::optional<std::string> line = pipe.readLine(); line; line = pipe.readLine()) {
            if (*line == file + "\n")
                return true;
        }
        return false;
    };
    EXPECT_FALSE(isInherited());
    worker.startDownload();
    background.run([this] { worker.resumeDownload(true); });
    EXPECT_TRUE(comesTrue([this] { return worker.getProgressInfo().downloadedSize == kilobytes(2000); }));
    EXPECT_FALSE(isInherited()) << "appended to";
    gate.open();
    background.join();
}

TEST_F(DownloadHelperTest, AFileIsMadeWithTheModeThatTheProcessAllows) {
    const mode_t previous = umask(027);
    ASSERT_TRUE(init("/a"));
    umask(previous);
    EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms(0640));
}

TEST_F(DownloadHelperTest, AnExceptionInATransferIsAFailure) {
    const Fault fault(responseCodeThrows);
    load("/file.xml");
    EXPECT_EQ(outcome(), failedOutcome);
    EXPECT_THAT(messages(), ElementsAre(startLine, "Caught an exception in startDownload\n"));
}

struct Kind {
    const char *name;
    const char *path;
    bool isPackage;
};

class PackageName : public WorkerFixture, public testing::WithParamInterface<Kind> {};

TEST_P(PackageName, DecidesWhetherTheFileIsValidated) {
    server.serve(GetParam().path, content);
    ASSERT_TRUE(init(GetParam().path));
    worker.setHashValue(sha1Of(content));
    worker.startDownload();
    EXPECT_EQ(outcome(), GetParam().isPackage ? doneOutcome : untouched);
    const Messages validation{"INFO: Checking HashSUM : <file>\n",
                              "INFO:Success Checking HashSUM : <file>\n"};
    Messages expected{startLine, successLine};
    if (GetParam().isPackage)
        expected.insert(expected.begin() + 1, validation.begin(), validation.end());
    EXPECT_EQ(messages(), expected);
    EXPECT_TRUE(hasLoaded(content));
}

INSTANTIATE_TEST_SUITE_P(DownloadHelper, PackageName,
                         testing::Values(Kind{"Package", "/dir/a.pkg", true},
                                         Kind{"PkgInsideTheName", "/a.pkg.zip", true},
                                         Kind{"PkgInTheQuery", "/get?name=a.pkg", true},
                                         Kind{"PkgInAFolderOnly", "/a.pkg/catalog.xml", false},
                                         Kind{"UpperCase", "/a.PKG", false}, Kind{"NoStop", "/apkg", false},
                                         Kind{"NoName", "/a.pkg/", false}),
                         [](const auto &caseInfo) { return caseInfo.param.name; });

TEST_F(DownloadHelperTest, AUrlWithoutASlashIsItsOwnFileName) {
    writeText("/etc/hosts", readText("/etc/hosts") + "\n127.0.0.1 host.pkg\n");
    server.serve("/", content);
    url = "host.pkg" + server.host().substr(server.host().find(':'));
    ASSERT_TRUE(worker.Init(url.c_str(), file.c_str(), {}));
    worker.setHashValue(sha1Of(content));
    worker.startDownload();
    EXPECT_EQ(outcome(), doneOutcome);
    EXPECT_TRUE(hasLoaded(content));
}

// --- partial files and resumes -----------------------------------------------------------------------------

class PartialFile : public WorkerFixture, public testing::WithParamInterface<std::size_t> {};

TEST_P(PartialFile, IsResumedAtMostThreeTimes) {
    const std::size_t cuts = GetParam();
    const std::size_t fetches = std::min<std::size_t>(cuts + 1, 4);
    server.serve("/file.pkg", content, std::vector<Answer>(cuts, answer::cut(10000)));
    ASSERT_TRUE(init("/file.pkg"));
    worker.setHashValue(sha1Of(content));
    worker.startDownload();

    std::vector<std::string> ranges{""};
    Messages expected{startLine};
    for (std::size_t fetch = 1; fetch < fetches; ++fetch) {
        ranges.push_back("bytes=" + std::to_string(fetch * 10000) + "-");
        expected.insert(expected.end(), {partialLine, resumeLine, startLine});
    }
    if (cuts < 4)
        expected.insert(expected.end(), {"INFO: Checking HashSUM : <file>\n",
                                         "INFO:Success Checking HashSUM : <file>\n", successLine});
    else
        expected.push_back(partialLine);
    EXPECT_EQ(server.ranges("/file.pkg"), ranges);
    EXPECT_EQ(messages(), expected);
    EXPECT_EQ(outcome(), cuts < 4 ? doneOutcome : untouched);
    EXPECT_TRUE(hasLoaded(cuts < 4 ? content : content.substr(0, 40000)));
}

INSTANTIATE_TEST_SUITE_P(DownloadHelper, PartialFile, testing::Range<std::size_t>(1, 6),
                         [](const auto &caseInfo) { return "Cut" + std::to_string(caseInfo.param); });

TEST_F(DownloadHelperTest, ResumesAfterPartialFilesAreCountedForLife) {
    server.serve("/file.xml", content, std::vector<Answer>(5, answer::cut(10000)));
    load("/file.xml");
    worker.resumeDownload(true);
    EXPECT_EQ(server.ranges("/file.xml").size(), 5U) << "the fifth cut is not resumed";
    EXPECT_EQ(outcome(), untouched);
    worker.resumeDownload(true);
    EXPECT_EQ(server.ranges("/file.xml").back(), "bytes=50000-");
    EXPECT_TRUE(hasLoaded(content));
}

struct Resume {
    const char *name;
    std::vector<Answer> answers;
    bool resume;
    std::vector<std::string> ranges;
    std::string outcome;
    std::string loaded;
};

class ResumedDownload : public WorkerFixture, public testing::WithParamInterface<Resume> {};

TEST_P(ResumedDownload, NeitherLosesNorRepeatsBytes) {
    server.serve("/file.xml", content, GetParam().answers);
    load("/file.xml", {10000, 1, 45});
    worker.resumeDownload(GetParam().resume);
    EXPECT_EQ(server.ranges("/file.xml"), GetParam().ranges);
    EXPECT_EQ(outcome(), GetParam().outcome);
    EXPECT_TRUE(hasLoaded(GetParam().loaded));
    const Messages traced = messages();
    EXPECT_EQ(std::count(traced.begin(), traced.end(), resumeLine),
              static_cast<std::ptrdiff_t>(GetParam().ranges.size()) - 1);
}

const std::string errorPage = "not here today\n";

INSTANTIATE_TEST_SUITE_P(
    DownloadHelper, ResumedDownload,
    testing::Values(
        Resume{"StallThenResume", {answer::stall(1000)}, true, {"", "bytes=1000-"}, untouched, content},
        Resume{"StallThenAfresh", {answer::stall(1000)}, false, {"", ""}, untouched, content},
        Resume{"NoReplyThenResume", {answer::nothing()}, true, {"", ""}, untouched, content},
        Resume{"WholeThenAfresh", {}, false, {"", ""}, untouched, content},
        // Nothing is left to ask for, which the server says in its own way.
        Resume{"WholeThenResume", {}, true, {"", "bytes=100000-"}, failedOutcome, content},
        // Kept: the page is taken for the file's first bytes.
        Resume{"ErrorPageCountsAsBytes",
               {answer::status("404 Not Found", errorPage)},
               true,
               {"", "bytes=" + std::to_string(errorPage.size()) + "-"},
               untouched,
               errorPage + content.substr(errorPage.size())},
        Resume{"ErrorPageIsDroppedAfresh",
               {answer::status("404 Not Found", errorPage)},
               false,
               {"", ""},
               untouched,
               content},
        Resume{"RangeRefused",
               {answer::stall(1000), answer::refuseRange()},
               true,
               {"", "bytes=1000-"},
               failedOutcome,
               content.substr(0, 1000)},
        // The bytes of a reply without a length are not counted, so they are fetched again.
        Resume{"ChunkedCut",
               {answer::chunkedCut(4000)},
               true,
               {"", "", "bytes=100000-"},
               failedOutcome,
               content},
        Resume{"ChunkedStalled",
               {[](const HttpRequest &request, HttpConnection &connection, const std::string &bytes) {
                   answer::chunkedCut(4000)(request, connection, bytes);
                   connection.waitUntilClientLeaves();
               }},
               true,
               {"", ""},
               untouched,
               content},
        Resume{"LengthThenChunkedCut",
               {answer::cut(3000), answer::chunkedCut(4000), answer::stall(500)},
               true,
               {"", "bytes=3000-", "bytes=3000-", "bytes=3500-"},
               untouched,
               content}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

TEST_F(DownloadHelperTest, ARefusedRangeIsReportedWithLibcurlsCode) {
    server.serve("/file.xml", content, {answer::cut(1000), answer::refuseRange()});
    load("/file.xml");
    EXPECT_THAT(messages(), ElementsAre(startLine, partialLine, resumeLine, startLine,
                                        errorLine(200, CURLE_RANGE_ERROR)));
    EXPECT_EQ(outcome(), failedOutcome);
}

TEST_F(DownloadHelperTest, AResetTransferIsResumedFromWhatArrived) {
    server.serve("/file.xml", content, {answer::reset(5000)});
    load("/file.xml");
    const std::size_t arrived = loaded().size();
    EXPECT_TRUE(hasLoaded(content.substr(0, arrived)));
    worker.resumeDownload(true);
    const std::string range = arrived == 0 ? "" : "bytes=" + std::to_string(arrived) + "-";
    EXPECT_THAT(server.ranges("/file.xml"), ElementsAre("", range));
    EXPECT_TRUE(hasLoaded(content));
}

TEST_F(DownloadHelperTest, AFileThatIsGoneIsFetchedAfresh) {
    server.serve("/file.xml", content, {answer::stall(1000)});
    load("/file.xml", {10000, 1, 45});
    std::filesystem::remove(file);
    worker.resumeDownload(true);
    EXPECT_THAT(server.ranges("/file.xml"), ElementsAre("", ""));
    EXPECT_TRUE(hasLoaded(content));
}

TEST_F(DownloadHelperTest, AFileThatLostBytesIsFetchedAfresh) {
    server.serve("/file.xml", content, {answer::stall(1000)});
    load("/file.xml", {10000, 1, 45});
    std::filesystem::resize_file(file, 999);
    worker.resumeDownload(true);
    EXPECT_THAT(server.ranges("/file.xml"), ElementsAre("", ""));
    EXPECT_TRUE(hasLoaded(content));
}

TEST_F(DownloadHelperTest, AnOffsetOf2GiBStartsAfresh) {
    server.serve("/file.xml", content);
    ASSERT_TRUE(init("/file.xml"));
    EXPECT_EQ(DownloadHelper::progressCallback(&worker, 4294967296.0, 2147483648.0, 0, 0), 0);
    worker.resumeDownload(true);
    EXPECT_THAT(server.ranges("/file.xml"), ElementsAre(""));
    EXPECT_TRUE(hasLoaded(content));
}

TEST_F(DownloadHelperTest, AnOffsetBelow2GiBIsAskedFor) {
    server.serve("/file.xml", content);
    ASSERT_TRUE(init("/file.xml"));
    EXPECT_EQ(DownloadHelper::progressCallback(&worker, 4294967296.0, 2147483647.0, 0, 0), 0);
    std::filesystem::resize_file(file, 2147483647); // sparse
    worker.resumeDownload(true);
    EXPECT_THAT(server.ranges("/file.xml"), ElementsAre("bytes=2147483647-"));
    EXPECT_EQ(outcome(), failedOutcome) << "the server's file is shorter";
}

TEST_F(DownloadHelperTest, AResumeClearsTheFailure) {
    const Gate gate;
    server.serve("/file.xml", content, {answer::status("500 Internal Server Error"), answer::hold(10, gate)});
    load("/file.xml");
    EXPECT_EQ(outcome(), failedOutcome);
    background.run([this] { worker.resumeDownload(true); });
    EXPECT_TRUE(comesTrue([this] { return server.requestCount() == 2; }));
    EXPECT_EQ(outcome(), untouched);
    gate.open();
    background.join();
    EXPECT_TRUE(hasLoaded(content));
}

TEST_F(DownloadHelperTest, AResumeThatCannotOpenTheFileFails) {
    server.serve("/file.xml", content);
    load("/file.xml");
    std::filesystem::remove_all(folder);
    worker.resumeDownload(true);
    EXPECT_EQ(outcome(), failedOutcome);
    EXPECT_THAT(messages(), ElementsAre(startLine, successLine, resumeLine,
                                        "Error occurred in creating output file : <file> \n",
                                        "Not able to initialize curl: <url>\n"));
}

// --- the outcome of a worker that is used again ------------------------------------------------------------

// What a worker that is done with its package does next, and how it comes out.
struct Again {
    const char *name;
    std::vector<Answer> answers; // to the requests after the first one
    std::function<void(DownloadHelper &, const std::string &url, const std::string &file)> act;
    std::string outcome;
};

class DoneWorker : public WorkerFixture, public testing::WithParamInterface<Again> {
protected:
    DoneWorker() {
        std::vector<Answer> answers = GetParam().answers;
        answers.insert(answers.begin(), answer::whole());
        server.serve("/file.pkg", content, answers);
        worker.setHashValue(sha1Of(content));
        load("/file.pkg");
        EXPECT_EQ(outcome(), doneOutcome);
    }
    void act() { GetParam().act(worker, url, file); }
};

TEST_P(DoneWorker, HasOneOutcomeAtATime) {
    std::vector<std::string> contradictions;
    {
        // Completed is read first, as the engine's callers do before they ask for the packages.
        const LockWatch watch([&] {
            const DownloadProgressInfo info = worker.getProgressInfo();
            if (info.completed && (info.failed || !worker.getDownloadStatus()))
                contradictions.push_back(outcome());
        });
        act();
    }
    EXPECT_THAT(contradictions, IsEmpty());
    EXPECT_EQ(outcome(), GetParam().outcome);
}

const auto startAgain = [](DownloadHelper &worker, const std::string & /*url*/,
                           const std::string & /*file*/) { worker.startDownload(); };
const auto initAgain = [](DownloadHelper &worker, const std::string &url, const std::string &file) {
    EXPECT_TRUE(worker.Init(url.c_str(), file.c_str(), {}));
};
const auto initAndStartAgain = [](DownloadHelper &worker, const std::string &url, const std::string &file) {
    initAgain(worker, url, file);
    worker.startDownload();
};
const auto fetchAgain = [](DownloadHelper &worker, const std::string & /*url*/,
                           const std::string & /*file*/) { worker.resumeDownload(false); };
const auto resumeAgain = [](DownloadHelper &worker, const std::string & /*url*/,
                            const std::string & /*file*/) { worker.resumeDownload(true); };
const auto giveUp = [](DownloadHelper &worker, const std::string & /*url*/, const std::string & /*file*/) {
    worker.setHashValue("");
    EXPECT_EQ(worker.validatePackage(), -1);
    EXPECT_EQ(worker.validatePackage(), -1);
};
const auto failAndFetchAgain = [](DownloadHelper &worker, const std::string &url, const std::string &file) {
    worker.resumeDownload(false);
    initAndStartAgain(worker, url, file);
};

INSTANTIATE_TEST_SUITE_P(
    DownloadHelper, DoneWorker,
    testing::Values(
        Again{"WithoutAFile", {}, startAgain, failedOutcome}, Again{"Prepared", {}, initAgain, untouched},
        Again{"FetchedOnceMore", {}, fetchAgain, doneOutcome},
        Again{"Failed", {answer::status("404 Not Found")}, fetchAgain, failedOutcome},
        Again{"NothingLeftToAskFor", {}, resumeAgain, failedOutcome},
        Again{"FailedThenFetched", {answer::status("404 Not Found")}, failAndFetchAgain, doneOutcome},
        Again{"GivenUp", {answer::wrongBytes()}, fetchAgain, givenUpOutcome},
        Again{"GivenUpWithoutATransfer", {}, giveUp, givenUpOutcome}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

TEST_F(DownloadHelperTest, APackageThatIsFetchedAgainIsNotDownloadedMeanwhile) {
    const Gate gate;
    server.serve("/file.pkg", content, {answer::whole(), answer::hold(1000, gate)});
    worker.setHashValue(sha1Of(content));
    load("/file.pkg");
    EXPECT_EQ(outcome(), doneOutcome);
    background.run([this] { worker.resumeDownload(false); });
    EXPECT_TRUE(comesTrue([this] { return loaded().size() == 1000; }));
    EXPECT_EQ(outcome(), untouched);
    gate.open();
    background.join();
    EXPECT_EQ(outcome(), doneOutcome);
}

// --- levels ----------------------------------------------------------------------------------------------

struct Level {
    const char *name;
    std::int32_t level;
    Messages messages;
};

class TraceLevel : public WorkerFixture, public testing::WithParamInterface<Level> {};

TEST_P(TraceLevel, LetsThroughWhatIsAtOrBelowIt) {
    server.serve("/file.xml", content, {answer::cut(1000)});
    ASSERT_TRUE(init("/file.xml"));
    downloadManagerTraceFlagvalue = GetParam().level;
    worker.startDownload();
    server.serve("/file.xml", content, {answer::status("500 Internal Server Error")});
    worker.resumeDownload(false);
    downloadManagerTraceFlagvalue = 5;
    EXPECT_EQ(messages(), GetParam().messages);
}

INSTANTIATE_TEST_SUITE_P(
    DownloadHelper, TraceLevel,
    testing::Values(Level{"Five",
                          5,
                          {startLine, partialLine, resumeLine, startLine, successLine, resumeLine, startLine,
                           errorLine(500, 0)}},
                    Level{"Four", 4, {partialLine, resumeLine, resumeLine, errorLine(500, 0)}},
                    Level{"Three", 3, {resumeLine, resumeLine, errorLine(500, 0)}},
                    Level{"Two", 2, {resumeLine, resumeLine, errorLine(500, 0)}}, Level{"One", 1, {}}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

TEST_F(DownloadHelperTest, AnExceptionInAResumeIsAFailure) {
    server.serve("/file.xml", content);
    ASSERT_TRUE(init("/file.xml"));
    {
        const RefusedLock refused(0);
        worker.resumeDownload(true);
        EXPECT_TRUE(refused.happened());
    }
    EXPECT_EQ(outcome(), failedOutcome);
    EXPECT_EQ(server.requestCount(), 0U);
    EXPECT_THAT(messages(), ElementsAre(resumeLine, "Caught an exception in resumeDownload\n"));
}

// --- cancel ----------------------------------------------------------------------------------------------

const std::string abortedLine = "Download Error: CURLE_ABORTED_BY_CALLBACK URL: <url>\n";

TEST_F(DownloadHelperTest, CancelEndsARunningTransfer) {
    server.serve("/file.xml", content, {answer::hold(1000, Gate())});
    ASSERT_TRUE(init("/file.xml"));
    background.run([this] { worker.startDownload(); });
    EXPECT_TRUE(comesTrue([this] { return worker.getProgressInfo().downloadedSize == kilobytes(1000); }));
    worker.cancel();
    background.join();
    EXPECT_EQ(outcome(), failedOutcome);
    EXPECT_THAT(messages(), ElementsAre(startLine, abortedLine));
}

TEST_F(DownloadHelperTest, CancelEndsATransferThatStandsStillWithinTwoSeconds) {
    using std::chrono::steady_clock;
    server.serve("/file.xml", content,
                 {answer::hold(1000, Gate()), answer::hold(1000, Gate()), answer::hold(1000, Gate())});
    // libcurl asks once a second. A machine that is busy may be late once, and a transfer that is not ended
    // stands for half a minute each time.
    steady_clock::duration quickest = steady_clock::duration::max();
    for (int attempt = 0; attempt < 3 && quickest > std::chrono::milliseconds(2500); ++attempt) {
        DownloadHelper stalled;
        ASSERT_TRUE(stalled.Init(server.url("/file.xml").c_str(), file.c_str(), {}));
        background.run([&stalled] { stalled.startDownload(); });
        EXPECT_TRUE(
            comesTrue([&stalled] { return stalled.getProgressInfo().downloadedSize == kilobytes(1000); }));
        const auto cancelled = steady_clock::now();
        stalled.cancel();
        background.join();
        quickest = std::min(quickest, steady_clock::now() - cancelled);
    }
    EXPECT_LE(quickest, std::chrono::milliseconds(2500));
}

TEST_F(DownloadHelperTest, CancelEndsANestedResume) {
    server.serve("/file.xml", content, {answer::cut(1000), answer::hold(1000, Gate())});
    ASSERT_TRUE(init("/file.xml"));
    background.run([this] { worker.startDownload(); });
    EXPECT_TRUE(comesTrue([this] { return worker.getProgressInfo().downloadedSize == kilobytes(2000); }));
    worker.cancel();
    background.join();
    EXPECT_EQ(outcome(), failedOutcome);
    EXPECT_THAT(messages(), ElementsAre(startLine, partialLine, resumeLine, startLine, abortedLine));
}

TEST_F(DownloadHelperTest, ACancelledWorkerAsksForNothing) {
    server.serve("/file.xml", content);
    ASSERT_TRUE(init("/file.xml"));
    worker.cancel();
    worker.startDownload();
    worker.resumeDownload(true);
    EXPECT_EQ(outcome(), failedOutcome);
    EXPECT_THAT(server.requests(), IsEmpty());
    EXPECT_THAT(messages(), ElementsAre(startLine, abortedLine, resumeLine, startLine, abortedLine));
}

struct AfterCancel {
    const char *name;
    std::function<void(DownloadHelper &, const std::string &url, const std::string &file)> act;
    std::string outcome;
    Messages messages;
};

class CancelledWorker : public WorkerFixture, public testing::WithParamInterface<AfterCancel> {
protected:
    // A worker that knows of 1000 bytes, and is cancelled.
    void SetUp() override {
        server.serve("/file.pkg", content, {answer::stall(1000)});
        worker.setHashValue(sha1Of(content));
        load("/file.pkg", {10000, 1, 45});
        m_messagesBefore = messages().size();
        worker.cancel();
    }
    void act() {
        GetParam().act(worker, url, file);
        EXPECT_EQ(server.requestCount(), 1U);
        EXPECT_EQ(outcome(), GetParam().outcome);
        Messages traced = messages();
        traced.erase(traced.begin(), traced.begin() + static_cast<std::ptrdiff_t>(m_messagesBefore));
        EXPECT_EQ(traced, GetParam().messages);
    }

private:
    std::size_t m_messagesBefore = 0;
};

TEST_P(CancelledWorker, LeavesTheFileOfOthersAlone) {
    writeText(file, content);
    act();
    EXPECT_TRUE(hasLoaded(content));
}

TEST_P(CancelledWorker, MakesNoFile) {
    std::filesystem::remove(file);
    act();
    EXPECT_FALSE(std::filesystem::exists(file));
}

INSTANTIATE_TEST_SUITE_P(
    DownloadHelper, CancelledWorker,
    testing::Values(
        AfterCancel{"Prepared", initAgain, failedOutcome, {}},
        AfterCancel{"PreparedAndStarted", initAndStartAgain, failedOutcome, {startLine, abortedLine}},
        AfterCancel{"Resumed", resumeAgain, failedOutcome, {resumeLine, startLine, abortedLine}},
        AfterCancel{"FetchedAgain", fetchAgain, failedOutcome, {resumeLine, startLine, abortedLine}},
        AfterCancel{"Validated",
                    [](DownloadHelper &worker, const std::string &, const std::string &) {
                        EXPECT_EQ(worker.validatePackage(), -1);
                    },
                    failedOutcome,
                    {abortedLine}}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

TEST_F(DownloadHelperTest, ACancelDuringAHashCheckFetchesNothingAgain) {
    // The tool answers when the test lets it.
    ASSERT_EQ(mkfifo("/tmp/tool-may-answer", 0600), 0);
    const std::string tool = "/usr/local/Brovik/qrn/bin/sha1sum";
    std::filesystem::remove(tool);
    writeText(tool, "#!/bin/sh\necho asked >/tmp/tool-asked\nread line </tmp/tool-may-answer\necho wrong\n");
    std::filesystem::permissions(tool, std::filesystem::perms::owner_all);
    server.serve("/file.pkg", content);
    ASSERT_TRUE(init("/file.pkg"));
    worker.setHashValue(sha1Of(content));
    background.run([this] { worker.startDownload(); });
    EXPECT_TRUE(comesTrue([] { return readText("/tmp/tool-asked") == "asked\n"; }));
    worker.cancel();
    writeText("/tmp/tool-may-answer", "now\n");
    background.join();
    EXPECT_EQ(outcome(), failedOutcome);
    EXPECT_TRUE(hasLoaded(content));
    EXPECT_EQ(server.requestCount(), 1U);
    EXPECT_THAT(messages(),
                ElementsAre(startLine, "INFO: Checking HashSUM : <file>\n", "Error: Hash mismatch : <file>\n",
                            resumeLine, startLine, abortedLine, "ERROR : Download Failed: <url>\n"));
}

// --- reachability and status -------------------------------------------------------------------------------

struct Reach {
    const char *name;
    Answer answer;
    bool reachable;
};

TEST_F(DownloadHelperTest, ReachabilityIsAskedForWithoutTheBody) {
    server.serve("/file.pkg", content);
    EXPECT_TRUE(DownloadHelper::isUrlReachable(server.url("/file.pkg").c_str()));
    ASSERT_EQ(server.requestCount(), 1U);
    EXPECT_EQ(server.requests()[0].head,
              "HEAD /file.pkg HTTP/1.1\r\nHost: " + server.host() + "\r\nAccept: */*\r\n\r\n");
}

TEST_F(DownloadHelperTest, AnErrorPageCountsAsReachable) {
    EXPECT_TRUE(DownloadHelper::isUrlReachable(server.url("/no-such-file").c_str()));
}

struct Unreachable {
    const char *name;
    std::string url;
};

class UnreachableUrl : public testing::TestWithParam<Unreachable> {};

TEST_P(UnreachableUrl, IsToldApart) {
    EXPECT_FALSE(DownloadHelper::isUrlReachable(GetParam().url.c_str()));
}

INSTANTIATE_TEST_SUITE_P(DownloadHelper, UnreachableUrl,
                         testing::Values(Unreachable{"Refused", refusedUrl("/a")},
                                         Unreachable{"UnknownHost", "http://nowhere.invalid/a"},
                                         Unreachable{"Empty", ""}),
                         [](const auto &caseInfo) { return caseInfo.param.name; });

TEST_F(DownloadHelperTest, WithoutAHandleNothingIsReachable) {
    server.serve("/file.pkg", content);
    const Fault fault(noHandles);
    EXPECT_FALSE(DownloadHelper::isUrlReachable(server.url("/file.pkg").c_str()));
    EXPECT_THAT(server.requests(), IsEmpty());
}

TEST_F(DownloadHelperTest, TheStatusIsWhatWasSet) {
    EXPECT_FALSE(worker.getDownloadStatus());
    worker.setDownloadStatus(true);
    EXPECT_TRUE(worker.getDownloadStatus());
    worker.setDownloadStatus(false);
    EXPECT_FALSE(worker.getDownloadStatus());
}

} // namespace
