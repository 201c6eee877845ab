#include "OsVersion.h"

#include <optional>
#include <string>
#include <system_error>

#include <sys/utsname.h>

#include "Paths.h"
#include "PropertyList.h"
#include "RegularFile.h"
#include "Version.h"

namespace {

std::string kernelRelease() {
    utsname system{};
    if (uname(&system) != 0)
        return "";
    return system.release;
}

// The kernel tells the version only where the system has no list of its own. A list that is there and does
// not tell it, or cannot be read, leaves it unknown: the kernel's numbers would be taken for those of a far
// later system.
std::string productVersion() {
    try {
        const std::optional<PropertyList> list = PropertyList::read(systemVersionPlistPath);
        if (list)
            return list->string("ProductVersion").value_or("");
    } catch (const std::system_error &) {
        return "";
    }
    return isAbsent(systemVersionPlistPath) ? kernelRelease() : "";
}

} // namespace

OsVersion readOsVersion() {
    const auto numbers = parseVersion(productVersion());
    return {numbers[0], numbers[1], numbers[2]};
}
