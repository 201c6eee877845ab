// The installed product's configuration: read for a request, and copied with the values of a new release.
#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include <libxml/parser.h>
#include <libxml/tree.h>

#include "Machine.h"
#include "Paths.h"
#include "ReleaseRecord.h"
#include "TolvaneHandler.h"

namespace {

using Setting = std::pair<const char *, const char *>;
// With characters that are markup in an XML text.
constexpr std::array<Setting, 6> settings = {{{"ProductVersion", "1.0.0.6"},
                                              {"BuildNumber", "120"},
                                              {"CoreRelVer", "2 < 3\r"},
                                              {"PartnerRelVer", "]]>&amp;"},
                                              {"ReleaseName", "a \"b\" & 'c'"},
                                              {"CBRMSBuildNo", "0"}}};

struct DocDeleter {
    void operator()(xmlDoc *document) const { xmlFreeDoc(document); }
};
struct TextDeleter {
    void operator()(xmlChar *text) const { xmlFree(text); }
};
using Doc = std::unique_ptr<xmlDoc, DocDeleter>;

Doc parsed(const std::string &text) {
    return Doc(xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                             XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
}

bool holds(xmlDoc *document, const Setting &setting) {
    for (xmlNode *child = xmlDocGetRootElement(document)->children; child != nullptr; child = child->next) {
        const std::unique_ptr<xmlChar, TextDeleter> text(xmlNodeGetContent(child));
        if (std::string(setting.first) == reinterpret_cast<const char *>(child->name) && text &&
            std::string(setting.second) == reinterpret_cast<const char *>(text.get()))
            return true;
    }
    return false;
}

void checkPrepared(const std::string &installed, const std::string &prepared) {
    const Doc document = parsed(prepared);
    if (!document) {
        require(prepared == installed, "what is no document is copied as it is");
        return;
    }
    for (const Setting &setting : settings)
        require(holds(document.get(), setting), "a prepared configuration holds every value");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string installed(reinterpret_cast<const char *>(data), size);
    putFile(prodConfigXml, installed);

    TolvaneHandler handler;
    require(!handler.getRelNameFromProductConfig().empty(), "a release has a name, \"legacy\" if no other");
    handler.getRequestParameterFromProductConfigXmlForUpdate();

    ReleaseRecord release;
    release.setMaxPackageVersion(settings[0].second);
    release.setMaxBuildNo(settings[1].second);
    release.setCoreReleaseVer(settings[2].second);
    release.setPartnerReleaseVer(settings[3].second);
    release.setRelName(settings[4].second);
    release.writeToProductConfiguration();
    require(fileContent(prodConfigXml) == installed, "the installed configuration stays as it is");
    const std::string prepared = fileContent(updatedProdConfigXml);
    if (!prepared.empty())
        checkPrepared(installed, prepared);
    return 0;
}
