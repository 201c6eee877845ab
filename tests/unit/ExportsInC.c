/* The exported functions' header in a C program. */
#include "downloadManager.h"

#include <stddef.h>

_Static_assert(offsetof(DownloadProgressInfo, downloadSpeed) == 1 * sizeof(double), "second figure");
_Static_assert(offsetof(DownloadProgressInfo, totalSize) == 4 * sizeof(double), "last figure");
_Static_assert(offsetof(DownloadProgressInfo, failed) == 5 * sizeof(double), "first flag");
_Static_assert(offsetof(DownloadProgressInfo, completed) == 5 * sizeof(double) + 1, "second flag");
_Static_assert(offsetof(DownloadProgressInfo, resumable) == 5 * sizeof(double) + 2, "last flag");

extern size_t progressRecordSizeInC(void);

size_t progressRecordSizeInC(void) {
    return sizeof(DownloadProgressInfo);
}

/* Compiles only when the header declares the functions as C functions of these types. */
extern int callExportedFunctions(void);

int callExportedFunctions(void) {
    int (*const freshInstall)(void) = FreshInstall;
    void *(*const progress)(void) = GetDownloadProgressInfo;
    char *(*const packages)(void) = GetDownloadedPackages;
    void (*const retry)(void) = RetryDownloadPackages;
    const char *(*const hash)(const char *) = GetHashValue;
    return freshInstall && progress && packages && retry && hash;
}
