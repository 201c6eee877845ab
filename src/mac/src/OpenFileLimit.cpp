#include "OpenFileLimit.h"

#include <sys/resource.h>

void raiseOpenFileLimit() noexcept {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return;
    const rlim_t starters = limit.rlim_cur;
    // Some systems take less than the highest limit that they name.
    for (limit.rlim_cur = limit.rlim_max; limit.rlim_cur > starters; limit.rlim_cur /= 2) {
        if (setrlimit(RLIMIT_NOFILE, &limit) == 0)
            return;
    }
}
