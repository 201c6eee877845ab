#include "PackageFolder.h"

#include <system_error>

#include <sys/statvfs.h>

namespace fs = std::filesystem;

const std::string PackageFolder::path = "/usr/local/Brovik/TempDownload/Package";

namespace {

// Less than what a transfer writes at a time: somebody failed to write it.
constexpr std::uintmax_t leastRoom = 1 << 20;

} // namespace

PackageFolder::PackageFolder()
    : m_before(look()) {
}

std::vector<std::string> PackageFolder::changedFiles() const {
    std::vector<std::string> changed;
    for (const auto &[file, trait] : look()) {
        const auto before = m_before.find(file);
        if (before == m_before.end() || before->second.time != trait.time ||
            before->second.size != trait.size)
            changed.push_back(file);
    }
    return changed;
}

bool PackageFolder::isOnFullDisk() {
    fs::path folder = path;
    std::error_code failed; // what can't be looked at is as good as missing
    while (!fs::exists(folder, failed) && folder.has_relative_path())
        folder = folder.parent_path();
    struct statvfs disk {};
    if (statvfs(folder.c_str(), &disk) != 0 || disk.f_blocks == 0) // some tell no sizes
        return false;
    // All that is free: the engine is root, for whom some is kept.
    return static_cast<std::uintmax_t>(disk.f_bfree) * disk.f_frsize < leastRoom;
}

// What can't be read, or goes while it is looked at, is left out.
std::map<std::string, PackageFolder::Trait> PackageFolder::look() {
    std::map<std::string, Trait> files;
    std::error_code failed;
    for (fs::recursive_directory_iterator entry(path, failed), end; !failed && entry != end;
         entry.increment(failed)) {
        std::error_code gone;
        const Trait trait = {entry->last_write_time(gone), entry->file_size(gone)};
        if (!gone && entry->is_regular_file(gone))
            files.emplace(entry->path().string(), trait);
    }
    return files;
}
