// usage: bench-complete-query [BENCHMARK_OPTION]...
// What the progress query costs once everything is complete, against its parts: writing the property list
// anew (the least that replacing any file costs), reading it, and the two lines of the trace. Installs what
// is published. Only for the sealed machine.
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

#include <benchmark/benchmark.h>

#include "HostEngine.h"
#include "Paths.h"
#include "PropertyList.h"
#include "RegularFile.h"
#include "ReplaceFile.h"
#include "Trace.h"

namespace {

const HostEngine &hostEngine() {
    static const HostEngine engine;
    return engine;
}

std::string recordedList() {
    return RegularFile::open(configurationPlistPath, Links::refuse)->read(1U << 20U).value();
}

void query(benchmark::State &state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(hostEngine().progress());
}

// Beside the real one, so that the query finds its own undisturbed.
void replacing(benchmark::State &state) {
    const std::string path = std::string(configurationPlistPath) + ".replaced";
    const std::string bytes = recordedList();
    for (auto _ : state)
        if (!replaceFile(path, bytes))
            state.SkipWithError("not replaced");
    std::remove(path.c_str());
}

void reading(benchmark::State &state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(PropertyList::readFromOpenFolder(configurationPlistPath));
}

void tracing(benchmark::State &state) {
    for (auto _ : state) {
        trace.info("INFO: Updating /tmp/configuratiob.plist : buildno and version \n");
        trace.info("INFO: Version and Build no Updated to plist successfully\n");
    }
}

} // namespace

int main(int argc, char *argv[]) {
    benchmark::Initialize(&argc, argv);
    for (const auto &[name, function] : {std::pair("query", query), std::pair("replacing", replacing),
                                         std::pair("reading", reading), std::pair("tracing", tracing)})
        benchmark::RegisterBenchmark(name, function)->UseRealTime()->Unit(benchmark::kMicrosecond);
    if (!hostEngine().install() || !hostEngine().progress()->completed) {
        std::cerr << "nothing was installed\n";
        return EXIT_FAILURE;
    }
    openTrace(); // these objects' own; the loaded engine has another one
    benchmark::RunSpecifiedBenchmarks();
}
