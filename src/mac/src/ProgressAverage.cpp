#include "ProgressAverage.h"

std::optional<DownloadProgressInfo> averageProgress(const std::vector<DownloadProgressInfo> &snapshots,
                                                    std::size_t workers) {
    DownloadProgressInfo average{0, 0, 0, 0, 0, false, true, true};
    for (const DownloadProgressInfo &info : snapshots) {
        if (!info.resumable)
            return std::nullopt;
        average.progressPercent += info.progressPercent;
        average.downloadSpeed += info.downloadSpeed;
        average.remainingTime += info.remainingTime;
        average.downloadedSize += info.downloadedSize;
        average.totalSize += info.totalSize;
        average.failed = average.failed || info.failed;
        average.completed = average.completed && info.completed;
    }
    const auto count = static_cast<double>(workers);
    average.progressPercent /= count;
    average.downloadSpeed /= count;
    average.remainingTime /= count;
    return average;
}
