// usage: catalog-memory write PACKAGES FILE
//        catalog-memory engine|plain|limit FILE
// Writes a catalog, or reads one as the engine or as libxml2 alone does and prints by how many kilobytes the
// process grew meanwhile, at its largest. The process that reads makes nothing else, so that this is the
// reading's.
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>

#include <sys/resource.h>

#include "CatalogParser.h"
#include "Inputs.h"
#include "PlainCatalog.h"

namespace {

long peakKilobytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

std::size_t read(const std::string &way, const std::string &file) {
    if (way == "engine")
        return CatalogParser().getHotFixInfo({file}).size();
    return way == "plain" ? readPlainly(file).size() : parseAndEvaluate(file, hotFixExpressions()) / 11;
}

} // namespace

int main(int count, char **arguments) {
    const std::string way = count > 2 ? arguments[1] : "";
    if (way == "write" && count == 4) {
        std::ofstream(arguments[3]) << catalogOf(std::strtoul(arguments[2], nullptr, 10));
        return 0;
    }
    if (count != 3 || (way != "engine" && way != "plain" && way != "limit"))
        return 64;
    const long before = peakKilobytes();
    const std::size_t packages = read(way, arguments[2]);
    std::cout << packages << ' ' << peakKilobytes() - before << '\n';
    return 0;
}
