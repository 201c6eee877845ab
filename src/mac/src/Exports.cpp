// What the suite's installer calls.
#include "downloadManager.h"

#include <cstring>
#include <exception>
#include <list>
#include <string>

#include <boost/thread/thread.hpp>

#include "DownloadController.h"
#include "Trace.h"

namespace {

// What GetHashValue gave this thread last: it outlives the call, and no other thread's call changes it.
thread_local std::string lastHash;

// Runs a call for a host, which may be written in C and know no exceptions. An interruption that the host
// asks of its own thread is one as well; it waits until the call has returned.
template <typename Result, typename Call>
Result callForHost(Result onFailure, Call call) noexcept {
    try {
        const boost::this_thread::disable_interruption uninterrupted;
        return call();
    } catch (const std::exception &error) {
        trace.error("ERROR: %s\n", error.what());
        return onFailure;
    }
}

char *copyJoined(const std::list<std::string> &paths) {
    std::string joined;
    for (const std::string &path : paths)
        joined += path + "!:";
    auto *text = new char[joined.size() + 1];
    std::memcpy(text, joined.c_str(), joined.size() + 1);
    return text;
}

} // namespace

int FreshInstall() {
    return callForHost(-1, [] { return DownloadController::getInstance()->freshInstall(); });
}

void *GetDownloadProgressInfo() {
    return callForHost<void *>(nullptr, [] {
        return new DownloadProgressInfo(DownloadController::getInstance()->getDownloadProgressInfo());
    });
}

char *GetDownloadedPackages() {
    return callForHost<char *>(
        nullptr, [] { return copyJoined(DownloadController::getInstance()->copyDownloadedPackages()); });
}

void RetryDownloadPackages() {
    static_cast<void>(callForHost(false, [] {
        DownloadController::getInstance()->retryDownload();
        return true;
    }));
}

const char *GetHashValue(const char *url) {
    return callForHost("", [url] {
        lastHash = DownloadController::getInstance()->getHashValueFromPackagePath(url);
        return lastHash.c_str();
    });
}
