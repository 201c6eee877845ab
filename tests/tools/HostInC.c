/* A host that knows the engine by its header only: runs a whole installation on one thread and watches it
 * from another. Prints what it saw, a line for each question that a test asks. */
#include "downloadManager.h"

#include <pthread.h>
#include <stdatomic.h>
#include <stddef.h>
#include <stdio.h>
#include <string.h>

_Static_assert(offsetof(DownloadProgressInfo, progressPercent) == 0, "five doubles");
_Static_assert(offsetof(DownloadProgressInfo, downloadSpeed) == 1 * sizeof(double), "five doubles");
_Static_assert(offsetof(DownloadProgressInfo, remainingTime) == 2 * sizeof(double), "five doubles");
_Static_assert(offsetof(DownloadProgressInfo, downloadedSize) == 3 * sizeof(double), "five doubles");
_Static_assert(offsetof(DownloadProgressInfo, totalSize) == 4 * sizeof(double), "five doubles");
_Static_assert(offsetof(DownloadProgressInfo, failed) == 5 * sizeof(double), "then three flags");
_Static_assert(offsetof(DownloadProgressInfo, completed) == 5 * sizeof(double) + 1, "then three flags");
_Static_assert(offsetof(DownloadProgressInfo, resumable) == 5 * sizeof(double) + 2, "then three flags");
_Static_assert(sizeof(DownloadProgressInfo) == 6 * sizeof(double), "and padding at the end only");

/* C++'s delete and delete[], as the header says. */
extern void _ZdlPv(void *record);
extern void _ZdaPv(void *text);

static atomic_bool ended;
static int result;

static void *install(void *unused) {
    (void)unused;
    result = FreshInstall();
    ended = true;
    return NULL;
}

static DownloadProgressInfo ask(void) {
    DownloadProgressInfo *record = GetDownloadProgressInfo();
    const DownloadProgressInfo copy = *record;
    _ZdlPv(record);
    return copy;
}

static size_t lengthOfPackages(void) {
    char *text = GetDownloadedPackages();
    const size_t length = strlen(text);
    _ZdaPv(text);
    return length;
}

/* As often as it can; true when an answer made no sense. */
static bool watch(void) {
    bool nonsense = false;
    size_t length = 0;
    while (!ended) {
        const DownloadProgressInfo info = ask();
        if (info.progressPercent < 0 || info.progressPercent > 100 || info.downloadedSize > info.totalSize)
            nonsense = true;
        if (info.totalSize <= 0 && (info.progressPercent > 0 || info.downloadSpeed > 0))
            nonsense = true;
        const size_t now = lengthOfPackages();
        if (now < length)
            nonsense = true;
        length = now;
    }
    return nonsense;
}

static void tell(const char *when) {
    const DownloadProgressInfo info = ask();
    printf("%s: %.0f %% of %.0f KB, failed %d, completed %d, resumable %d\n", when, info.progressPercent,
           info.totalSize, info.failed, info.completed, info.resumable);
}

int main(int argc, char **argv) {
    pthread_t job;
    tell("before"); /* the first call, alone */
    if (pthread_create(&job, NULL, install, NULL) != 0)
        return 1;
    const bool nonsense = watch();
    if (pthread_join(job, NULL) != 0)
        return 1;
    printf("nonsense: %d\nresult: %d\n", nonsense, result);
    tell("after");
    if (argc > 2 && strcmp(argv[2], "retry") == 0) {
        RetryDownloadPackages();
        tell("after retry");
    }
    if (argc > 1)
        printf("hash: %s\n", GetHashValue(argv[1]));
    char *packages = GetDownloadedPackages();
    printf("packages: %s\n", packages);
    _ZdaPv(packages);
    return 0;
}
