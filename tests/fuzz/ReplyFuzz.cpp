// The service's reply, as a job reads it: gathered piece by piece, judged, and taken apart into the URLs of
// catalogs, each of which is given a place on the disk.
#include <algorithm>
#include <cstdint>
#include <list>
#include <map>
#include <string>

#include "CatalogParser.h"
#include "Destination.h"
#include "Machine.h"
#include "Text.h"
#include "TextList.h"
#include "TolvaneHandler.h"

namespace {

// As libcurl hands it over.
std::string received(const std::uint8_t *data, std::size_t size) {
    constexpr std::size_t piece = 1448;
    std::string reply;
    for (std::size_t begin = 0; begin < size; begin += piece) {
        const std::size_t count = std::min(piece, size - begin);
        require(TolvaneHandler::write_data(data + begin, 1, count, &reply) == count,
                "what is received is taken whole");
    }
    return reply;
}

void checkCatalogs(const std::list<const char *> &urls, const std::string &folder) {
    for (const std::string url : urls) {
        require(contains(url, "/") && url.size() > 4 && url.substr(url.size() - 4) == ".xml",
                "a catalog's URL is root, \"/\", name and \".xml\"");
        requireSafeDestination(folder, "", afterLastSlash(url));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string reply = received(data, size);
    require(TolvaneHandler().processResponse(reply) || size != 0, "an empty reply is judged a success");
    // Also where the judgement would end the job: the parser must not depend on it.
    std::map<std::string, std::list<const char *>> urls = CatalogParser().getCatalogUrls(reply);
    require(urls.size() == 2 && urls.count("Core") == 1 && urls.count("Partner") == 1,
            "the map holds \"Core\" and \"Partner\", and nothing else");
    const OwnedTexts core(urls["Core"]);
    const OwnedTexts partner(urls["Partner"]);
    checkCatalogs(urls["Core"], coreCatalogDirectory());
    checkCatalogs(urls["Partner"], partnerCatalogDirectory());
    return 0;
}
