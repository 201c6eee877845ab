#include "Descriptor.h"

#include <unistd.h>

Descriptor::~Descriptor() {
    // Nothing was written through it that could be lost.
    if (isOpen())
        static_cast<void>(close(m_number));
}
