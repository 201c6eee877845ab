#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "downloadManager.h"

// The progress of all downloads together: percent, speed and remaining time are averages over the number of
// workers, the sizes are sums, "failed" means any of them and "completed" all of them. None when the package
// of one was given up, which holds the figures where they were.
std::optional<DownloadProgressInfo> averageProgress(const std::vector<DownloadProgressInfo> &snapshots,
                                                    std::size_t workers);
