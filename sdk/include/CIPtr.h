#pragma once

#include <utility>

// Holds one reference to an interface and releases it on scope exit.
template <typename Interface>
class CIPtr {
public:
    CIPtr() = default;
    explicit CIPtr(Interface *interface)
        : m_interface(interface) {}
    ~CIPtr() { reset(); }
    CIPtr(const CIPtr &) = delete;
    CIPtr &operator=(const CIPtr &) = delete;

    void reset(Interface *interface = nullptr) {
        if (m_interface != nullptr)
            m_interface->Release();
        m_interface = interface;
    }
    // Hands the reference on.
    Interface *release() noexcept { return std::exchange(m_interface, nullptr); }
    void swap(CIPtr &other) noexcept { std::swap(m_interface, other.m_interface); }
    // Where an operation stores the reference that it hands over.
    Interface **receive() {
        reset();
        return &m_interface;
    }

    explicit operator bool() const { return m_interface != nullptr; }
    Interface *operator->() const { return m_interface; }
    Interface &operator*() const { return *m_interface; }

private:
    Interface *m_interface = nullptr;
};
