#include "ProgressAverage.h"

#include <gtest/gtest.h>

namespace {

constexpr DownloadProgressInfo one{50, 10, 3, 100, 200, false, true, true};
constexpr DownloadProgressInfo other{100, 30, 1, 40, 40, false, true, true};

DownloadProgressInfo with(DownloadProgressInfo info, bool failed, bool completed, bool resumable = true) {
    info.failed = failed;
    info.completed = completed;
    info.resumable = resumable;
    return info;
}

TEST(ProgressAverage, DividesPercentSpeedAndTimeAndSumsTheSizes) {
    const auto average = averageProgress({one, other}, 2);
    ASSERT_TRUE(average);
    EXPECT_EQ(average->progressPercent, 75);
    EXPECT_EQ(average->downloadSpeed, 20);
    EXPECT_EQ(average->remainingTime, 2);
    EXPECT_EQ(average->downloadedSize, 140);
    EXPECT_EQ(average->totalSize, 240);
    EXPECT_TRUE(average->resumable);
}

TEST(ProgressAverage, CountsWorkersThatAreNotThere) {
    EXPECT_EQ(averageProgress({one}, 2)->progressPercent, 25);
    EXPECT_EQ(averageProgress({one}, 2)->totalSize, 200);
}

TEST(ProgressAverage, HasFailedWhenAnyHas) {
    EXPECT_FALSE(averageProgress({one, other}, 2)->failed);
    EXPECT_TRUE(averageProgress({with(one, true, false), other}, 2)->failed);
    EXPECT_TRUE(averageProgress({one, with(other, true, false)}, 2)->failed);
}

TEST(ProgressAverage, IsCompleteWhenAllAre) {
    EXPECT_TRUE(averageProgress({one, other}, 2)->completed);
    EXPECT_FALSE(averageProgress({with(one, false, false), other}, 2)->completed);
    EXPECT_FALSE(averageProgress({one, with(other, false, false)}, 2)->completed);
}

TEST(ProgressAverage, IsNoneOnceOneWasGivenUp) {
    EXPECT_FALSE(averageProgress({one, with(other, false, false, false)}, 2));
    EXPECT_FALSE(averageProgress({with(one, true, false, false), other}, 2));
}

} // namespace
