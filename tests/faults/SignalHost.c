/* A host of the exports that lives with signals in a way of its own, the one that its argument names:
 *     ignores  its children's ends
 *     reaps    every child that ends, by a handler, so that nobody else can wait for it
 *     blocks   every signal, in every thread
 *     (nothing) as they come
 * Runs a fresh installation and says how it ended. */
#include "downloadManager.h"

#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/wait.h>

extern void _ZdlPv(void *record);
extern void _ZdaPv(void *text);

static void reap(int signal) {
    const int before = errno;
    (void)signal;
    while (waitpid(-1, NULL, WNOHANG) > 0) {
    }
    errno = before;
}

int main(int argc, char **argv) {
    struct sigaction action = {0};
    const char *how = argc > 1 ? argv[1] : "";
    if (strcmp(how, "blocks") == 0) {
        sigset_t all;
        sigfillset(&all);
        if (sigprocmask(SIG_BLOCK, &all, NULL) != 0)
            return 64;
    } else if (how[0] != '\0') {
        action.sa_handler = strcmp(how, "reaps") == 0 ? reap : SIG_IGN;
        if (sigaction(SIGCHLD, &action, NULL) != 0)
            return 64;
    }
    const int result = FreshInstall();
    DownloadProgressInfo *info = GetDownloadProgressInfo();
    char *packages = GetDownloadedPackages();
    printf("result %d, failed %d, completed %d\n%s\n", result, info->failed, info->completed, packages);
    const int status = result == 0 && info->completed ? 0 : 1;
    _ZdlPv(info);
    _ZdaPv(packages);
    return status;
}
