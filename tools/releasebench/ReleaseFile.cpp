#include "ReleaseFile.h"

#include <algorithm>
#include <optional>
#include <set>
#include <utility>

#include <nlohmann/json.hpp>

#include "PositionedJson.h"
#include "RegularFile.h"
#include "SchemaCheck.h"
#include "Text.h"
#include "UnusableInput.h"

namespace {

using Json = nlohmann::json;

std::string contentOf(const std::filesystem::path &file) {
    constexpr std::size_t mostBytes = 1U << 30U; // a hundred thousand packages take 30 MB
    std::optional<RegularFile> opened = RegularFile::open(file.string(), Links::follow);
    std::optional<std::string> content = opened ? opened->read(mostBytes) : std::nullopt;
    if (!content)
        throw UnusableInput(file.string() +
                            ": cannot be read; \"releasebench init\" makes a release to begin with");
    return *std::move(content);
}

std::string textOf(const Json &object, const char *key) {
    return object.value(key, std::string());
}

ReleasePackage packageOf(const Json &object, std::string place) {
    ReleasePackage package{std::move(place), textOf(object, "file"), textOf(object, "url"),
                           textOf(object, "name")};
    if (package.name.empty())
        package.name = afterLastSlash(package.url);
    return package;
}

ReleaseHotFix hotFixOf(const Json &object, std::string place) {
    return {packageOf(object, std::move(place)),
            textOf(object, "minVersion"),
            textOf(object, "maxVersion"),
            textOf(object, "minSystem"),
            textOf(object, "maxSystem"),
            textOf(object, "version"),
            textOf(object, "build"),
            object.value("repost", false)};
}

// The records of an array's objects, which are told their places.
template <typename Make>
auto each(const Json &parent, const std::string &place, const char *key, Make make) {
    std::vector<decltype(make(parent, place))> records;
    const auto array = parent.find(key);
    for (std::size_t i = 0; array != parent.end() && i < array->size(); ++i)
        records.push_back(make((*array)[i], place + "/" + key + "/" + std::to_string(i)));
    return records;
}

std::vector<std::string> textsOf(const Json &object, const char *key) {
    return object.value(key, std::vector<std::string>());
}

ReleaseCatalog catalogOf(const Json &object, const std::string &place) {
    ReleaseCatalog catalog{place,
                           textOf(object, "name"),
                           textOf(object, "root"),
                           textOf(object, "version"),
                           textOf(object, "productVersion"),
                           textOf(object, "mainBuild"),
                           textOf(object, "brandingBuild"),
                           std::nullopt,
                           each(object, place, "hotFixes", hotFixOf)};
    if (object.contains("fullInstall"))
        catalog.fullInstall = packageOf(object["fullInstall"], place + "/fullInstall");
    return catalog;
}

ReleaseProduct productOf(const Json &object, const std::string &place) {
    return {place, textOf(object, "application"), textsOf(object, "catalogs")};
}

Audience audienceOf(const Json &object, const std::string &place) {
    return {place,
            textsOf(object, "affiliates"),
            textOf(object, "releaseName"),
            textOf(object, "coreVersion"),
            textOf(object, "partnerVersion"),
            each(object, place, "products", productOf),
            each(object, place, "partners", productOf)};
}

// --- what no schema can say

class Faults {
public:
    explicit Faults(const Release &release)
        : m_release(release) {}

    void note(const std::string &place, const std::string &text) {
        m_text += (m_text.empty() ? "" : "\n") + m_release.at(place) + ": " + text;
    }
    void throwIfAny() const {
        if (!m_text.empty())
            throw UnusableInput(m_text);
    }

private:
    const Release &m_release;
    std::string m_text;
};

bool isFileName(const std::string &name) {
    return name.find('/') == std::string::npos && name != "." && name != "..";
}

void checkNames(const Release &release, Faults &faults) {
    std::set<std::string> names;
    for (const ReleaseCatalog &catalog : release.catalogs) {
        if (!isFileName(catalog.name))
            faults.note(catalog.place + "/name", "expected a file's name without a folder");
        if (!names.insert(catalog.name).second)
            faults.note(catalog.place + "/name", "another catalog has that name, expected one of its own");
    }
    const auto checkProducts = [&](const std::vector<ReleaseProduct> &products) {
        for (const ReleaseProduct &product : products) {
            for (std::size_t i = 0; i < product.catalogs.size(); ++i) {
                if (names.count(product.catalogs[i]) == 0)
                    faults.note(product.place + "/catalogs/" + std::to_string(i),
                                "expected the name of one of the catalogs, which \"" + product.catalogs[i] +
                                    "\" is not");
            }
        }
    };
    for (const Audience &audience : release.audience) {
        checkProducts(audience.products);
        checkProducts(audience.partners);
    }
}

// XML has no way to write most control characters, nor the two that are none (U+FFFE and U+FFFF).
bool isForXml(const std::string &text) {
    return !contains(text, "\xEF\xBF\xBE") && !contains(text, "\xEF\xBF\xBF") &&
           std::all_of(text.begin(), text.end(), [](char character) {
               const auto code = static_cast<unsigned char>(character);
               return code >= 0x20 || code == '\t' || code == '\n' || code == '\r';
           });
}

bool isAllForXml(const Json &value) {
    if (value.is_string())
        return isForXml(value.get_ref<const std::string &>());
    return !value.is_structured() || std::all_of(value.begin(), value.end(), isAllForXml);
}

void checkCharacters(const Json &value, const std::string &place, Faults &faults) {
    if (isAllForXml(value))
        return;
    if (value.is_string())
        faults.note(place, "holds a control character or none at all, expected a text that XML can hold");
    if (!value.is_structured())
        return;
    for (const auto &item : value.items())
        checkCharacters(item.value(), place + "/" + item.key(), faults);
}

} // namespace

Release readRelease(const std::filesystem::path &folder) {
    Release release;
    release.folder = folder;
    const Json document = parseWithPlaces(contentOf(release.file()), release.file().string(), release.places);
    Faults faults(release);
    for (const SchemaFault &fault : schemaFaults(document))
        faults.note(fault.place, fault.text);
    faults.throwIfAny();
    checkCharacters(document, "", faults);

    release.audience = each(document, "", "audience", audienceOf);
    release.catalogs = each(document, "", "catalogs", catalogOf);
    release.order = textsOf(document, "order");
    checkNames(release, faults);
    faults.throwIfAny();
    return release;
}
