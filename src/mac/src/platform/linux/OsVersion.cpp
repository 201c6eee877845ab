#include "OsVersion.h"

#include <optional>
#include <string>

#include <sys/utsname.h>

#include "Paths.h"
#include "PropertyList.h"
#include "Version.h"

namespace {

std::string kernelRelease() {
    utsname system{};
    if (uname(&system) != 0)
        return "";
    return system.release;
}

std::string productVersion() {
    const std::optional<PropertyList> list = PropertyList::read(systemVersionPlistPath);
    if (!list)
        return kernelRelease();
    return list->string("ProductVersion").value_or(kernelRelease());
}

} // namespace

OsVersion readOsVersion() {
    const auto numbers = parseVersion(productVersion());
    return {numbers[0], numbers[1], numbers[2]};
}
