#include "FailingXmlAllocation.h"

#include <cstring>

#include <libxml/globals.h>
#include <libxml/xmlmemory.h>

namespace {

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
    return fails() ? nullptr : allocate(size);
}

void *resizeOrFail(void *memory, std::size_t size) {
    return fails() ? nullptr : resize(memory, size);
}

char *duplicateOrFail(const char *text) {
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
