#pragma once

#include <filesystem>

#include "Interrupts.h"

// A folder of one's own that goes with all it holds in the end, also when the process is interrupted.
class TemporaryFolder {
public:
    // Made in the parent, under a name that begins with the prefix. Throws std::system_error.
    TemporaryFolder(const std::filesystem::path &parent, const std::string &prefix);
    // In the system's folder for such.
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;

    const std::filesystem::path &path() const { return m_path; }

private:
    // Nobody ends the process between the making and the registering.
    TemporaryFolder(const std::filesystem::path &parent, const std::string &prefix,
                    const InterruptHold &hold);

    std::filesystem::path m_path;
    CleanUp m_cleanUp;
};

// Writes a file that is not there yet, with its folders. Throws std::system_error.
void writeNewFile(const std::filesystem::path &file, const std::string &content);
