/* The functions that libdownloadManager exports to the suite's installer. */
#ifndef DOWNLOADMANAGER_H
#define DOWNLOADMANAGER_H

#pragma GCC visibility push(default)
#ifdef __cplusplus
extern "C" {
#else
#include <stdbool.h>
#endif

/* The progress of all downloads of the running job. A kilobyte is 1024 bytes. */
typedef struct DownloadProgressInfo {
    double progressPercent; /* average over the downloads, 0 to 100 */
    double downloadSpeed;   /* average, kilobytes per second */
    double remainingTime;   /* average, seconds */
    double downloadedSize;  /* total, kilobytes present */
    double totalSize;       /* total, kilobytes of the whole files */
    bool failed;            /* at least one download ended in error, or the job failed before them */
    bool completed;         /* every download is complete and validated */
    bool resumable;         /* false once a package was given up: its hash was wrong too often */
} DownloadProgressInfo;

/* Runs a whole fresh installation's downloads and returns when they have ended: 0 when the downloads ran
 * (the progress tells how they ended), -1 when anything failed before them. */
int FreshInstall(void);

/* A new DownloadProgressInfo, which the caller owns and releases with C++'s delete. */
void *GetDownloadProgressInfo(void);

/* The paths of the packages downloaded so far, each followed by "!:", in a new array, which the caller
 * owns and releases with C++'s delete[]. */
char *GetDownloadedPackages(void);

/* Downloads what failed once more; returns when the downloads have ended. */
void RetryDownloadPackages(void);

/* The expected SHA-1 of the package with this download URL, in hex; empty when unknown. The text belongs
 * to the engine and stays until the same thread's next call. */
const char *GetHashValue(const char *url);

#ifdef __cplusplus
}
#endif
#pragma GCC visibility pop

#endif
