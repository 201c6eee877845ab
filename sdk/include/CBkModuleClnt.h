#pragma once

#include <string>

#include "CIPtr.h"
#include "CModule.h"

// Makes the objects of one module of the suite.
class IClassFactory {
public:
    // Makes the object registered under a key. Negative, and a null object, when there is none.
    virtual int CreateObject(const char *key, int interfaceId, void **object) = 0;
    virtual void Release() = 0;

protected:
    ~IClassFactory() = default;
};

// A module of the suite and its class factory. Whoever has an object of the module releases it before the
// client unloads the module. Used by one thread.
class CBkModuleClnt : public CModule {
public:
    CBkModuleClnt() = default;
    // Releases the class factory, then unloads the module.
    ~CBkModuleClnt() override = default;
    CBkModuleClnt(const CBkModuleClnt &) = delete;
    CBkModuleClnt &operator=(const CBkModuleClnt &) = delete;

    // Loads the module and obtains its class factory through the entry "GCF".
    bool Init(const std::string &path);
    // Releases the class factory first: its code goes with the module.
    void Unload() override;

    // Makes the object registered under a key, which the caller releases; false, and null, when there is
    // none.
    template <typename Interface>
    bool CreateObject(const char *key, Interface **object) {
        void *made = nullptr;
        const bool done = m_factory && m_factory->CreateObject(key, Interface::interfaceId, &made) >= 0;
        CIPtr<Interface> owned(static_cast<Interface *>(made));
        // An object that comes with a failure is released.
        *object = done ? owned.release() : nullptr;
        return *object != nullptr;
    }

private:
    CIPtr<IClassFactory> m_factory;
};
