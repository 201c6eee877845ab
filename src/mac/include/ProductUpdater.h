#pragma once

#include <atomic>
#include <string>

#include <boost/thread/mutex.hpp>

class DownloadController;

// What the command line sees of the engine. Creating and releasing it creates and releases the controller.
class ProductUpdater {
public:
    ProductUpdater();
    ~ProductUpdater();
    ProductUpdater(const ProductUpdater &) = delete;
    ProductUpdater &operator=(const ProductUpdater &) = delete;

    // The one facade, created at the first call; any thread may call. An exception while the controller is
    // created passes on and leaves no facade behind.
    static ProductUpdater *getInstance();
    // Destroys the facade and the controller; no thread may use either any more.
    static void releaseInstance();

    // Runs one step of a product update. Always 0: how it ended is in the log and in the files.
    int updateProduct(const std::string &currentVersion, const std::string &affiliateId,
                      const std::string &mode);
    // Always true; part of the facade's surface.
    bool isUpdateRequired(const std::string &currentVersion, const std::string &affiliateId) const;

private:
    static std::atomic<ProductUpdater *> m_pSelf;
    static boost::mutex m_instanceMutex;

    DownloadController *m_pDownloadController;
};
