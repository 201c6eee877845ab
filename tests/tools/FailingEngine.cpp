// A library with the engine's five functions that runs out of memory in the middle of its work. The file
// "/tmp/failing-call" names the function.
#include <fstream>
#include <new>
#include <string>

#include <unistd.h>

#include "downloadManager.h"

namespace {

bool mustFail(const std::string &function) {
    std::string failing;
    std::ifstream("/tmp/failing-call") >> failing;
    return function == failing;
}

} // namespace

int FreshInstall() {
    if (mustFail("FreshInstall"))
        throw std::bad_alloc();
    while (true)
        pause(); // as long as the host lives
}

void *GetDownloadProgressInfo() {
    static int calls = 0;
    // The first few succeed.
    if (++calls > 3 && mustFail("GetDownloadProgressInfo"))
        throw std::bad_alloc();
    return new DownloadProgressInfo{0, 0, 0, 0, 0, false, false, true};
}

char *GetDownloadedPackages() {
    return new char[1]{};
}

void RetryDownloadPackages() {
}

const char *GetHashValue(const char * /*url*/) {
    return "";
}
