#include "JobTrace.h"

#include "ExpectedTrace.h"
#include "Observed.h"
#include "Release.h"
#include "TextFile.h"

namespace {

const std::string recording = ">INFO: Updating /tmp/configuratiob.plist : buildno and version \n";

const std::string noUpdate = ">No products found For Update\n" + tracedEnd;

bool isUpdate(const Job &job) {
    return job.task == Task::update;
}

// Its first product element, as the service sends it.
std::string productIn(const std::string &reply) {
    const std::size_t begin = reply.find("<product ");
    const std::string end = "</product>";
    return reply.substr(begin, reply.find(end) + end.size() - begin);
}

std::string catalogName(const Job &job) {
    return isUpdate(job) ? "core_maccat" : "One_maccat";
}

std::string urlsIn(const Job &job, const std::string &reply) {
    return tracedCatalogUrls(reply, productIn(reply), catalogName(job), catalogUrlOf(job));
}

std::string freshInstallAsking() {
    std::string body = plainRequestBody;
    const std::string version = "relver=\"1\"";
    for (std::size_t at = body.find(version); at != std::string::npos; at = body.find(version, at))
        body.replace(at, version.size(), "relver=\"\"");
    return ">INFO: Enter FreshInstall\n"
           ">INFO: Enter sendTolvaneFreshInstallRequest\n"
           ">INFO : Tolvane Handler - Creating Tolvane request body\n"
           ">INFO : Getting Local,Affid,AppId from configuration.plist\n"
           ">INFO : Getting OS version\n"
           ">INFO :Tolvane Request - " +
           body +
           "\n"
           ">INFO :Tolvane Handler - sendTolvaneRequest\n";
}

} // namespace

std::string transcriptOfOneJob() {
    std::string text = transcript();
    for (const char *outcome : {">INFO: Version and Build no Updated to plist successfully\n",
                                ">ERROR: Version and Build no Updated to plist Failed !\n"}) {
        const std::string record = recording + outcome;
        for (std::size_t at = text.find(record + record); at != std::string::npos;
             at = text.find(record + record))
            text.erase(at, record.size());
    }
    return text;
}

std::string tracedAsking(const Job &job) {
    return isUpdate(job) ? tracedStart("CheckForInstall") : freshInstallAsking();
}

std::string tracedReplyTo(const Job &job) {
    const std::string reply = readText("/srv/rehearsal/service/reply.xml");
    return tracedReply(reply) + tracedUpdateAvailable + urlsIn(job, reply);
}

std::string tracedNoReply(const Job &job) {
    return ">INFO :Tolvane Response - \n"
           ">INFO : Processing Tolvane Response\n" +
           tracedUpdateAvailable + ">ERROR Tolvane response\n" + (isUpdate(job) ? tracedEnd : "");
}

std::string tracedCatalogs(const Job &job, const std::string &transfer) {
    return tracedDownloads + tracedThreads(1) + transfer + tracedDownloads +
           (isUpdate(job) ? ">INFO : Getting Hotfix info\n" : ">INFO : Getting Package info\n");
}

std::string tracedCatalogs(const Job &job) {
    return tracedCatalogs(job, tracedCatalogSuccess(job)) +
           (isUpdate(job) ? ">INFO: UpdateManager - Getting list of Updates\n>INFO : Getting OS version\n"
                          : ">INFO: Getting downloaded package URLS\n");
}

std::string tracedPackages(const std::string &transfer) {
    return tracedDownloads + tracedThreads(1) + transfer;
}

std::string tracedOutcome(const Job &job, bool complete) {
    if (isUpdate(job))
        return complete ? tracedPlainConfiguration() + tracedEnd : ">ERROR: Download Failed\n" + tracedEnd;
    return complete ? recording + ">INFO: Version and Build no Updated to plist successfully\n" : "";
}

std::string tracedUntilPackage(const Job &job) {
    return tracedAsking(job) + tracedReplyTo(job) + tracedCatalogs(job);
}

std::string tracedEmptyCatalog(const Job &job, const std::string &transfer) {
    const std::string end = isUpdate(job) ? noUpdate
                                          : ">INFO: Getting downloaded package URLS\n"
                                            ">ERROR:  Package Missing\n"
                                            ">ERROR: Package Missing\n";
    return tracedAsking(job) + tracedReplyTo(job) + tracedCatalogs(job, transfer) + end;
}

std::string tracedMissingCatalog(const Job &job, const std::string &transfer) {
    return tracedAsking(job) + tracedReplyTo(job) + tracedCatalogs(job, transfer) +
           (isUpdate(job) ? noUpdate : ">ERROR: No products found For Fresh Install\n");
}

std::string tracedNoPackage(const Job &job, const std::string &transfer) {
    return tracedUntilPackage(job) + tracedPackages(transfer) + tracedOutcome(job, false);
}

std::string tracedComplete(const Job &job) {
    return tracedUntilPackage(job) + tracedPackages(tracedSuccess(job)) + tracedOutcome(job, true);
}

std::string tracedSuccess(const Job &job) {
    return tracedPackage(urlOf(job, "One.pkg"), pathIn(job, "One.pkg"));
}

std::string tracedCatalogSuccess(const Job &job) {
    return tracedStartOf(catalogUrlOf(job)) + ">Successfully downloaded: " + catalogUrlOf(job) + "\n";
}

std::string tracedStartOf(const std::string &url) {
    return ">INFO : Start download: " + url + "\n";
}

std::string tracedFailure(const std::string &url, int httpCode, int curlCode) {
    return tracedStartOf(url) + ">Error: HTTP response= " + std::to_string(httpCode) +
           " and CURL response = " + std::to_string(curlCode) + ", URL: " + url + "\n";
}

std::string tracedTimeout(const std::string &url) {
    return tracedStartOf(url) + ">Download Error: CURLE_OPERATION_TIMEDOUT URL: " + url + "\n";
}

std::string tracedUnopened(const std::string &path) {
    // In the order in which transcript() has them: what names no file comes first.
    return ">ERROR: Not able to initialize download helper\n"
           ">Error occurred in creating output file : " +
           path + " \n";
}

std::string catalogUrlOf(const Job &job) {
    return std::string(job.scheme) + "://" + std::string(job.catalogHost) + "/" + catalogName(job) + ".xml";
}

std::string catalogPathOf(const Job &job) {
    return "/usr/local/Brovik/TempDownload/Catalog/Core//" + catalogName(job) + ".xml";
}
