// The order in which packages are installed, against the rules written out one by one.
#include <algorithm>
#include <cctype>
#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "InstallationOrder.h"
#include "Machine.h"
#include "VersionModel.h"

namespace {

using Texts = std::vector<std::string>;

std::string lastComponent(const std::string &path) {
    return path.find('/') == std::string::npos ? path : path.substr(path.find_last_of('/') + 1);
}

std::string versionOf(const std::string &path) {
    const std::string folder =
        path.find('/') == std::string::npos ? path : path.substr(0, path.find_last_of('/'));
    std::string version;
    for (const char character : lastComponent(folder)) {
        version += character;
        if (character == 'H' || character == 'F' || character == '_')
            version.clear();
    }
    return version;
}

// Without regard to case; nothing holds an empty text.
bool holds(const std::string &path, const std::string &name) {
    const auto isSame = [](char one, char other) {
        return std::toupper(static_cast<unsigned char>(one)) ==
               std::toupper(static_cast<unsigned char>(other));
    };
    return !name.empty() &&
           std::search(path.begin(), path.end(), name.begin(), name.end(), isSame) != path.end();
}

// A path that was taken is blank from then on.
Texts namedFirst(Texts group, const Texts &names) {
    Texts result;
    for (const std::string &name : names) {
        for (std::string &path : group) {
            if (!path.empty() && lastComponent(path) == name) {
                result.push_back(path);
                path.clear();
                break;
            }
        }
    }
    for (const std::string &path : group) {
        if (!path.empty())
            result.push_back(path);
    }
    return result;
}

Texts ordered(const Texts &sorted, const Texts &names) {
    std::map<std::string, Texts> groups;
    for (const std::string &path : sorted)
        groups[versionOf(path)].push_back(path);
    Texts reposts;
    Texts plain;
    for (const auto &[version, group] : groups) {
        for (const std::string &path : group.size() < 2 ? group : namedFirst(group, names))
            (path.find("repost") != std::string::npos ? reposts : plain).push_back(path);
    }
    Texts result;
    for (const std::string &name : names) {
        for (std::string &path : reposts) {
            if (holds(path, name)) {
                result.push_back(path);
                path.clear();
                break;
            }
        }
    }
    for (const std::string &path : plain) {
        if (!path.empty())
            result.push_back(path);
    }
    return result;
}

bool isSamePaths(Texts one, Texts other) {
    std::sort(one.begin(), one.end());
    std::sort(other.begin(), other.end());
    return one == other;
}

void checkSort(const Texts &paths, const Texts &sorted) {
    require(isSamePaths(paths, sorted), "sorting neither loses nor makes a path");
    for (std::size_t i = 1; i < sorted.size(); ++i)
        require(!isNewer(versionOf(sorted[i - 1]), versionOf(sorted[i])),
                "no version is above the one behind it");
}

void checkSplit(const Texts &paths, int first, int last) {
    Texts split = paths;
    const std::string pivot = paths[static_cast<std::size_t>(first + (last - first) / 2)];
    const int border = splitAroundVersion(split, pivot, first, last);
    require(isSamePaths(paths, split), "splitting neither loses nor makes a path");
    require(first <= border && (border < last || first == last),
            "no part is empty where there are two paths");
    for (int i = 0; i < static_cast<int>(split.size()); ++i) {
        const std::string &path = split[static_cast<std::size_t>(i)];
        if (i < first || i > last)
            require(path == paths[static_cast<std::size_t>(i)], "what is outside the range stays");
        else if (i <= border)
            require(!isNewer(versionOf(path), versionOf(pivot)), "no lower version is above the pivot's");
        else
            require(!isNewer(versionOf(pivot), versionOf(path)), "no upper version is below the pivot's");
    }
}

// Never an empty one: the list of packages has no empty lines.
std::string path(FuzzedDataProvider &input) {
    static constexpr const char *folders[] = {"HF_1.0.0.6", "HF_1.0.0.7", "HF_10.0.0.0", "HF_9.1.0.0",
                                              "1.0.1",      "repost/1",   "repost/2",    "F_H_"};
    static constexpr const char *names[] = {"AntiVirus.pkg", "Firewall.pkg", "Platform.pkg", "repostAV.pkg",
                                            ""};
    if (input.ConsumeIntegralInRange(0, 3) == 0) {
        const std::string made = input.ConsumeRandomLengthString(40);
        return made.empty() ? "/" : made;
    }
    return std::string("/") + input.PickValueInArray(folders) + "/" + input.PickValueInArray(names);
}

std::string orderName(FuzzedDataProvider &input) {
    static constexpr const char *names[] = {"AntiVirus.pkg", "Firewall.pkg", "firewall",
                                            "REPOST",        ".pkg",         ""};
    return input.ConsumeBool() ? input.PickValueInArray(names) : input.ConsumeRandomLengthString(12);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    Texts names;
    for (int left = input.ConsumeIntegralInRange(0, 6); left > 0; --left)
        names.push_back(orderName(input));
    Texts paths;
    while (input.remaining_bytes() > 0) {
        paths.push_back(path(input));
        require(hotFixVersionOf(paths.back()) == versionOf(paths.back()),
                "a version is what follows the last of three letters in the folder's name");
        require(isBrandingPackage(paths.back()) ==
                    (paths.back().find("DynamicBranding.pkg") != std::string::npos),
                "a branding package is told by its path");
        if (!isScannable(versionOf(paths.back())))
            return 0;
    }
    const int last = static_cast<int>(paths.size()) - 1;
    Texts sorted = paths;
    sortByHotFixVersion(sorted, 0, last);
    checkSort(paths, sorted);
    if (!paths.empty())
        checkSplit(paths, last / 3, last);
    const std::list<std::string> got = installationOrder(sorted, names);
    require(Texts(got.begin(), got.end()) == ordered(sorted, names),
            "the order is the one that the rules give");
    return 0;
}
