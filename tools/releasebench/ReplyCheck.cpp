#include "ReplyCheck.h"

#include <algorithm>
#include <list>
#include <map>
#include <vector>

#include <curl/curl.h>

#include "CurlEasy.h"
#include "HttpAsk.h"
#include "OwnStreams.h"
#include "ProductRequest.h"
#include "Publication.h"
#include "ReleaseRecord.h"
#include "ServiceReply.h"
#include "Text.h"
#include "TextList.h"
#include "TolvaneHandler.h"

namespace {

// What the engine takes from a reply.
struct ReadReply {
    bool isAnswered = false;
    std::vector<std::string> core; // URLs of catalogs
    std::vector<std::string> partner;
    std::string releaseName;
    std::string coreVersion;
    std::string partnerVersion;
};

std::vector<std::string> textsOf(std::list<const char *> &&texts) {
    OwnedTexts owned(std::move(texts));
    return {owned.list().begin(), owned.list().end()};
}

ReadReply readBack(const std::string &reply) {
    const OwnStreams quiet; // the engine prints what it reads
    ReadReply read;
    // An empty reply is judged a success, and nothing comes of it.
    read.isAnswered = TolvaneHandler().processResponse(reply) && !reply.empty();
    if (!read.isAnswered)
        return read;
    ReleaseRecord record;
    std::map<std::string, std::list<const char *>> urls = CatalogParser(record).getCatalogUrls(reply);
    read.core = textsOf(std::move(urls["Core"]));
    read.partner = textsOf(std::move(urls["Partner"]));
    read.releaseName = record.getRelName();
    read.coreVersion = record.getCoreReleaseVer();
    read.partnerVersion = record.getPartnerReleaseVer();
    return read;
}

// As the service is asked: of an update's affiliate id what is before its first "-".
std::string affiliateOf(const ServiceRequest &request) {
    const std::string &affiliate = request.asker.affiliate;
    return request.job == Job::update ? upToDash(affiliate) : affiliate;
}

std::vector<std::string> applicationsOf(const ServiceRequest &request) {
    std::vector<std::string> ids;
    TolvaneHandler().splitString(request.asker.application, ',', ids);
    return ids;
}

std::string joined(const std::vector<std::string> &texts) {
    std::string all;
    for (const std::string &text : texts)
        all += (all.empty() ? "" : ", ") + text;
    return all.empty() ? "none" : all;
}

void compareValue(const char *what, const std::string &got, const std::string &expected, ServerCheck &check) {
    if (got != expected)
        check.find("reply-release", std::string(what) + " \"" + got + "\" instead of \"" + expected + "\"");
}

void compareCatalogs(const char *group, const std::vector<std::string> &got,
                     const std::vector<std::string> &expected, ServerCheck &check) {
    if (got != expected)
        check.find("reply-catalogs",
                   std::string(group) + " catalogs " + joined(got) + " instead of " + joined(expected));
}

} // namespace

std::string serviceUrl(Job job, const std::string &otherService) {
    const std::string &own = job == Job::update ? updateRequestURL : freshInstallRequestURL;
    if (otherService.empty())
        return own;
    const std::size_t host = own.find("//") + 2;
    const std::string base = otherService.substr(0, otherService.find_last_not_of('/') + 1);
    return base + own.substr(own.find('/', host));
}

ServiceAnswer askService(const ServiceRequest &request, const AskingTime &time) {
    ProductRequest question;
    question.affId = affiliateOf(request);
    question.osVersion = request.system;
    question.relName = request.releaseName;
    if (request.job == Job::update)
        question.coreRelVer = "1"; // whatever is installed
    question.appIds = applicationsOf(request);

    ServiceAnswer answer;
    const CurlEasy curl = makeCurlEasy();
    if (!curl)
        return {"libcurl gives no handle", 0, ""};
    constexpr long millisecondsPerSecond = 1000;
    const long left = millisecondsLeft(time) / millisecondsPerSecond + 1;
    const long seconds = std::min({requestTimeoutSeconds, static_cast<long>(time.each.count()), left});
    const std::string body = productRequestBody(question);
    const int result = postProductRequest(curl, body, request.url, seconds, answer.reply);
    if (result != CURLE_OK)
        answer.failure = failureText(result, "");
    // Without an answer there is no status, and 0 stays.
    static_cast<void>(curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &answer.status));
    return answer;
}

ServerCheck checkReply(const ServiceRequest &request, const ServiceAnswer &answer, const Release &release) {
    const bool isUpdate = request.job == Job::update;
    ServerCheck check{"reply",
                      std::string(isUpdate ? "update" : "fresh installation") + " of affiliate " +
                          request.asker.affiliate + ", application " + request.asker.application + " by " +
                          request.url,
                      {},
                      {}};
    if (!answer.failure.empty()) {
        check.find("unreachable", answer.failure);
        return check;
    }
    check.facts.push_back("HTTP " + std::to_string(answer.status)); // which the engine does not look at
    const ReadReply got = readBack(answer.reply);
    const ReadReply expected = readBack(
        serviceReply(releasesXml(release), {affiliateOf(request), applicationsOf(request)}).value_or(""));
    if (!expected.isAnswered && !got.isAnswered) {
        check.facts.emplace_back("nothing for it");
        return check;
    }
    if (!got.isAnswered) {
        check.find("reply-refused",
                   "the engine takes the reply for none, it should name " + joined(expected.core));
        return check;
    }
    compareCatalogs("core", got.core, expected.core, check);
    compareCatalogs("partner", got.partner, expected.partner, check);
    compareValue("the release", got.releaseName, expected.releaseName, check);
    compareValue("the core release's version", got.coreVersion, expected.coreVersion, check);
    compareValue("the partner release's version", got.partnerVersion, expected.partnerVersion, check);
    check.facts.push_back(std::to_string(got.core.size()) + " core and " +
                          std::to_string(got.partner.size()) + " partner catalogs");
    return check;
}
