#include "ReleaseRecord.h"

#include <algorithm>
#include <limits>
#include <system_error>
#include <utility>

#include <unistd.h>

#include "LibXmlWrapper.h"
#include "Numbers.h"
#include "Paths.h"
#include "ProductConfiguration.h"
#include "PropertyList.h"
#include "RegularFile.h"
#include "ReplaceFile.h"
#include "Trace.h"
#include "Version.h"

namespace {

using Values = std::array<std::string, 6>;

// In the order in which the values stand. The names differ between the two files (kept as shipped).
constexpr std::array<const char *, 6> plistKeys = {"Version",       "BuildNo", "CoreRelVer",
                                                   "PartnerRelVer", "RelName", "CBRMSBuildNo"};

// Removes the prepared configuration unless it is kept: the installer script would put it in place.
class PreparedConfiguration {
public:
    PreparedConfiguration() = default;
    ~PreparedConfiguration() {
        if (!m_isKept)
            remove();
    }
    PreparedConfiguration(const PreparedConfiguration &) = delete;
    PreparedConfiguration &operator=(const PreparedConfiguration &) = delete;

    static void remove() noexcept {
        static_cast<void>(unlink(updatedProdConfigXml.c_str())); // mostly there is none
    }
    void keep() noexcept { m_isKept = true; }

private:
    bool m_isKept = false;
};

// "" for one that cannot be opened (kept as shipped); none when the system failed to read it.
std::optional<std::string> readConfiguration(const std::string &path) {
    try {
        std::optional<RegularFile> file = RegularFile::open(path, Links::follow);
        return file ? file->read(std::numeric_limits<std::size_t>::max()) : "";
    } catch (const std::system_error &) {
        return std::nullopt;
    }
}

// Any of that name will do: one that stands more than once gets another one.
bool holdsSetting(const LibXmlWrapper &configuration, const std::string &element, const std::string &value) {
    const std::vector<std::string> texts =
        configuration.getXPathAllElement("/*/*[local-name()='" + element + "']");
    return std::find(texts.begin(), texts.end(), value) != texts.end();
}

// Whether a configuration with these values could be made of the installed one, told by reading it again: the
// steps themselves do not tell.
bool holdsValues(const std::string &prepared, const Values &values) {
    const LibXmlWrapper configuration(prepared.data(), prepared.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (!values[i].empty() && !holdsSetting(configuration, configurationElements[i], values[i]))
            return false;
    }
    return true;
}

// What is no document can hold no values; it is copied as it is (kept as shipped).
bool isNoDocumentCopied(const std::string &installed, const std::string &prepared) {
    return prepared == installed &&
           !LibXmlWrapper(installed.data(), installed.size()).isXPathElementExists("/*");
}

} // namespace

void ReleaseRecord::setMaximaOf(const std::vector<ProductInfo> &products) {
    std::string maxVersion = "0.0.0.0";
    std::string maxBuildNo = "0";
    for (const ProductInfo &product : products) {
        if (parseVersion(product.version) > parseVersion(maxVersion))
            maxVersion = product.version;
        if (leadingNumber(maxBuildNo) < leadingNumber(product.mainBuildNo))
            maxBuildNo = product.mainBuildNo;
    }
    const MutexLock lock(m_valuesMutex);
    m_maxPackageVersion = std::move(maxVersion);
    m_maxBuildNo = std::move(maxBuildNo);
}

void ReleaseRecord::writeToPropertyList(const std::optional<std::vector<ProductInfo>> &products) {
    // Names another file than is written (kept as shipped).
    trace.info("INFO: Updating /tmp/configuratiob.plist : buildno and version \n");
    const MutexLock writer(m_writerMutex);
    if (updatePropertyList(products))
        trace.info("INFO: Version and Build no Updated to plist successfully\n");
    else
        trace.error("ERROR: Version and Build no Updated to plist Failed !\n");
}

// False, and the list as it was, when it could not be read for a moment or not be written.
bool ReleaseRecord::updatePropertyList(const std::optional<std::vector<ProductInfo>> &products) {
    try {
        PropertyList configuration =
            PropertyList::readFromOpenFolder(configurationPlistPath).value_or(PropertyList());
        if (products)
            setMaximaOf(*products);
        const Values current = values();
        std::vector<std::pair<std::string, std::string>> buildInfo;
        for (std::size_t i = 0; i < current.size(); ++i)
            buildInfo.emplace_back(plistKeys[i], current[i]);
        configuration.setDictionary("BuildInfo", buildInfo);
        return configuration.write(configurationPlistPath);
    } catch (const std::system_error &) {
        return false;
    }
}

void ReleaseRecord::writeToProductConfiguration() {
    const MutexLock writer(m_writerMutex);
    PreparedConfiguration prepared;
    const std::optional<std::string> installed = readConfiguration(prodConfigXml);
    const bool isCopied = installed && rewriteFile(updatedProdConfigXml, *installed);
    // Nor may the steps below go on with what an earlier run left.
    if (!isCopied)
        PreparedConfiguration::remove();

    const Values current = values();
    // The results do not matter: what cannot be set keeps its installed value.
    for (std::size_t i = 0; i < current.size(); ++i)
        static_cast<void>(
            ProductConfiguration::updateElement(updatedProdConfigXml, configurationElements[i], current[i]));
    const std::optional<std::string> result = readConfiguration(updatedProdConfigXml);
    if (isCopied && result && (holdsValues(*result, current) || isNoDocumentCopied(*installed, *result)))
        prepared.keep();
}

// The values in the order in which both files take them.
std::array<std::string, 6> ReleaseRecord::values() const {
    const MutexLock lock(m_valuesMutex);
    return {m_maxPackageVersion, m_maxBuildNo, m_coreReleaseVer,
            m_partnerReleaseVer, m_relName,    m_cbrmsBuildNo};
}

void ReleaseRecord::setCoreReleaseVer(std::string version) {
    const MutexLock lock(m_valuesMutex);
    m_coreReleaseVer = std::move(version);
}

void ReleaseRecord::setPartnerReleaseVer(std::string version) {
    const MutexLock lock(m_valuesMutex);
    m_partnerReleaseVer = std::move(version);
}

void ReleaseRecord::setMaxPackageVersion(std::string version) {
    const MutexLock lock(m_valuesMutex);
    m_maxPackageVersion = std::move(version);
}

void ReleaseRecord::setMaxBuildNo(std::string buildNo) {
    const MutexLock lock(m_valuesMutex);
    m_maxBuildNo = std::move(buildNo);
}

void ReleaseRecord::setRelName(std::string name) {
    const MutexLock lock(m_valuesMutex);
    m_relName = std::move(name);
}

void ReleaseRecord::setCBRMSBuildNo(std::string buildNo) {
    const MutexLock lock(m_valuesMutex);
    m_cbrmsBuildNo = std::move(buildNo);
}

std::string ReleaseRecord::getCoreReleaseVer() const {
    const MutexLock lock(m_valuesMutex);
    return m_coreReleaseVer;
}

std::string ReleaseRecord::getPartnerReleaseVer() const {
    const MutexLock lock(m_valuesMutex);
    return m_partnerReleaseVer;
}

std::string ReleaseRecord::getMaxPackageVersion() const {
    const MutexLock lock(m_valuesMutex);
    return m_maxPackageVersion;
}

std::string ReleaseRecord::getMaxBuildNo() const {
    const MutexLock lock(m_valuesMutex);
    return m_maxBuildNo;
}

std::string ReleaseRecord::getRelName() const {
    const MutexLock lock(m_valuesMutex);
    return m_relName;
}

std::string ReleaseRecord::getCBRMSBuildNO() const {
    const MutexLock lock(m_valuesMutex);
    return m_cbrmsBuildNo;
}
