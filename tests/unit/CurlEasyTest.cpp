#include "CurlEasy.h"

#include <csignal>

#include <curl/curl.h>
#include <gtest/gtest.h>
#include <pthread.h>

// Stands in for a transfer whose TLS library writes to a connection that the other side has closed.
extern "C" CURLcode __wrap_curl_easy_perform(CURL *) {
    EXPECT_EQ(std::raise(SIGPIPE), 0);
    return CURLE_OUT_OF_MEMORY;
}

namespace {

sigset_t pipeSignal() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGPIPE);
    return set;
}

bool isPending() {
    sigset_t pending;
    sigemptyset(&pending);
    EXPECT_EQ(sigpending(&pending), 0);
    return sigismember(&pending, SIGPIPE) == 1;
}

bool isBlocked() {
    sigset_t blocked;
    EXPECT_EQ(pthread_sigmask(SIG_BLOCK, nullptr, &blocked), 0);
    return sigismember(&blocked, SIGPIPE) == 1;
}

void expectFailure() {
    EXPECT_EQ(performTransfer(makeCurlEasy()), CURLE_OUT_OF_MEMORY);
}

TEST(PerformTransfer, SurvivesAConnectionClosedByTheOtherSide) {
    expectFailure();
    EXPECT_FALSE(isPending());
    EXPECT_FALSE(isBlocked());
}

TEST(PerformTransfer, LeavesTheHostsOwnPendingSignal) {
    const sigset_t set = pipeSignal();
    ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &set, nullptr), 0);
    ASSERT_EQ(std::raise(SIGPIPE), 0);
    expectFailure();
    EXPECT_TRUE(isPending());
    EXPECT_TRUE(isBlocked());
}

} // namespace
