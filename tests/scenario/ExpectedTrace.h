// Parts of the trace that scenarios have in common, as transcript() gives them.
#pragma once

#include <string>
#include <vector>

// The first lines of every run with three arguments.
std::string tracedStart(const std::string &mode);

inline const std::string tracedEnd = ">Product updater is exited\n";

// From the decision to ask the service until the request is on its way, for the product's shipped
// configuration.
std::string tracedRequest();
// The body of that request.
extern const std::string plainRequestBody;

// The reply of any status.
std::string tracedReply(const std::string &reply, int httpCode = 200);

inline const std::string tracedUpdateAvailable = ">INFO : TolvaneHandler - Update Available\n";

// From a reply that is accepted to the URLs of its catalogs, for the plain reply.
std::string tracedCatalogUrls(const std::string &reply);
// The same for another reply's one product with one catalog.
std::string tracedCatalogUrls(const std::string &reply, const std::string &product,
                              const std::string &catalogName, const std::string &catalogUrl);
// The beginning of that for any reply.
std::string tracedReplyParsing(const std::string &reply);

// The beginning of any group of downloads.
inline const std::string tracedDownloads = ">INFO: Download Start\n"
                                           ">INFO: Creating Download thread\n";

// The plain catalog alone, without trouble, and the partner's empty group after it.
extern const std::string tracedPlainCatalog;

inline const std::string tracedSelection = ">INFO : Getting Hotfix info\n"
                                           ">INFO: UpdateManager - Getting list of Updates\n"
                                           ">INFO : Getting OS version\n";

// All of a check for the plain reply until its packages are downloaded.
std::string tracedUntilPackages();

// One package of several: how many threads come to life, and what one without trouble says.
std::string tracedThreads(std::size_t count);
std::string tracedPackage(const std::string &url, const std::string &path);

// The preparation of the new configuration: element, value.
std::string tracedConfiguration(const std::vector<std::pair<std::string, std::string>> &values);
// The same for the plain reply and its hot-fixes' highest version and build.
std::string tracedPlainConfiguration(const std::string &version = "1.0.1.0",
                                     const std::string &build = "110");

// Where a package of the plain catalog is downloaded to.
std::string packagePath(const std::string &fileName, const std::string &version = "1.0.1.0");
