// Reading catalogs: the engine beside libxml2 alone, on the same files.
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>

#include <benchmark/benchmark.h>
#include <unistd.h>

#include "CatalogParser.h"
#include "Inputs.h"
#include "PlainCatalog.h"

namespace {

// Written when it is first asked for, removed in the end.
class CatalogFile {
public:
    explicit CatalogFile(std::size_t packages)
        : m_path("/tmp/catalog-" + std::to_string(::getpid()) + "-" + std::to_string(packages) + ".xml") {
        std::ofstream(m_path) << catalogOf(packages);
    }
    ~CatalogFile() { static_cast<void>(std::remove(m_path.c_str())); }
    CatalogFile(const CatalogFile &) = delete;
    CatalogFile &operator=(const CatalogFile &) = delete;

    const std::string &path() const { return m_path; }

private:
    const std::string m_path;
};

void expect(benchmark::State &state, std::size_t count, std::size_t expected) {
    if (count != expected)
        state.SkipWithError("not every package was read");
}

void limit(benchmark::State &state) {
    const auto packages = static_cast<std::size_t>(state.range(0));
    const CatalogFile file(packages);
    for (auto _ : state)
        expect(state, parseAndEvaluate(file.path(), hotFixExpressions()), 11 * packages);
    state.SetComplexityN(state.range(0));
}

void plain(benchmark::State &state) {
    const auto packages = static_cast<std::size_t>(state.range(0));
    const CatalogFile file(packages);
    for (auto _ : state)
        expect(state, readPlainly(file.path()).size(), packages);
    state.SetComplexityN(state.range(0));
}

void engine(benchmark::State &state) {
    const auto packages = static_cast<std::size_t>(state.range(0));
    const CatalogFile file(packages);
    for (auto _ : state)
        expect(state, CatalogParser().getHotFixInfo({file.path()}).size(), packages);
    state.SetComplexityN(state.range(0));
}

void productLimit(benchmark::State &state) {
    const CatalogFile file(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state)
        expect(state, parseAndEvaluate(file.path(), productExpressions()), 5);
    state.SetComplexityN(state.range(0));
}

void productEngine(benchmark::State &state) {
    const CatalogFile file(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state)
        expect(state, CatalogParser().getProductInfo({file.path()}).size(), 1);
    state.SetComplexityN(state.range(0));
}

void catalogSizes(benchmark::internal::Benchmark *one) {
    one->RangeMultiplier(10)->Range(1'000, 100'000)->Unit(benchmark::kMillisecond)->UseRealTime();
}

BENCHMARK(limit)->Name("catalog/limit")->Apply(catalogSizes)->Complexity(benchmark::oN);
BENCHMARK(plain)->Name("catalog/plain")->Apply(catalogSizes)->Complexity(benchmark::oN);
BENCHMARK(engine)->Name("catalog/engine")->Apply(catalogSizes)->Complexity(benchmark::oN);
BENCHMARK(productLimit)->Name("product/limit")->Apply(catalogSizes)->Complexity(benchmark::oN);
BENCHMARK(productEngine)->Name("product/engine")->Apply(catalogSizes)->Complexity(benchmark::oN);

} // namespace
