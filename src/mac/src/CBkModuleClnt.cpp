#include "CBkModuleClnt.h"

bool CBkModuleClnt::Init(const std::string &path) {
    if (!Load(path))
        return false;
    using GetClassFactory = int (*)(IClassFactory * *factory);
    const auto getClassFactory = reinterpret_cast<GetClassFactory>(entry("GCF"));
    if (getClassFactory == nullptr)
        return false;
    // A factory that comes with a failure is released like any other.
    CIPtr<IClassFactory> factory;
    if (getClassFactory(factory.receive()) != 0 || !factory)
        return false;
    m_factory.swap(factory);
    return true;
}

void CBkModuleClnt::Unload() {
    m_factory.reset();
    CModule::Unload();
}
