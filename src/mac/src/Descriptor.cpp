#include "Descriptor.h"

#include <utility>

#include <unistd.h>

Descriptor::~Descriptor() {
    // Whoever has written something closes it and looks at the result.
    static_cast<void>(close());
}

Descriptor::Descriptor(Descriptor &&other) noexcept
    : m_number(std::exchange(other.m_number, -1)) {
}

bool Descriptor::close() noexcept {
    const int number = std::exchange(m_number, -1);
    return number < 0 || ::close(number) == 0;
}
