// Declarations of the CoreFoundation functions that the engine's macOS sources call, written from their
// public documentation, so that these sources can be type-checked on other systems. Nothing defines them.
#pragma once

#include <cstdint>

using Boolean = unsigned char;
using UInt8 = std::uint8_t;
using UInt32 = std::uint32_t;
using SInt32 = std::int32_t;

using CFIndex = long;
using CFTypeID = unsigned long;
using CFTypeRef = const void *;
using CFPropertyListRef = CFTypeRef;
using CFAllocatorRef = const struct CFAllocatorObject *;
using CFStringRef = const struct CFStringObject *;
using CFDataRef = const struct CFDataObject *;
using CFArrayRef = const struct CFArrayObject *;
using CFDictionaryRef = const struct CFDictionaryObject *;
using CFMutableDictionaryRef = struct CFDictionaryObject *;

using CFStringEncoding = UInt32;
constexpr CFStringEncoding kCFStringEncodingUTF8 = 0x08000100;
using CFOptionFlags = unsigned long;
constexpr CFOptionFlags kCFPropertyListImmutable = 0;

struct CFDictionaryKeyCallBacks;
struct CFDictionaryValueCallBacks;

extern "C" {
extern const CFAllocatorRef kCFAllocatorDefault;
extern const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;
extern const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;

void CFRelease(CFTypeRef object);
CFTypeID CFGetTypeID(CFTypeRef object);

CFTypeID CFStringGetTypeID(void);
CFStringEncoding CFStringGetSystemEncoding(void);
CFStringRef CFStringCreateWithCString(CFAllocatorRef allocator, const char *text, CFStringEncoding encoding);
CFIndex CFStringGetLength(CFStringRef string);
CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);
Boolean CFStringGetCString(CFStringRef string, char *buffer, CFIndex bufferSize, CFStringEncoding encoding);

CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8 *bytes, CFIndex length);
const UInt8 *CFDataGetBytePtr(CFDataRef data);
CFIndex CFDataGetLength(CFDataRef data);

CFTypeID CFArrayGetTypeID(void);
CFIndex CFArrayGetCount(CFArrayRef array);
const void *CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index);

CFTypeID CFDictionaryGetTypeID(void);
CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                 const CFDictionaryKeyCallBacks *keyCallBacks,
                                                 const CFDictionaryValueCallBacks *valueCallBacks);
CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                                     CFDictionaryRef dictionary);
const void *CFDictionaryGetValue(CFDictionaryRef dictionary, const void *key);
void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void *key, const void *value);

CFPropertyListRef CFPropertyListCreateFromXMLData(CFAllocatorRef allocator, CFDataRef xml,
                                                  CFOptionFlags mutability, CFStringRef *errorString);
CFDataRef CFPropertyListCreateXMLData(CFAllocatorRef allocator, CFPropertyListRef list);
}
