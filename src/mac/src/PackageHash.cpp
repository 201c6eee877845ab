#include "PackageHash.h"

#include <optional>

#include "Paths.h"
#include "ShellPipe.h"
#include "Trace.h"

namespace {

// ASCII letters only, whatever the locale.
std::string toUpperCase(std::string text) {
    for (char &character : text) {
        if (character >= 'a' && character <= 'z')
            character = static_cast<char>(character - 'a' + 'A');
    }
    return text;
}

// The first word of what the tool prints; none when it prints nothing.
std::optional<std::string> hashOf(const std::string &file) {
    ShellPipe pipe(std::string(hashToolPath) + " " + file + " | awk '{print $1}'");
    std::optional<std::string> line = pipe.readLine();
    if (line && !line->empty() && line->back() == '\n')
        line->pop_back();
    return line;
}

} // namespace

bool hasPackageHash(const std::string &file, const std::string &expectedHash) {
    trace.info("INFO: Checking HashSUM : %s\n", file.c_str());
    const std::optional<std::string> hash = hashOf(file);
    if (!hash) {
        trace.error("Error: Failed to get Hashsum of %s\n", file.c_str());
        return false;
    }
    // The catalogs give the hash in upper case; one in lower case never matches (kept).
    if (toUpperCase(*hash) != expectedHash) {
        trace.error("Error: Hash mismatch : %s\n", file.c_str());
        return false;
    }
    trace.info("INFO:Success Checking HashSUM : %s\n", file.c_str());
    return true;
}
