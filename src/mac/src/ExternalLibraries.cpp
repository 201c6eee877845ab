#include "ExternalLibraries.h"

#include <cstdint>

#include <curl/curl.h>
#include <dlfcn.h>
#include <libxml/parser.h>

namespace {

// A host may leave its main function while transfers run. Where libcurl brings OpenSSL, that would take away
// at the exit what the transfers use; its memory goes with the process anyway.
void keepTlsUntilTheEnd() {
    constexpr std::uint64_t noExitHandler = 0x00080000; // OPENSSL_INIT_NO_ATEXIT
    using Initialise = int (*)(std::uint64_t options, const void *settings);
    const auto initialise = reinterpret_cast<Initialise>(dlsym(RTLD_DEFAULT, "OPENSSL_init_crypto"));
    // Too late, and without effect, where the host has initialised it already.
    if (initialise != nullptr)
        static_cast<void>(initialise(noExitHandler, nullptr));
}

struct Libraries {
    Libraries() {
        keepTlsUntilTheEnd();
        // A failure shows where the first handle cannot be had, which is traced there.
        static_cast<void>(curl_global_init(CURL_GLOBAL_DEFAULT));
        xmlInitParser();
    }
};

} // namespace

void initialiseExternalLibraries() {
    // Never cleaned up: a host's threads may use the engine until the process ends.
    static const Libraries libraries;
}
