#pragma once

#include <cstddef>

#include <sys/resource.h>

#include <gtest/gtest.h>

// While it lives no file can be written beyond this many bytes, and whoever tries gets a signal that ends the
// process unless it is kept away.
class FullDisk {
public:
    explicit FullDisk(std::size_t bytes) {
        EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &m_limit), 0);
        set({bytes, m_limit.rlim_max});
    }
    ~FullDisk() { set(m_limit); }
    FullDisk(const FullDisk &) = delete;
    FullDisk &operator=(const FullDisk &) = delete;

private:
    static void set(const rlimit &limit) { EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0); }

    rlimit m_limit{};
};
