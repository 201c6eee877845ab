#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "CatalogParser.h"
#include "ThreadSafety.h"

// What the catalogs of the current job say of packages, found by a download's URL. A fresh installation asks
// for products, an update for hot-fixes.
//
// Threads: every operation may be called by any thread; none searches while it holds the lock.
class PackageRecords {
public:
    PackageRecords();
    ~PackageRecords();
    PackageRecords(const PackageRecords &) = delete;
    PackageRecords &operator=(const PackageRecords &) = delete;

    void setFreshInstallMode(bool isFresh) noexcept { m_freshInstallMode = isFresh; }
    bool isFreshInstallMode() const noexcept { return m_freshInstallMode; }
    void setProducts(std::vector<ProductInfo> products);
    void setHotFixes(std::vector<HotFixPackageInfo> hotFixes);

    // The hash of the first product whose name occurs anywhere in the URL, or of the first hot-fix with just
    // this URL; "" when there is none.
    std::string hashOf(const std::string &url) const;
    // The sub-folder of each download: the version of the first product whose URL contains the file name, or
    // the one that the first hot-fix with just this URL brings, below "repost" for one that the suite's
    // service installs later; "" for a file that no catalog lists.
    std::vector<std::string> foldersOf(const std::vector<std::string> &urls) const;
    // Where each download goes below a folder. Throws std::invalid_argument when no command may name one of
    // these paths.
    std::vector<std::string> destinationsOf(const std::vector<std::string> &urls,
                                            const std::string &folder) const;
    std::string destinationOf(const std::string &url, const std::string &folder) const;

private:
    class Products;
    class HotFixes;
    std::shared_ptr<const Products> products() const;
    std::shared_ptr<const HotFixes> hotFixes() const;

    std::atomic<bool> m_freshInstallMode{true};
    mutable boost::mutex m_mutex;
    // Never null, and never changed once they are here.
    std::shared_ptr<const Products> m_productInfoList GUARDED_BY(m_mutex);
    std::shared_ptr<const HotFixes> m_hotFixPackageList GUARDED_BY(m_mutex);
};
