#include "Engine.h"

#include <memory>
#include <new>

#include <dlfcn.h>

namespace {

[[noreturn]] void fail() {
    const char *reason = dlerror(); // NOLINT(concurrency-mt-unsafe): no other thread loads libraries
    throw EngineUnusable(reason != nullptr ? reason : "the engine's library is not usable");
}

template <typename Function>
void find(void *library, const char *name, Function &function) {
    void *const address = dlsym(library, name);
    if (address == nullptr)
        fail();
    function = reinterpret_cast<Function>(address);
}

} // namespace

Engine::Engine(const std::string &library) {
    void *const handle = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (handle == nullptr)
        fail();
    find(handle, "FreshInstall", m_freshInstall);
    find(handle, "GetDownloadProgressInfo", m_getDownloadProgressInfo);
    find(handle, "GetDownloadedPackages", m_getDownloadedPackages);
    find(handle, "RetryDownloadPackages", m_retryDownloadPackages);
    find(handle, "GetHashValue", m_getHashValue);
    static_cast<void>(progress()); // the first call, for what it does to the engine
}

bool Engine::freshInstall() {
    return m_freshInstall() == 0;
}

void Engine::retry() {
    m_retryDownloadPackages();
}

DownloadProgressInfo Engine::progress() const {
    const std::unique_ptr<DownloadProgressInfo> record(
        static_cast<DownloadProgressInfo *>(m_getDownloadProgressInfo()));
    if (!record)
        throw std::bad_alloc();
    return *record;
}

std::vector<std::string> Engine::packages() const {
    const std::unique_ptr<char[]> text(m_getDownloadedPackages());
    if (!text)
        throw std::bad_alloc();
    return splitPackages(text.get());
}

std::string Engine::expectedHash(const std::string &path) const {
    return m_getHashValue(fileName(path).c_str());
}

std::string fileName(const std::string &path) {
    return path.substr(path.rfind('/') + 1);
}

std::vector<std::string> splitPackages(const std::string &text) {
    static const std::string end = "!:";
    std::vector<std::string> paths;
    std::size_t begin = 0;
    for (std::size_t found = text.find(end); found != std::string::npos; found = text.find(end, begin)) {
        paths.push_back(text.substr(begin, found - begin));
        begin = found + end.size();
    }
    return paths;
}
