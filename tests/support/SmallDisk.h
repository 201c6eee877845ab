// A disk that can be full: a file system of the test's own, of so many bytes (whole pages).
#pragma once

#include <cstddef>
#include <string>

#include <gtest/gtest.h>
#include <sys/mount.h>

// Mounted at a folder that is there, from its construction until its destruction.
class SmallDisk {
public:
    SmallDisk(std::string folder, std::size_t bytes)
        : m_folder(std::move(folder)) {
        mountWith(0, bytes);
    }
    ~SmallDisk() { EXPECT_EQ(umount(m_folder.c_str()), 0) << "a file on the disk is still open"; }
    SmallDisk(const SmallDisk &) = delete;
    SmallDisk &operator=(const SmallDisk &) = delete;

    void grow(std::size_t bytes) const { mountWith(MS_REMOUNT, bytes); }

private:
    void mountWith(unsigned long flags, std::size_t bytes) const {
        const std::string options = "size=" + std::to_string(bytes);
        EXPECT_EQ(mount("disk", m_folder.c_str(), "tmpfs", flags, options.c_str()), 0);
    }

    std::string m_folder;
};
