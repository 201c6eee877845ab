// One property list in the place of all three that the engine reads: the system's version, the order of
// installation, and the installer's list, which is written again with the record of a release.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

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

void checkReaders(const Known &known) {
    const OsVersion version = readOsVersion();
    const auto numbers = parseVersion(known.version.value_or(""));
    require(version.major == numbers[0] && version.minor == numbers[1] && version.bugFix == numbers[2],
            "the system's version is the list's, or unknown");
    require(UpdateManager().getInstalationOrder() == known.order.value_or(Texts()),
            "the order of installation is the list's, or empty");
    TolvaneHandler().getRequestParameterFromConfigurationPlist();
}

void checkRewrite(const Known &known) {
    ReleaseRecord release;
    release.setRelName("a \"b\" & <c>");
    release.writeToPropertyList(std::nullopt);
    const std::optional<PropertyList> written = PropertyList::readFromOpenFolder(configurationPlistPath);
    require(written.has_value(), "a list that was written can be read");
    require(knownOf(written) == known, "what stood in the list survives its rewrite");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string list(reinterpret_cast<const char *>(data), size);
    for (const char *path : {systemVersionPlistPath, dynaConfigPlistPath, configurationPlistPath})
        putFile(path, list);
    const Known known = knownOf(PropertyList::read(dynaConfigPlistPath));
    checkReaders(known);
    checkRewrite(known);
    return 0;
}
