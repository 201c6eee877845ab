#include "ProductUpdater.h"

#include <csignal>
#include <cstdlib>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "DownloadController.h"
#include "OpenFileLimit.h"
#include "ThreadSafety.h"
#include "Trace.h"

std::atomic<ProductUpdater *> ProductUpdater::m_pSelf{nullptr};
boost::mutex ProductUpdater::m_instanceMutex;

ProductUpdater::ProductUpdater()
    : m_pDownloadController(DownloadController::getInstance()) {
}

ProductUpdater::~ProductUpdater() {
    if (m_pDownloadController != nullptr)
        DownloadController::releaseInstance();
}

ProductUpdater *ProductUpdater::getInstance() {
    if (ProductUpdater *self = m_pSelf)
        return self;
    const MutexLock lock(m_instanceMutex);
    if (m_pSelf == nullptr)
        m_pSelf = std::make_unique<ProductUpdater>().release();
    return m_pSelf;
}

void ProductUpdater::releaseInstance() {
    const MutexLock lock(m_instanceMutex);
    const std::unique_ptr<ProductUpdater> self(m_pSelf.exchange(nullptr));
}

int ProductUpdater::updateProduct(const std::string &currentVersion, const std::string &affiliateId,
                                  const std::string &mode) {
    // The result is dropped: outcomes are told by the trace and by the files that a step leaves.
    static_cast<void>(m_pDownloadController->productUpdate(currentVersion, affiliateId, mode));
    return 0;
}

bool ProductUpdater::isUpdateRequired(const std::string & /*currentVersion*/,
                                      const std::string & /*affiliateId*/) const {
    return true;
}

namespace {

// A starter may leave standard streams closed. The first files that are opened would take their places, and
// what is printed would go into the log.
void openStandardStreams() {
    int descriptor = 0;
    do
        descriptor = open("/dev/null", O_RDWR);
    while (descriptor != -1 && descriptor < STDERR_FILENO);
    if (descriptor > STDERR_FILENO)
        static_cast<void>(close(descriptor)); // nothing was written there
}

// A starter may allow everybody everything, the script that root runs included.
void keepFilesFromOtherWriters() {
    const mode_t starters = umask(S_IWGRP | S_IWOTH);
    static_cast<void>(umask(starters | S_IWGRP | S_IWOTH));
}

// A starter may have children ignored, and that is inherited: none could be waited for then.
void keepChildrenWaitable() {
    static_cast<void>(std::signal(SIGCHLD, SIG_DFL));
}

} // namespace

// The command line: the installed version, the affiliate id and the mode.
__attribute__((visibility("default"))) int main(int argc, char *argv[]) {
    openStandardStreams();
    keepFilesFromOtherWriters();
    keepChildrenWaitable();
    // Before the arguments are looked at, since creating the controller opens the trace.
    ProductUpdater *updater = ProductUpdater::getInstance();
    trace.info("Product updater is started\n");
    if (argc != 4) {
        trace.info("Product updater: Error - Arguments are missing\n");
        std::exit(-1);
    }
    trace.info("Product updater: CurProdVersion: %s CurProdAffId: %s\n", argv[1], argv[2]);
    const std::string mode = argv[3];
    // One thread per URL, each with a connection and a file: large releases need more than usual. A run that
    // installs hands its limits on to the suite's service, which must get the starter's.
    if (mode == "CheckForInstall")
        raiseOpenFileLimit();
    static_cast<void>(updater->updateProduct(argv[1], argv[2], mode));
    trace.info("Product updater is exited\n");
    ProductUpdater::releaseInstance();
    return 0;
}
