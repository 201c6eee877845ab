// usage: bench-trace-lines [BENCHMARK_OPTION]...
// Lines of the trace a second, from one and from many threads, against the same lines on the same file: by
// standard I/O as plainly as it goes, and by one write of a line that is ready. Only for the sealed machine.
#include <cstdio>
#include <ctime>
#include <string>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include "Paths.h"
#include "Trace.h"

namespace {

const char *const url = "https://download.brovik.example/HF_1.0.1.0/antivirus.pkg";

void engine(benchmark::State &state) {
    for (auto _ : state)
        trace.info("INFO : Start download: %s\n", url);
    state.SetItemsProcessed(state.iterations());
}

void standardStream(benchmark::State &state) {
    static std::FILE *const file = std::fopen(traceLogPath, "a+");
    for (auto _ : state) {
        const std::time_t now = std::time(nullptr);
        std::tm local{};
        localtime_r(&now, &local);
        char stamp[80] = "";
        static_cast<void>(std::strftime(stamp, sizeof stamp, "%Y-%m-%d.%X : ", &local));
        static_cast<void>(std::fprintf(file, "%sINFO : Start download: %s\n", stamp, url));
        static_cast<void>(std::fflush(file));
    }
    state.SetItemsProcessed(state.iterations());
}

void write(benchmark::State &state) {
    static const int file = open(traceLogPath, O_WRONLY | O_APPEND | O_CLOEXEC);
    const std::string line = std::string("2026-01-01.00:00:00 : INFO : Start download: ") + url + "\n";
    for (auto _ : state)
        if (::write(file, line.data(), line.size()) < 0)
            state.SkipWithError("not written");
    state.SetItemsProcessed(state.iterations());
}

} // namespace

int main(int argc, char *argv[]) {
    benchmark::Initialize(&argc, argv);
    openTrace();
    for (const int threads : {1, 64}) {
        benchmark::RegisterBenchmark("engine", engine)->Threads(threads)->UseRealTime();
        benchmark::RegisterBenchmark("standard", standardStream)->Threads(threads)->UseRealTime();
        benchmark::RegisterBenchmark("write", write)->Threads(threads)->UseRealTime();
    }
    benchmark::RunSpecifiedBenchmarks();
}
