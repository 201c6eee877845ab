// A library with the engine's five functions that runs out of memory in the middle of its work and gives
// null. The file "/tmp/failing-call" names the function.
#include <fstream>
#include <string>

#include <unistd.h>

#include "downloadManager.h"

namespace {

// The first few calls succeed.
bool mustFail(const std::string &function, int call) {
    std::string failing;
    std::ifstream("/tmp/failing-call") >> failing;
    return call > 3 && function == failing;
}

} // namespace

int FreshInstall() {
    while (true)
        pause(); // as long as the host lives
}

void *GetDownloadProgressInfo() {
    static int calls = 0;
    if (mustFail("GetDownloadProgressInfo", ++calls))
        return nullptr;
    return new DownloadProgressInfo{0, 0, 0, 0, 0, false, false, true};
}

char *GetDownloadedPackages() {
    static int calls = 0;
    return mustFail("GetDownloadedPackages", ++calls) ? nullptr : new char[1]{};
}

void RetryDownloadPackages() {
}

const char *GetHashValue(const char * /*url*/) {
    return "";
}
