#include "Recorder.h"

#include <atomic>
#include <memory>
#include <thread>

namespace {

constexpr auto interval = std::chrono::milliseconds(50);

ProgressAnswer askProgress() {
    const std::unique_ptr<DownloadProgressInfo> record(
        static_cast<DownloadProgressInfo *>(GetDownloadProgressInfo()));
    return record ? ProgressAnswer(*record) : std::nullopt;
}

PackagesAnswer askPackages() {
    const std::unique_ptr<char[]> text(GetDownloadedPackages());
    return text ? PackagesAnswer(text.get()) : std::nullopt;
}

bool same(const ProgressAnswer &one, const ProgressAnswer &other) {
    if (!one || !other)
        return !one && !other;
    return one->progressPercent == other->progressPercent && one->downloadSpeed == other->downloadSpeed &&
           one->remainingTime == other->remainingTime && one->downloadedSize == other->downloadedSize &&
           one->totalSize == other->totalSize && one->failed == other->failed &&
           one->completed == other->completed && one->resumable == other->resumable;
}

} // namespace

Recorder::Recorder(std::ostream &out)
    : m_out(out) {
    tell(recordingLine());
    look();
}

void Recorder::record(Function function) {
    tell(callLine(function));
    m_began = std::chrono::steady_clock::now();
    std::atomic<bool> returned{false};
    std::optional<int> result;
    std::thread job([function, &returned, &result] {
        if (function == Function::freshInstall)
            result = FreshInstall();
        else
            RetryDownloadPackages();
        returned = true;
    });
    while (!returned) {
        look();
        std::this_thread::sleep_for(interval);
    }
    job.join();
    look();
    tell(returnLine(now(), result));
}

void Recorder::look() {
    const std::chrono::milliseconds at = now();
    lookAtHashes(at);
    // The paths first: a package that is finished in the figures is then among the paths, too.
    const PackagesAnswer packages = askPackages();
    const ProgressAnswer progress = askProgress();
    if (m_packages != packages)
        tell(packagesLine(at, packages));
    if (!m_progress || !same(*m_progress, progress))
        tell(progressLine(at, progress));
    m_packages = packages;
    m_progress = progress;
}

void Recorder::lookAtHashes(std::chrono::milliseconds at) {
    for (const std::string &path : m_folder.changedFiles()) {
        const std::string name = path.substr(path.rfind('/') + 1);
        const std::string sha1 = GetHashValue(name.c_str());
        if (!sha1.empty() && m_hashed.insert(name).second)
            tell(hashLine(at, name, sha1));
    }
}

std::chrono::milliseconds Recorder::now() const {
    if (!m_began)
        return {};
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - *m_began);
}

void Recorder::tell(const std::string &line) {
    m_out << line << std::flush;
}
