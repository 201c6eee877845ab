#include "OutputFolder.h"

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <system_error>
#include <vector>

#include <fcntl.h>

#include "PlainFile.h"
#include "TemporaryFolder.h"
#include "UnusableInput.h"

namespace {

namespace fs = std::filesystem;

std::string contentOf(const fs::path &file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

// The paths of all that is no folder.
std::vector<std::string> entriesBelow(const fs::path &folder) {
    std::vector<std::string> paths;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(folder)) {
        if (!entry.is_directory() || entry.is_symlink())
            paths.push_back(entry.path().lexically_relative(folder).generic_string());
    }
    return paths;
}

bool isPutAlready(const fs::path &folder, const FolderFiles &files, std::size_t entries) {
    if (entries != files.size())
        return false;
    for (const auto &[path, content] : files) {
        if (!hasContent(folder / path, content))
            return false;
    }
    return true;
}

// Folders that replace others have their modes.
void takeModes(const fs::path &folder, const fs::path &before) {
    std::vector<fs::path> folders = {"."};
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(folder)) {
        if (entry.is_directory())
            folders.push_back(entry.path().lexically_relative(folder));
    }
    for (const fs::path &path : folders) {
        if (fs::is_directory(before / path))
            fs::permissions(folder / path, fs::status(before / path).permissions());
    }
}

void writeFiles(const fs::path &folder, const fs::path &before, const FolderFiles &files) {
    fs::create_directory(folder);
    for (const auto &[path, content] : files) {
        std::error_code notLinked;
        if (hasContent(before / path, content)) {
            fs::create_directories((folder / path).parent_path());
            fs::create_hard_link(before / path, folder / path, notLinked);
            if (!notLinked)
                continue;
        }
        writeNewFile(folder / path, content);
    }
    takeModes(folder, before);
}

[[noreturn]] void fail(const fs::path &folder) {
    throw std::system_error(errno, std::generic_category(), folder.string());
}

// What stood there stands under the other name afterwards.
void exchange(const fs::path &made, const fs::path &folder) {
#ifdef RENAME_EXCHANGE
    if (renameat2(AT_FDCWD, made.c_str(), AT_FDCWD, folder.c_str(), RENAME_EXCHANGE) == 0)
        return;
    if (errno != EINVAL && errno != ENOSYS)
        fail(folder);
#endif
    // In two steps where the system or the disk knows no single one.
    fs::path old = made;
    old += ".old";
    if (std::rename(folder.c_str(), old.c_str()) != 0)
        fail(folder);
    if (std::rename(made.c_str(), folder.c_str()) != 0) {
        const int reason = errno;
        static_cast<void>(std::rename(old.c_str(), folder.c_str())); // the reason is told either way
        errno = reason;
        fail(folder);
    }
}

} // namespace

bool hasContent(const fs::path &file, const std::string &content) {
    return isPlainFile(file) && fs::file_size(file) == content.size() && contentOf(file) == content;
}

bool putFolder(const fs::path &folder, const FolderFiles &files,
               const std::function<bool(const std::string &)> &isOurs) {
    const bool isThere = fs::exists(folder);
    if (isThere && !fs::is_directory(folder))
        throw UnusableInput(folder.string() + ": is no folder");
    const fs::path place = isThere ? fs::canonical(folder) : fs::absolute(folder).lexically_normal();
    if (isThere) {
        const std::vector<std::string> entries = entriesBelow(place);
        for (const std::string &entry : entries) {
            if (!isOurs(entry))
                throw UnusableInput((folder / entry).string() +
                                    ": is none of the files that would be made there; "
                                    "expected a folder of their own");
        }
        if (isPutAlready(place, files, entries.size()))
            return false;
    }
    const fs::path target = place.has_filename() ? place : place.parent_path();
    fs::create_directories(target.parent_path());
    const TemporaryFolder temporary(target.parent_path(), "." + target.filename().string() + ".");
    const fs::path made = temporary.path() / "made";
    writeFiles(made, target, files);
    const InterruptHold hold; // what is being removed must not get the folder's name
    if (isThere)
        exchange(made, target);
    else if (std::rename(made.c_str(), target.c_str()) != 0)
        fail(target);
    return true;
}

void fillFolder(const fs::path &folder, const FolderFiles &files) {
    const TemporaryFolder temporary(folder, ".new.");
    const fs::path made = temporary.path() / "made";
    writeFiles(made, folder, files);
    const InterruptHold hold;
    for (const fs::directory_entry &entry : fs::directory_iterator(made))
        fs::rename(entry.path(), folder / entry.path().filename());
}
