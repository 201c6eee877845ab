// Declarations of what the engine's macOS sources use of CoreServices, written from its public
// documentation, so that these sources can be type-checked on other systems. Nothing defines them.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

using OSErr = std::int16_t;
using OSType = UInt32;

enum : OSErr { noErr = 0 };
enum : OSType {
    gestaltSystemVersionMajor = 0x73797331,  // "sys1"
    gestaltSystemVersionMinor = 0x73797332,  // "sys2"
    gestaltSystemVersionBugFix = 0x73797333, // "sys3"
};

extern "C" OSErr Gestalt(OSType selector, SInt32 *response);
