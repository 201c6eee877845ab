#include "PackageRecords.h"

#include <algorithm>
#include <cstddef>
#include <set>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "DestinationPath.h"
#include "Text.h"

// Finds products by their names, of which each is looked for at every place of a URL at once.
class PackageRecords::Products {
public:
    Products() = default;
    explicit Products(std::vector<ProductInfo> list)
        : m_list(std::move(list)) {
        for (std::size_t i = 0; i < m_list.size(); ++i) {
            m_firstByName.emplace(m_list[i].name, i);
            m_nameLengths.insert(m_list[i].name.size());
        }
    }

    std::string hashOf(std::string_view url) const {
        std::size_t first = m_list.size();
        for (const std::size_t length : m_nameLengths) {
            for (std::size_t begin = 0; begin + length <= url.size(); ++begin) {
                const auto found = m_firstByName.find(url.substr(begin, length));
                if (found != m_firstByName.end())
                    first = std::min(first, found->second);
            }
        }
        return first < m_list.size() ? m_list[first].hash : "";
    }

    std::string folderOf(const std::string &url) const {
        const std::string fileName = afterLastSlash(url);
        const auto found =
            std::find_if(m_list.begin(), m_list.end(),
                         [&fileName](const ProductInfo &product) { return contains(product.url, fileName); });
        return found != m_list.end() ? found->version : "";
    }

private:
    const std::vector<ProductInfo> m_list{};
    std::unordered_map<std::string_view, std::size_t> m_firstByName; // the texts are the list's
    std::set<std::size_t> m_nameLengths;
};

class PackageRecords::HotFixes {
public:
    HotFixes() = default;
    explicit HotFixes(std::vector<HotFixPackageInfo> list)
        : m_list(std::move(list)) {
        for (const HotFixPackageInfo &hotFix : m_list)
            m_firstByUrl.emplace(hotFix.url, &hotFix);
    }

    std::string hashOf(const std::string &url) const {
        const auto found = m_firstByUrl.find(url);
        return found != m_firstByUrl.end() ? found->second->hash : "";
    }

    std::string folderOf(const std::string &url) const {
        const auto found = m_firstByUrl.find(url);
        if (found == m_firstByUrl.end())
            return "";
        const HotFixPackageInfo &hotFix = *found->second;
        return hotFix.repost ? "repost/" + hotFix.productVer : hotFix.productVer;
    }

private:
    const std::vector<HotFixPackageInfo> m_list{};
    std::unordered_map<std::string_view, const HotFixPackageInfo *> m_firstByUrl; // all the list's
};

PackageRecords::PackageRecords()
    : m_productInfoList(std::make_shared<const Products>())
    , m_hotFixPackageList(std::make_shared<const HotFixes>()) {
}

PackageRecords::~PackageRecords() = default;

void PackageRecords::setProducts(std::vector<ProductInfo> products) {
    auto made = std::make_shared<const Products>(std::move(products));
    const MutexLock lock(m_mutex);
    m_productInfoList.swap(made);
}

void PackageRecords::setHotFixes(std::vector<HotFixPackageInfo> hotFixes) {
    auto made = std::make_shared<const HotFixes>(std::move(hotFixes));
    const MutexLock lock(m_mutex);
    m_hotFixPackageList.swap(made);
}

std::string PackageRecords::hashOf(const std::string &url) const {
    return m_freshInstallMode ? products()->hashOf(url) : hotFixes()->hashOf(url);
}

std::string PackageRecords::folderOf(const std::string &url) const {
    return m_freshInstallMode ? products()->folderOf(url) : hotFixes()->folderOf(url);
}

std::string PackageRecords::destinationOf(const std::string &url, const std::string &folder) const {
    return destinationPath(folder, folderOf(url), afterLastSlash(url));
}

std::shared_ptr<const PackageRecords::Products> PackageRecords::products() const {
    const MutexLock lock(m_mutex);
    return m_productInfoList;
}

std::shared_ptr<const PackageRecords::HotFixes> PackageRecords::hotFixes() const {
    const MutexLock lock(m_mutex);
    return m_hotFixPackageList;
}
