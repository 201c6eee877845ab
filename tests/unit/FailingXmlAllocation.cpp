#include "FailingXmlAllocation.h"

#include <cstring>

#include <libxml/globals.h>
#include <libxml/xmlmemory.h>

// The leak checker's, where a program has one.
// NOLINTBEGIN(bugprone-reserved-identifier): its names
extern "C" {
void __lsan_disable() __attribute__((weak));
void __lsan_enable() __attribute__((weak));
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

// libxml2 itself loses some memory when it runs out of it.
class UncheckedAllocation {
public:
    UncheckedAllocation() {
        if (__lsan_disable != nullptr)
            __lsan_disable();
    }
    ~UncheckedAllocation() {
        if (__lsan_enable != nullptr)
            __lsan_enable();
    }
    UncheckedAllocation(const UncheckedAllocation &) = delete;
    UncheckedAllocation &operator=(const UncheckedAllocation &) = delete;
};

xmlFreeFunc release = nullptr;
xmlMallocFunc allocate = nullptr;
xmlReallocFunc resize = nullptr;
xmlStrdupFunc duplicate = nullptr;
long allocationsLeft = 0;
bool failsForGood = false;

bool fails() noexcept {
    const long left = allocationsLeft--;
    return left == 0 || (left < 0 && failsForGood);
}

void *allocateOrFail(std::size_t size) {
    const UncheckedAllocation unchecked;
    return fails() ? nullptr : allocate(size);
}

void *resizeOrFail(void *memory, std::size_t size) {
    const UncheckedAllocation unchecked;
    return fails() ? nullptr : resize(memory, size);
}

char *duplicateOrFail(const char *text) {
    const UncheckedAllocation unchecked;
    return fails() ? nullptr : duplicate(text);
}

} // namespace

FailingXmlAllocation::FailingXmlAllocation(std::size_t index, From from) noexcept {
    allocationsLeft = static_cast<long>(index);
    failsForGood = from == From::forGood;
    xmlMemGet(&release, &allocate, &resize, &duplicate);
    xmlMemSetup(release, allocateOrFail, resizeOrFail, duplicateOrFail);
}

FailingXmlAllocation::~FailingXmlAllocation() {
    xmlMemSetup(release, allocate, resize, duplicate);
}

bool FailingXmlAllocation::happened() const noexcept {
    return allocationsLeft < 0;
}
