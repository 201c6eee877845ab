#pragma once

#include <sys/resource.h>

#include <gtest/gtest.h>

// No further file can be opened while it lives, so no pipe either.
class NoMoreFiles {
public:
    NoMoreFiles() {
        EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &m_limit), 0);
        set({0, m_limit.rlim_max});
    }
    ~NoMoreFiles() { set(m_limit); }
    NoMoreFiles(const NoMoreFiles &) = delete;
    NoMoreFiles &operator=(const NoMoreFiles &) = delete;

private:
    static void set(const rlimit &limit) { EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0); }

    rlimit m_limit{};
};
