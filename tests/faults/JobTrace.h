// What the trace shows of a job that brings one package, "One.pkg", from one catalog: step by step, as
// transcriptOfOneJob() gives it. What a transfer itself shows is told by the caller.
#pragma once

#include <string>

#include "Job.h"

// The whole trace of a fresh installation or of a check. A host asks how far an installation is as often as
// it likes, and has the release recorded each time when all is complete: that is shown once.
std::string transcriptOfOneJob();

// Until the request is on its way to the service.
std::string tracedAsking(const Job &job);
// The service's reply, its verdict and the catalog's URL.
std::string tracedReplyTo(const Job &job);
// The same for a reply that did not come, until the end of the job.
std::string tracedNoReply(const Job &job);
// The download of the catalog, the partner's empty one, and what is made of them.
std::string tracedCatalogs(const Job &job, const std::string &transfer);
// Without trouble.
std::string tracedCatalogs(const Job &job);
std::string tracedPackages(const std::string &transfer);
std::string tracedOutcome(const Job &job, bool complete);

// Everything until the package's transfer begins.
std::string tracedUntilPackage(const Job &job);
// A job that ends with this transfer of the catalog: with an empty file in its place, or with none.
std::string tracedEmptyCatalog(const Job &job, const std::string &transfer);
std::string tracedMissingCatalog(const Job &job, const std::string &transfer);
// A job that ends with this transfer of the package.
std::string tracedNoPackage(const Job &job, const std::string &transfer);
// A job without trouble.
std::string tracedComplete(const Job &job);

// --- transfers

std::string tracedSuccess(const Job &job); // of the package
std::string tracedCatalogSuccess(const Job &job);
std::string tracedStartOf(const std::string &url);
std::string tracedFailure(const std::string &url, int httpCode, int curlCode);
std::string tracedTimeout(const std::string &url);
std::string tracedUnopened(const std::string &path);

std::string catalogUrlOf(const Job &job);
std::string catalogPathOf(const Job &job);
