// usage: bench-progress-query WORKERS [BENCHMARK_OPTION]...
// What the progress query costs a host while that many workers download, against the least that the same
// answer can cost: the same sums over plain structs with a mutex each. Only for the sealed machine.
#include <chrono>
#include <cstdlib>
#include <deque>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include <benchmark/benchmark.h>

#include "DownloadController.h"
#include "OpenFileLimit.h"
#include "TrickleServer.h"
#include "downloadManager.h"

namespace {

struct PlainWorker {
    std::mutex mutex;
    DownloadProgressInfo info{50, 10, 1000, 1024, 2048, false, false, true};
};

std::deque<PlainWorker> plainWorkers;

std::unique_ptr<DownloadProgressInfo> plainProgress() {
    auto sum = std::make_unique<DownloadProgressInfo>(DownloadProgressInfo{0, 0, 0, 0, 0, false, true, true});
    for (PlainWorker &worker : plainWorkers) {
        const std::lock_guard<std::mutex> lock(worker.mutex);
        sum->progressPercent += worker.info.progressPercent;
        sum->downloadSpeed += worker.info.downloadSpeed;
        sum->remainingTime += worker.info.remainingTime;
        sum->downloadedSize += worker.info.downloadedSize;
        sum->totalSize += worker.info.totalSize;
        sum->failed = sum->failed || worker.info.failed;
        sum->completed = sum->completed && worker.info.completed;
        sum->resumable = sum->resumable && worker.info.resumable;
    }
    const auto count = static_cast<double>(plainWorkers.size());
    sum->progressPercent /= count;
    sum->downloadSpeed /= count;
    sum->remainingTime /= count;
    return sum;
}

std::unique_ptr<DownloadProgressInfo> engineProgress() {
    return std::unique_ptr<DownloadProgressInfo>(
        static_cast<DownloadProgressInfo *>(GetDownloadProgressInfo()));
}

void engine(benchmark::State &state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(engineProgress());
}

void plain(benchmark::State &state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(plainProgress());
}

// All have begun when the sizes of all are known.
void waitForTransfers(std::size_t workers) {
    constexpr double kilobytesEach = 1000000000.0 / 1024;
    const double all = kilobytesEach * (static_cast<double>(workers) - 0.5);
    while (engineProgress()->totalSize < all)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

} // namespace

int main(int argc, char *argv[]) {
    const std::size_t workers = std::stoul(argc > 1 ? argv[1] : "10");
    argv[1] = argv[0];
    argc -= 1;
    argv += 1;
    benchmark::Initialize(&argc, argv);
    for (const int threads : {1, 2, 4, 8}) {
        benchmark::RegisterBenchmark("engine", engine)->Threads(threads)->UseRealTime();
        benchmark::RegisterBenchmark("plain", plain)->Threads(threads)->UseRealTime();
    }
    raiseOpenFileLimit();
    plainWorkers.resize(workers);
    const TrickleServer server;
    DownloadController *controller = DownloadController::getInstance();
    std::list<std::string> texts;
    std::list<const char *> urls;
    std::list<const char *> files;
    for (std::size_t i = 0; i < workers; ++i) {
        const std::string name = std::to_string(i) + ".pkg";
        urls.push_back(
            texts.emplace_back("http://127.0.0.1:" + std::to_string(server.port()) + "/" + name).c_str());
        files.push_back(texts.emplace_back("/tmp/" + name).c_str());
    }
    std::thread job([&] { controller->createDownloadThreads(urls, files); });
    waitForTransfers(workers);
    benchmark::RunSpecifiedBenchmarks();
    controller->cancelDownload();
    job.join();
}
