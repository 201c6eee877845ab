#include "StandardStreams.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

#include "FailingFileCall.h"
#include "LibXmlWrapper.h"
#include "TextFile.h"

namespace {

using testing::ExitedWithCode;

// Makes a descriptor one that nobody reads.
void leaveUnread(int descriptor) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    close(ends[0]);
    ASSERT_EQ(dup2(ends[1], descriptor), descriptor);
    close(ends[1]);
}

// Whoever starts a host may have SIGPIPE ignored, which would hide what is tested here.
void endByPipeSignal() {
    ASSERT_NE(std::signal(SIGPIPE, SIG_DFL), SIG_ERR);
}

TEST(StandardStreams, PrintWhatIsGiven) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    printOutput("%s and %d%%\n", "text", 5);
    printError("%s", std::string(100'000, 'x').c_str());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), std::string(100'000, 'x'));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "text and 5%\n");
}

TEST(StandardStreams, KeepTheOrderOfWhatTheHostPrints) {
    static std::array<char, 1000> buffer{}; // the stream's until the process ends
    testing::internal::CaptureStdout();
    ASSERT_EQ(std::setvbuf(stdout, buffer.data(), _IOFBF, buffer.size()), 0);
    std::printf("before, ");
    printOutput("between, ");
    std::printf("after");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "before, between, after");
}

TEST(StandardStreams, PrintAllWhenASignalInterrupts) {
    testing::internal::CaptureStderr();
    {
        const FailingFileCall interrupted(0, EINTR);
        printError("%s", "the whole line\n");
        EXPECT_TRUE(interrupted.happened());
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "the whole line\n");
}

TEST(StandardStreams, RaiseNoSignalWithoutAReaderAndLeaveNothingForTheEnd) {
    const auto printUnread = [] {
        endByPipeSignal();
        leaveUnread(STDOUT_FILENO);
        std::array<char, 1000> buffer{};
        ASSERT_EQ(std::setvbuf(stdout, buffer.data(), _IOFBF, buffer.size()), 0);
        for (int i = 0; i < 1000; ++i)
            printOutput("a line that fills the buffer\n");
        leaveUnread(STDERR_FILENO);
        printError("an error\n");
        std::exit(0); // what is still buffered would be written now
    };
    EXPECT_EXIT(printUnread(), ExitedWithCode(0), "");
}

TEST(StandardStreams, AreWrittenThoughTheHostsStreamHasNoDescriptor) {
    char *text = nullptr;
    std::size_t size = 0;
    std::FILE *hosts = stdout;
    stdout = open_memstream(&text, &size);
    printOutput("into memory\n");
    std::fclose(stdout);
    stdout = hosts;
    EXPECT_EQ(std::string(text, size), "into memory\n");
    std::free(text);
}

TEST(StandardStreams, AreSilentWhenTheyAreClosed) {
    const auto printClosed = [] {
        close(STDOUT_FILENO);
        printOutput("nobody sees this\n");
        std::exit(0);
    };
    EXPECT_EXIT(printClosed(), ExitedWithCode(0), "");
}

// What a check prints for a release without a partner, and for a file that is missing.
TEST(StandardStreams, CarryADocumentsDiagnosticsWithoutASignal) {
    const auto queryUnread = [] {
        endByPipeSignal();
        leaveUnread(STDOUT_FILENO);
        leaveUnread(STDERR_FILENO);
        const LibXmlWrapper document("<r><a/></r>", 11);
        const bool done =
            document.getAllElements("/r/none").empty() && document.getAllElements("/r/a").size() == 1;
        const LibXmlWrapper missing("/tmp/missing.xml");
        std::exit(done ? 0 : 1);
    };
    EXPECT_EXIT(queryUnread(), ExitedWithCode(0), "");
}

} // namespace
