#include "OsVersion.h"

#include <CoreServices/CoreServices.h>

// Later systems call Gestalt obsolete; the oldest one served has nothing else.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace {

std::int32_t numberOf(OSType selector) {
    SInt32 number = 0;
    if (Gestalt(selector, &number) != noErr)
        return 0;
    return static_cast<std::int32_t>(number);
}

} // namespace

OsVersion readOsVersion() {
    return {numberOf(gestaltSystemVersionMajor), numberOf(gestaltSystemVersionMinor),
            numberOf(gestaltSystemVersionBugFix)};
}
