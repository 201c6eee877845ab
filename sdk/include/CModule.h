#pragma once

#include <memory>
#include <string>

// One dynamic library, unloaded when its owner goes away. Used by one thread.
class CModule {
public:
    CModule() = default;
    virtual ~CModule() = default;
    CModule(const CModule &) = delete;
    CModule &operator=(const CModule &) = delete;

    // Unloads the library held, if any; false when the new one cannot be loaded.
    bool Load(const std::string &path);
    virtual void Unload();

protected:
    // The address of an exported entry; null when no library is loaded or it has no such entry.
    void *entry(const char *name) const;

private:
    struct LibraryCloser {
        void operator()(void *handle) const noexcept;
    };

    std::unique_ptr<void, LibraryCloser> m_handle;
};
