#include "HostEngine.h"

#include <stdexcept>

#include <dlfcn.h>

namespace {

template <typename Function>
Function *find(void *library, const char *name) {
    auto *found = reinterpret_cast<Function *>(dlsym(library, name));
    if (found == nullptr)
        throw std::runtime_error(name);
    return found;
}

} // namespace

HostEngine::HostEngine() {
    void *library = dlopen("/usr/local/Brovik/qrn/lib/libdownloadManager.so", RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr)
        throw std::runtime_error("no engine is installed");
    m_install = find<int()>(library, "FreshInstall");
    m_progress = find<void *()>(library, "GetDownloadProgressInfo");
}
