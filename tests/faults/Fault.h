// Faults as rows of tables: each is a case of its own for every job that meets it, named SUITE.FAULT/JOB.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "Job.h"
#include "JobTrace.h"
#include "Recovery.h"

// Texts of tables may hold {url} and {path} of the package "One.pkg", {catalogUrl}, {catalog} (its path on
// the host) and {catalogFile} (where it is downloaded to) of its catalog, and {service}, the path and query
// that the job asks the service for.
std::string filledIn(std::string text, const Job &job);

// What the servers do wrong.
struct Trouble {
    std::string script;                     // see misbehave()
    std::map<std::string, std::string> raw; // bytes that are sent as they are, by their name in the script
    std::map<std::string, std::string> files = {}; // more that the scripted host serves, by name
};
void makeTrouble(const Job &job, const Trouble &trouble);

// "One.pkg" of all jobs.
extern const Packages onePackage;
std::string onePackageContent();

// The trace's part behind the first or the last place where a text stands; all of it when it stands nowhere.
std::string tracedSinceFirst(const std::string &text);
std::string tracedSinceLast(const std::string &text);

// Lines of transfers, to be filled in.
namespace Lines {

inline const std::string thread = ">INFO : DownloadController::downLoadThreadEntry\n";
inline const std::string started = ">INFO : Start download: {url}\n";
inline const std::string checking = ">INFO: Checking HashSUM : {path}\n";
inline const std::string matches = ">INFO:Success Checking HashSUM : {path}\n";
inline const std::string mismatch = ">Error: Hash mismatch : {path}\n";
inline const std::string downloaded = ">Successfully downloaded: {url}\n";
inline const std::string again = ">Resume Download: {url}\n>INFO : Start download: {url}\n";
inline const std::string partial =
    ">ERROR : Download Failed with CURL error code CURLE_PARTIAL_FILE for {url}\n";
inline const std::string timedOut = ">Download Error: CURLE_OPERATION_TIMEDOUT URL: {url}\n";
inline const std::string notThisTime = ">ERROR : Download Failed: {url}\n";
inline const std::string givenUp = ">ERROR: Exit maximum no of Checking HashSUM : {path}\n";

// One wrong package and then a good one; three of them.
inline const std::string goodTheSecondTime =
    started + checking + mismatch + again + checking + matches + downloaded + notThisTime;
inline const std::string givenUpAtLast = started + checking + mismatch + again + checking + mismatch + again +
                                         givenUp + notThisTime + notThisTime + notThisTime;
// Broken off once.
inline const std::string resumed = started + partial + again + checking + matches + downloaded;
inline const std::string fetched = started + checking + matches + downloaded;

inline std::string failedWith(int httpCode, int curlCode) {
    return ">Error: HTTP response= " + std::to_string(httpCode) +
           " and CURL response = " + std::to_string(curlCode) + ", URL: {url}\n";
}

} // namespace Lines

// The head of an answer that is sent as it is: its status line's end, and its headers.
std::string head(const std::string &lines);
std::string headWithLength(const std::string &length);

// The same lines of the job's catalog.
std::string ofCatalog(std::string lines);

// The end of a job whose only catalog says nothing.
std::string tracedWithoutCatalog(const Job &job);

const std::vector<Job> &allJobs();
// Each task and each protocol once, for what is the same code in all of them.
const std::vector<Job> &jobsByBoth();
const std::vector<Job> &httpsJobs();

// A case for each job. To be called before main.
void registerFault(const char *suite, const std::string &name, const std::vector<Job> &jobs,
                   const std::function<void(const Job &)> &body);

// Without the trouble the same job completes.
void expectCompleteOnceItIsGone(const Job &job);
