// A file descriptor that is closed when its owner goes away.
#pragma once

class Descriptor {
public:
    Descriptor() = default;
    // Negative for none.
    explicit Descriptor(int number) noexcept
        : m_number(number) {}
    ~Descriptor();
    Descriptor(Descriptor &&other) noexcept;
    Descriptor &operator=(Descriptor &&other) = delete;
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    explicit operator bool() const noexcept { return m_number >= 0; }
    int number() const noexcept { return m_number; }
    // Closes it now; false when the system tells that what was written could not be kept.
    bool close() noexcept;

private:
    int m_number = -1;
};
