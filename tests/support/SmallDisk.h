// A disk that can be full: a file system of the test's own.
#pragma once

#include <cstddef>
#include <string>

#include <gtest/gtest.h>
#include <sys/mount.h>

// Mounted at a folder that is there, from its construction until its destruction.
class SmallDisk {
public:
    // Of so many bytes (whole pages).
    SmallDisk(std::string folder, std::size_t bytes)
        : SmallDisk(std::move(folder), sizeOf(bytes)) {}
    // With these options of a tmpfs, say "nr_inodes=3"; the flags are mount's.
    SmallDisk(std::string folder, const std::string &options, unsigned long flags = 0)
        : m_folder(std::move(folder)) {
        mountWith(flags, options);
    }
    ~SmallDisk() { EXPECT_EQ(umount(m_folder.c_str()), 0) << "a file on the disk is still open"; }
    SmallDisk(const SmallDisk &) = delete;
    SmallDisk &operator=(const SmallDisk &) = delete;

    void grow(std::size_t bytes) const { change(sizeOf(bytes)); }
    void change(const std::string &options, unsigned long flags = 0) const {
        mountWith(MS_REMOUNT | flags, options);
    }

private:
    static std::string sizeOf(std::size_t bytes) { return "size=" + std::to_string(bytes); }

    void mountWith(unsigned long flags, const std::string &options) const {
        EXPECT_EQ(mount("disk", m_folder.c_str(), "tmpfs", flags, options.c_str()), 0);
    }

    std::string m_folder;
};
