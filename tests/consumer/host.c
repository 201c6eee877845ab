/* A host in C that knows the engine by its header only: every function answers before there was any download.
 */
#include <downloadManager.h>

#include <assert.h>
#include <stddef.h>
#include <stdio.h>
#include <string.h>

static_assert(offsetof(DownloadProgressInfo, progressPercent) == 0, "five doubles");
static_assert(offsetof(DownloadProgressInfo, downloadSpeed) == 1 * sizeof(double), "five doubles");
static_assert(offsetof(DownloadProgressInfo, remainingTime) == 2 * sizeof(double), "five doubles");
static_assert(offsetof(DownloadProgressInfo, downloadedSize) == 3 * sizeof(double), "five doubles");
static_assert(offsetof(DownloadProgressInfo, totalSize) == 4 * sizeof(double), "five doubles");
static_assert(offsetof(DownloadProgressInfo, failed) == 5 * sizeof(double), "then three flags");
static_assert(offsetof(DownloadProgressInfo, completed) == 5 * sizeof(double) + 1, "then three flags");
static_assert(offsetof(DownloadProgressInfo, resumable) == 5 * sizeof(double) + 2, "then three flags");

/* C++'s operators, as the header says. */
extern void _ZdlPv(void *record);
extern void _ZdaPv(void *text);

static int complain(const char *what) {
    fprintf(stderr, "%s\n", what);
    return 1;
}

int main(void) {
    int problems = 0;
    char numbers[32];
    if (strcmp(DOWNLOADMANAGER_VERSION, FOUND_VERSION) != 0)
        problems += complain("a header of another version than what was found");
    snprintf(numbers, sizeof numbers, "%d.%d.%d", DOWNLOADMANAGER_VERSION_MAJOR,
             DOWNLOADMANAGER_VERSION_MINOR, DOWNLOADMANAGER_VERSION_PATCH);
    if (strcmp(DOWNLOADMANAGER_VERSION, numbers) != 0)
        problems += complain("a version with other numbers");

    DownloadProgressInfo *progress = GetDownloadProgressInfo();
    char *packages = GetDownloadedPackages();
    if (progress->progressPercent != 0 || progress->downloadSpeed != 0 || progress->remainingTime != 0 ||
        progress->downloadedSize != 0 || progress->totalSize != 0)
        problems += complain("figures without a download");
    if (progress->failed || progress->completed || !progress->resumable)
        problems += complain("flags without a download");
    if (packages[0] != '\0')
        problems += complain("packages without a download");
    if (GetHashValue("https://download.brovik.example/core.pkg")[0] != '\0')
        problems += complain("a hash without a catalog");
    _ZdlPv(progress);
    _ZdaPv(packages);

    /* No update service runs here. */
    if (FreshInstall() != -1)
        problems += complain("an installation without a service");
    RetryDownloadPackages();
    progress = GetDownloadProgressInfo();
    if (!progress->failed || progress->completed)
        problems += complain("flags of a failure before the downloads");
    _ZdlPv(progress);
    return problems;
}
