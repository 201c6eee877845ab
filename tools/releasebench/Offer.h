// What the service and the catalogs tell a machine that asks, read by the engine's own code. Lint reads
// catalogs one by one (LintInput); whatever else is told of machines comes from here.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "CatalogParser.h"

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

// Gives a catalog's text; none when it could not be fetched.
using CatalogText = std::function<std::optional<std::string>(const OfferedCatalog &catalog)>;

// What a reply offers. Throws std::system_error when the temporary files that the engine reads cannot be
// made.
Offer offerOf(const std::string &reply, Job job, const CatalogText &textOf);

// The order of installation, as the engine reads it from a property list of that text. Throws as above.
std::vector<std::string> orderNamesIn(const std::string &propertyList);
