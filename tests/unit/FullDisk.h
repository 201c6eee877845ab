#pragma once

#include <csignal>
#include <cstddef>

#include <sys/resource.h>

#include <gtest/gtest.h>

// While it lives no file can be written beyond this many bytes.
class FullDisk {
public:
    explicit FullDisk(std::size_t bytes)
        : m_handler(std::signal(SIGXFSZ, SIG_IGN)) {
        EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &m_limit), 0);
        set({bytes, m_limit.rlim_max});
    }
    ~FullDisk() {
        set(m_limit);
        static_cast<void>(std::signal(SIGXFSZ, m_handler));
    }
    FullDisk(const FullDisk &) = delete;
    FullDisk &operator=(const FullDisk &) = delete;

private:
    static void set(const rlimit &limit) { EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0); }

    void (*m_handler)(int);
    rlimit m_limit{};
};
