#include "BundleFacts.h"

#include <array>
#include <ctime>

#include <curl/curl.h>
#include <libxml/parser.h>
#include <sys/stat.h>
#include <sys/utsname.h>

#include "Paths.h"
#include "TolvaneHandler.h"

namespace {

using Json = nlohmann::ordered_json;

// The system's clock, wherever it is: "2026-11-22T07:00:00Z".
std::string timeOf(std::time_t moment) {
    std::tm parts{};
    std::array<char, 32> text{};
    if (gmtime_r(&moment, &parts) == nullptr)
        return "";
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts)};
}

Json systemFacts() {
    utsname kernel{};
    if (uname(&kernel) != 0)
        return {{"version", TolvaneHandler().getOSVersion()}};
    return {{"version", TolvaneHandler().getOSVersion()}, // as the service is told
            {"kernel", kernel.sysname},
            {"release", kernel.release},
            {"machine", kernel.machine}};
}

// Files that tell by being there.
Json markers() {
    Json all = Json::array();
    for (const char *const path : {appIdMarkerPath, updateMarkerPath, restartMarkerPath}) {
        struct stat status {};
        const bool isThere = lstat(path, &status) == 0;
        all.push_back({{"path", path}, {"there", isThere}});
        if (isThere)
            all.back()["since"] = timeOf(status.st_mtime);
    }
    return all;
}

Json filesOf(const BundleContent &content) {
    Json files = Json::array();
    for (const BundledFile &file : content.files) {
        files.push_back({{"path", file.path},
                         {"bytes", file.bytes},
                         {"kept", file.content.size()},
                         {"onlyEnd", file.isEndOnly},
                         {"maskedAffiliates", file.masked.affiliates},
                         {"maskedLicences", file.masked.licences}});
    }
    return files;
}

Json missingOf(const BundleContent &content) {
    Json missing = Json::array();
    for (const MissingFile &file : content.missing)
        missing.push_back({{"path", file.path}, {"why", file.why}, {"absent", file.isAbsent}});
    return missing;
}

} // namespace

std::string bundleManifest(const BundleContent &content, bool isMasked) {
    const Json manifest = {
        {"format", bundleFormat},
        {"made", timeOf(std::time(nullptr))},
        {"masked", isMasked},
        {"engine",
         {{"version", VERSION},
          {"service", updateRequestURL},
          {"libcurl", curl_version()},
          {"libxml2", xmlParserVersion}}},
        {"system", systemFacts()},
        {"markers", markers()},
        {"files", filesOf(content)},
        {"missing", missingOf(content)},
    };
    // Names may hold any bytes; those that are no UTF-8 are replaced.
    return manifest.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}
