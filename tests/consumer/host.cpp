// A host in C++ that knows the engine by its header only: every function answers before there was any
// download.
#include <downloadManager.h>

#include <cstddef>
#include <iostream>
#include <memory>
#include <string>
#include <type_traits>

namespace {

static_assert(std::is_standard_layout_v<DownloadProgressInfo>);
static_assert(std::is_trivially_copyable_v<DownloadProgressInfo>);
static_assert(offsetof(DownloadProgressInfo, progressPercent) == 0);
static_assert(offsetof(DownloadProgressInfo, downloadSpeed) == 1 * sizeof(double));
static_assert(offsetof(DownloadProgressInfo, remainingTime) == 2 * sizeof(double));
static_assert(offsetof(DownloadProgressInfo, downloadedSize) == 3 * sizeof(double));
static_assert(offsetof(DownloadProgressInfo, totalSize) == 4 * sizeof(double));
static_assert(offsetof(DownloadProgressInfo, failed) == 5 * sizeof(double));
static_assert(offsetof(DownloadProgressInfo, completed) == 5 * sizeof(double) + 1);
static_assert(offsetof(DownloadProgressInfo, resumable) == 5 * sizeof(double) + 2);

std::unique_ptr<DownloadProgressInfo> progress() {
    return std::unique_ptr<DownloadProgressInfo>(
        static_cast<DownloadProgressInfo *>(GetDownloadProgressInfo()));
}

bool isAsBeforeAnyDownload(const DownloadProgressInfo &info) {
    return info.progressPercent == 0 && info.totalSize == 0 && !info.failed && !info.completed &&
           info.resumable;
}

int complain(const std::string &what) {
    std::cerr << what << '\n';
    return 1;
}

} // namespace

int main() {
    int problems = 0;
    const std::string numbers = std::to_string(DOWNLOADMANAGER_VERSION_MAJOR) + "." +
                                std::to_string(DOWNLOADMANAGER_VERSION_MINOR) + "." +
                                std::to_string(DOWNLOADMANAGER_VERSION_PATCH);
    if (numbers != DOWNLOADMANAGER_VERSION || numbers != FOUND_VERSION)
        problems += complain("a header of another version than what was found");
    if (!isAsBeforeAnyDownload(*progress()))
        problems += complain("progress without a download");
    if (*std::unique_ptr<char[]>(GetDownloadedPackages()).get() != '\0')
        problems += complain("packages without a download");
    if (*GetHashValue("https://download.brovik.example/core.pkg") != '\0')
        problems += complain("a hash without a catalog");
    // No update service runs here.
    if (FreshInstall() != -1)
        problems += complain("an installation without a service");
    RetryDownloadPackages();
    if (!progress()->failed || progress()->completed)
        problems += complain("flags of a failure before the downloads");
    return problems;
}
