#include "ExternalLibraries.h"

#include <curl/curl.h>
#include <libxml/parser.h>

namespace {

struct Libraries {
    Libraries() {
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
