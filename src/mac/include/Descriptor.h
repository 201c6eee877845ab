#pragma once

#include <utility>

// An open file descriptor, closed when its owner goes away; -1 is none.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int number) noexcept
        : m_number(number) {}
    ~Descriptor();
    Descriptor(Descriptor &&other) noexcept
        : m_number(std::exchange(other.m_number, -1)) {}
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    Descriptor &operator=(Descriptor &&) = delete;

    int number() const noexcept { return m_number; }
    bool isOpen() const noexcept { return m_number != -1; }

private:
    int m_number = -1;
};
