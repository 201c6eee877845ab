// The engine's folder of packages, as it was found and as it is. The engine names the finished packages and
// no others; but every other one whose file could be made has it there.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

class PackageFolder {
public:
    static const std::string path;

    // Notes what earlier runs left.
    PackageFolder();

    // The files made or changed since, sorted.
    std::vector<std::string> changedFiles() const;

    // Whether the disk with the folder has no room left, as far as the system tells.
    static bool isOnFullDisk();

private:
    struct Trait {
        std::filesystem::file_time_type time;
        std::uintmax_t size;
    };
    static std::map<std::string, Trait> look();

    const std::map<std::string, Trait> m_before;
};
