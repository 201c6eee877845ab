#include "PropertyList.h"

#include <new>
#include <type_traits>

#include <CoreFoundation/CoreFoundation.h>

// Later systems call these functions obsolete; the oldest one served has nothing else.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace {

struct CfDeleter {
    void operator()(CFTypeRef object) const noexcept { CFRelease(object); }
};

// Owns one reference to a CoreFoundation object.
template <typename Ref>
using Cf = std::unique_ptr<std::remove_pointer_t<Ref>, CfDeleter>;

// The text in the system's own encoding; null when it is not valid there.
Cf<CFStringRef> makeString(const std::string &text) {
    return Cf<CFStringRef>(
        CFStringCreateWithCString(kCFAllocatorDefault, text.c_str(), CFStringGetSystemEncoding()));
}

std::optional<std::string> textOf(const void *value, CFStringEncoding encoding) {
    if (value == nullptr || CFGetTypeID(value) != CFStringGetTypeID())
        return std::nullopt;
    const auto string = static_cast<CFStringRef>(value);
    const CFIndex size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(string), encoding) + 1;
    std::vector<char> buffer(static_cast<std::size_t>(size));
    if (CFStringGetCString(string, buffer.data(), size, encoding) == 0)
        return std::nullopt;
    return std::string(buffer.data());
}

template <typename Ref>
Cf<Ref> orThrow(Cf<Ref> made) {
    if (!made)
        throw std::bad_alloc();
    return made;
}

Cf<CFPropertyListRef> parse(CFDataRef data) {
    CFStringRef message = nullptr;
    Cf<CFPropertyListRef> list(
        CFPropertyListCreateFromXMLData(kCFAllocatorDefault, data, kCFPropertyListImmutable, &message));
    const Cf<CFStringRef> owner(message);
    return list;
}

Cf<CFMutableDictionaryRef> makeDictionary() {
    return orThrow<CFMutableDictionaryRef>(Cf<CFMutableDictionaryRef>(CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks)));
}

const void *valueOf(CFDictionaryRef dictionary, const std::string &key) {
    const auto keyText = makeString(key);
    return keyText ? CFDictionaryGetValue(dictionary, keyText.get()) : nullptr;
}

// A text that the system's encoding cannot hold leaves its entry out.
void setValue(CFMutableDictionaryRef dictionary, const std::string &key, const void *value) {
    const auto keyText = makeString(key);
    if (keyText && value != nullptr)
        CFDictionarySetValue(dictionary, keyText.get(), value);
}

} // namespace

struct PropertyList::Dictionary {
    Cf<CFMutableDictionaryRef> root;
};

PropertyList::PropertyList()
    : m_dictionary(std::make_unique<Dictionary>(Dictionary{makeDictionary()})) {
}

PropertyList::~PropertyList() = default;
PropertyList::PropertyList(PropertyList &&other) noexcept = default;
PropertyList &PropertyList::operator=(PropertyList &&other) noexcept = default;

// The file was read beforehand and not by CFURLCreateDataAndPropertiesFromResource, which waits for whoever
// writes to a FIFO, follows links and reads without bound.
std::optional<PropertyList> PropertyList::fromXml(const std::string &xml) {
    const auto data = orThrow<CFDataRef>(Cf<CFDataRef>(CFDataCreate(
        kCFAllocatorDefault, reinterpret_cast<const UInt8 *>(xml.data()), static_cast<CFIndex>(xml.size()))));
    const auto root = parse(data.get());
    if (!root || CFGetTypeID(root.get()) != CFDictionaryGetTypeID())
        return std::nullopt;
    const auto dictionary = static_cast<CFDictionaryRef>(root.get());
    PropertyList list;
    list.m_dictionary->root = orThrow<CFMutableDictionaryRef>(
        Cf<CFMutableDictionaryRef>(CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, dictionary)));
    return list;
}

void PropertyList::setDictionary(const std::string &key,
                                 const std::vector<std::pair<std::string, std::string>> &entries) {
    const auto dictionary = makeDictionary();
    for (const auto &[name, text] : entries)
        setValue(dictionary.get(), name, makeString(text).get());
    setValue(m_dictionary->root.get(), key, dictionary.get());
}

std::optional<std::string> PropertyList::toXml() const {
    const Cf<CFDataRef> xml(CFPropertyListCreateXMLData(kCFAllocatorDefault, m_dictionary->root.get()));
    if (!xml)
        return std::nullopt;
    return std::string(CFDataGetBytePtr(xml.get()), CFDataGetBytePtr(xml.get()) + CFDataGetLength(xml.get()));
}

std::optional<std::string> PropertyList::string(const std::string &key) const {
    return textOf(valueOf(m_dictionary->root.get(), key), CFStringGetSystemEncoding());
}

std::optional<std::vector<std::string>> PropertyList::strings(const std::string &key) const {
    const void *value = valueOf(m_dictionary->root.get(), key);
    if (value == nullptr || CFGetTypeID(value) != CFArrayGetTypeID())
        return std::nullopt;
    const auto array = static_cast<CFArrayRef>(value);
    std::vector<std::string> texts;
    for (CFIndex index = 0; index < CFArrayGetCount(array); ++index) {
        if (std::optional<std::string> text =
                textOf(CFArrayGetValueAtIndex(array, index), kCFStringEncodingUTF8))
            texts.push_back(std::move(*text));
    }
    return texts;
}
