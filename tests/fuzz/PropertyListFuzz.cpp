// One property list in the place of all three that the engine reads: the system's version, the order of
// installation, and the installer's list, which is written again with the record of a release.
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <plist/plist.h>

#include "Machine.h"
#include "OsVersion.h"
#include "Paths.h"
#include "PropertyList.h"
#include "ReleaseRecord.h"
#include "TolvaneHandler.h"
#include "UpdateManager.h"
#include "Version.h"

namespace {

using Texts = std::vector<std::string>;

struct Known {
    std::optional<std::string> affId;
    std::optional<std::string> appId;
    std::optional<std::string> version;
    std::optional<Texts> order;
};

bool operator==(const Known &one, const Known &other) {
    return one.affId == other.affId && one.appId == other.appId && one.version == other.version &&
           one.order == other.order;
}

Known knownOf(const std::optional<PropertyList> &list) {
    if (!list)
        return {};
    return {list->string("AffID"), list->string("AppID"), list->string("ProductVersion"),
            list->strings("InstallPkgOrder")};
}

struct Release {
    void operator()(xmlDoc *document) const { xmlFreeDoc(document); }
    void operator()(xmlChar *text) const { xmlFree(text); }
    void operator()(void *list) const { plist_free(list); }
    void operator()(char *bytes) const { plist_to_bin_free(bytes); }
};
template <typename Type>
using Owned = std::unique_ptr<Type, Release>;

// All of a list but the record of the release, in a form that is the same for the same values.
std::string everythingElse(const std::string &xml) {
    const Owned<xmlDoc> document(
        xmlReadMemory(xml.data(), static_cast<int>(xml.size()), nullptr, nullptr, XML_PARSE_NONET));
    xmlChar *text = nullptr;
    int length = 0;
    xmlDocDumpMemoryEnc(document.get(), &text, &length, "UTF-8");
    const Owned<xmlChar> utf8(text);
    plist_t root = nullptr;
    plist_from_xml(reinterpret_cast<const char *>(text), static_cast<std::uint32_t>(length), &root);
    const Owned<void> list(root);
    plist_dict_remove_item(root, "BuildInfo");
    char *bytes = nullptr;
    std::uint32_t count = 0;
    plist_to_bin(root, &bytes, &count);
    const Owned<char> form(bytes);
    return {bytes, count};
}

void checkReaders(const Known &known) {
    const OsVersion version = readOsVersion();
    const auto numbers = parseVersion(known.version.value_or(""));
    require(version.major == numbers[0] && version.minor == numbers[1] && version.bugFix == numbers[2],
            "the system's version is the list's, or unknown");
    require(UpdateManager().getInstalationOrder() == known.order.value_or(Texts()),
            "the order of installation is the list's, or empty");
    TolvaneHandler().getRequestParameterFromConfigurationPlist();
}

void checkRewrite(const Known &known, const std::string &before) {
    ReleaseRecord release;
    release.setRelName("a \"b\" & <c>");
    release.writeToPropertyList(std::nullopt);
    const std::optional<PropertyList> written = PropertyList::readFromOpenFolder(configurationPlistPath);
    require(written.has_value(), "a list that was written can be read");
    require(knownOf(written) == known, "what the engine knows of the list survives its rewrite");
    require(everythingElse(fileContent(configurationPlistPath)) == before,
            "what else stood in the list survives its rewrite");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string list(reinterpret_cast<const char *>(data), size);
    for (const char *path : {systemVersionPlistPath, dynaConfigPlistPath, configurationPlistPath})
        putFile(path, list);
    const std::optional<PropertyList> read = PropertyList::read(dynaConfigPlistPath);
    checkReaders(knownOf(read));
    checkRewrite(knownOf(read), everythingElse(read ? list : "<plist><dict/></plist>"));
    return 0;
}
