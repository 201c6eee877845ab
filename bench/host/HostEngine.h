#pragma once

#include <memory>

#include "downloadManager.h"

// The engine as a host has it: loaded from where the suite installs it, known by its five functions alone.
class HostEngine {
public:
    // Throws std::runtime_error when there is none.
    HostEngine();

    bool install() const { return m_install() == 0; }
    std::unique_ptr<DownloadProgressInfo> progress() const {
        return std::unique_ptr<DownloadProgressInfo>(static_cast<DownloadProgressInfo *>(m_progress()));
    }

private:
    int (*m_install)();
    void *(*m_progress)();
};
