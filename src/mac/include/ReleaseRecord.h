#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "CatalogParser.h"
#include "ThreadSafety.h"

// The product configuration's elements for a release, in the order in which its values stand.
inline constexpr std::array<const char *, 6> configurationElements = {
    "ProductVersion", "BuildNumber", "CoreRelVer", "PartnerRelVer", "ReleaseName", "CBRMSBuildNo"};

// The six values of the release that a job brings, and the two files that keep them after the job. May be
// used by any thread at any time: the values are held for moments only, and the writers follow each other.
class ReleaseRecord {
public:
    ReleaseRecord() = default;
    ~ReleaseRecord() = default;
    ReleaseRecord(const ReleaseRecord &) = delete;
    ReleaseRecord &operator=(const ReleaseRecord &) = delete;

    void setCoreReleaseVer(std::string version);
    void setPartnerReleaseVer(std::string version);
    void setMaxPackageVersion(std::string version);
    void setMaxBuildNo(std::string buildNo);
    void setRelName(std::string name);
    void setCBRMSBuildNo(std::string buildNo);
    std::string getCoreReleaseVer() const;
    std::string getPartnerReleaseVer() const;
    std::string getMaxPackageVersion() const;
    std::string getMaxBuildNo() const;
    std::string getRelName() const;
    std::string getCBRMSBuildNO() const;

    // Sets the highest version and, independently, the highest build number of the products; "0.0.0.0" and
    // "0" without any.
    void setMaximaOf(const std::vector<ProductInfo> &products);

    // Puts the record "BuildInfo" into the installer's property list; the trace tells how it ended. The
    // products of a fresh installation give the maxima, once the list was read. Throws std::bad_alloc; the
    // list is then as it was.
    void writeToPropertyList(const std::optional<std::vector<ProductInfo>> &products);

    // Prepares the configuration that the installer script will put in place: a copy of the installed one
    // with the values that are not empty. When that fails there is no prepared one, not even an earlier one,
    // so that the installed one stays. Without an installed one it is empty (kept as shipped).
    void writeToProductConfiguration();

private:
    bool updatePropertyList(const std::optional<std::vector<ProductInfo>> &products);
    std::array<std::string, 6> values() const;

    mutable boost::mutex m_valuesMutex;
    std::string m_coreReleaseVer GUARDED_BY(m_valuesMutex);
    std::string m_partnerReleaseVer GUARDED_BY(m_valuesMutex);
    std::string m_maxPackageVersion GUARDED_BY(m_valuesMutex);
    std::string m_maxBuildNo GUARDED_BY(m_valuesMutex);
    std::string m_relName GUARDED_BY(m_valuesMutex);
    std::string m_cbrmsBuildNo GUARDED_BY(m_valuesMutex) = "0";

    // Held while a file is written, so that two readers of the progress do not mix; taken before the other.
    boost::mutex m_writerMutex;
};
