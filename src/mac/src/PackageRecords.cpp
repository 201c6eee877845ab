#include "PackageRecords.h"

#include <cstddef>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "DestinationPath.h"
#include "Text.h"
#include "TextFinder.h"

class PackageRecords::Products {
public:
    Products() = default;
    explicit Products(std::vector<ProductInfo> list)
        : m_list(std::move(list))
        , m_names(textsOf(&ProductInfo::name)) {}

    std::string hashOf(std::string_view url) const {
        const std::size_t first = m_names.firstWithin(url);
        return first != TextFinder::none ? m_list[first].hash : "";
    }

    // Looks for all file names at once: each alone would be looked for in every record.
    std::vector<std::string> foldersOf(const std::vector<std::string> &urls) const {
        std::vector<std::string_view> fileNames;
        fileNames.reserve(urls.size());
        for (const std::string &url : urls)
            fileNames.push_back(lastComponent(url));
        std::vector<std::string> folders;
        for (const std::size_t first : TextFinder(fileNames).firstHolders(textsOf(&ProductInfo::url)))
            folders.push_back(first != TextFinder::none ? m_list[first].version : "");
        return folders;
    }

private:
    // The texts are the list's.
    std::vector<std::string_view> textsOf(std::string ProductInfo::*item) const {
        std::vector<std::string_view> texts;
        texts.reserve(m_list.size());
        for (const ProductInfo &product : m_list)
            texts.push_back(product.*item);
        return texts;
    }

    const std::vector<ProductInfo> m_list{};
    const TextFinder m_names{};
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

    std::vector<std::string> foldersOf(const std::vector<std::string> &urls) const {
        std::vector<std::string> folders;
        folders.reserve(urls.size());
        for (const std::string &url : urls)
            folders.push_back(folderOf(url));
        return folders;
    }

private:
    std::string folderOf(std::string_view url) const {
        const auto found = m_firstByUrl.find(url);
        if (found == m_firstByUrl.end())
            return "";
        const HotFixPackageInfo &hotFix = *found->second;
        return hotFix.repost ? "repost/" + hotFix.productVer : hotFix.productVer;
    }

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

std::vector<std::string> PackageRecords::foldersOf(const std::vector<std::string> &urls) const {
    return m_freshInstallMode ? products()->foldersOf(urls) : hotFixes()->foldersOf(urls);
}

std::vector<std::string> PackageRecords::destinationsOf(const std::vector<std::string> &urls,
                                                        const std::string &folder) const {
    std::vector<std::string> paths = foldersOf(urls);
    for (std::size_t i = 0; i < urls.size(); ++i)
        paths[i] = destinationPath(folder, paths[i], afterLastSlash(urls[i]));
    return paths;
}

std::string PackageRecords::destinationOf(const std::string &url, const std::string &folder) const {
    return destinationsOf({url}, folder).front();
}

std::shared_ptr<const PackageRecords::Products> PackageRecords::products() const {
    const MutexLock lock(m_mutex);
    return m_productInfoList;
}

std::shared_ptr<const PackageRecords::HotFixes> PackageRecords::hotFixes() const {
    const MutexLock lock(m_mutex);
    return m_hotFixPackageList;
}
