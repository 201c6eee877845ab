#include "CBkModuleClnt.h"

bool CBkModuleClnt::Init(const std::string &path) {
    if (!Load(path))
        return false;
    using GetClassFactory = int (*)(IClassFactory * *factory);
    const auto getClassFactory = reinterpret_cast<GetClassFactory>(entry("GCF"));
    if (getClassFactory == nullptr)
        return false;
    IClassFactory *factory = nullptr;
    if (getClassFactory(&factory) != 0)
        return false;
    m_factory.reset(factory);
    return factory != nullptr;
}

void CBkModuleClnt::Unload() {
    m_factory.reset();
    CModule::Unload();
}
