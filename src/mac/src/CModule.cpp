#include "CModule.h"

#include <dlfcn.h>

void CModule::LibraryCloser::operator()(void *handle) const noexcept {
    static_cast<void>(dlclose(handle)); // a library that cannot be closed stays mapped, which harms nothing
}

bool CModule::Load(const std::string &path) {
    Unload();
    m_handle.reset(dlopen(path.c_str(), RTLD_LAZY));
    return m_handle != nullptr;
}

void CModule::Unload() {
    m_handle.reset();
}

void *CModule::entry(const char *name) const {
    return m_handle ? dlsym(m_handle.get(), name) : nullptr;
}
