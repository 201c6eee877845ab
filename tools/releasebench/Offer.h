// What the service and the catalogs tell a machine that asks, read by the engine's own code. Lint reads
// catalogs one by one (LintInput); whatever else is told of machines comes from here.
#pragma once

#include <string>
#include <vector>

#include "CatalogParser.h"
#include "Release.h"

enum class Job { update, freshInstall };

// Who asks, as its configuration says it.
struct Asker {
    std::string affiliate;   // of which an update counts what is before its first "-"
    std::string application; // ids with "," between them
};

struct OfferedCatalog {
    std::string group; // "Core" or "Partner"
    std::string url;
    // On the machine; "" when none of its group is fetched, since no command may name one of them.
    std::string path;
};

struct Offer {
    bool isAnswered = false; // by a reply that the engine goes on with
    std::string releaseName;
    std::string coreVersion;
    std::string partnerVersion;
    std::string brandingBuild;
    std::vector<OfferedCatalog> catalogs;
    std::vector<HotFixPackageInfo> hotFixes; // for an update
    std::vector<ProductInfo> products;       // for a fresh installation
};

// A package's hash is the name of its file here. Throws std::system_error when the temporary files that the
// engine reads cannot be made.
Offer offerTo(const Asker &asker, const Release &release, Job job);

// The order of installation, as the engine reads it from the property list that the release ships. Throws
// std::system_error as above.
std::vector<std::string> orderNamesOf(const Release &release);

// The first who is asked for by a release.
Asker firstAsker(const Release &release);
