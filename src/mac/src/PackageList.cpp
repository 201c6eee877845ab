#include "PackageList.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <optional>

#include <sys/stat.h>
#include <unistd.h>

#include "Paths.h"
#include "RegularFile.h"
#include "ReplaceFile.h"

namespace {

std::vector<std::string> nonEmptyLines(const std::string &text) {
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        if (end != begin)
            lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

bool removeIfThere(const char *path) {
    // A disk that takes no changes says so whether the file is there or not.
    return unlink(path) == 0 || errno == ENOENT || isAbsent(path);
}

// Then it was never a list: whoever wants one takes it for an empty one.
bool isNoFile(const char *path) {
    struct stat found {};
    return lstat(path, &found) == 0 && !S_ISREG(found.st_mode);
}

} // namespace

bool writePackageList(const std::list<std::string> &paths) {
    std::string lines;
    for (const std::string &path : paths)
        lines += path + "\n";
    if (replaceByOwnFile(packageListPath, lines))
        return true;
    // An earlier list may name packages that are not there any more. That it cannot be removed either is told
    // by the result as well.
    static_cast<void>(removeIfThere(packageListPath));
    return false;
}

std::optional<std::vector<std::string>> readPackageList() {
    std::optional<RegularFile> list = RegularFile::open(packageListPath, Links::refuse);
    if (!list && isAbsent(packageListPath))
        return std::nullopt;
    if (!list || !list->isOwn())
        return std::vector<std::string>();
    // No limit: nobody else has made it.
    return nonEmptyLines(list->read(std::numeric_limits<std::size_t>::max()).value_or(""));
}

bool removePackageList() {
    // The marker first: with a marker and no list the suite would start a run that never ends. A marker that
    // cannot be removed is no reason to leave the list, which would install what is being replaced.
    static_cast<void>(removeIfThere(updateMarkerPath));
    return removeIfThere(packageListPath) || isNoFile(packageListPath);
}
