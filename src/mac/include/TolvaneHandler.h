#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "Paths.h"
#include "ProductRequest.h"

class CBkModuleClnt;
class ISubInfo;

// The update service and the names in its reply.
extern const std::string &updateRequestURL;
extern const std::string &freshInstallRequestURL;
inline const std::string &keyProductResponse = constantText("/productresponse");
inline const std::string &keyResponseStatus = constantText("status");
inline const std::string &keyTolvaneErrorCode = constantText("/productresponse/error/errorcode");
inline const std::string &keyTolvaneErrorDetails = constantText("/productresponse/error/errordetail");

// Whether a product's configuration leaves its application id to the subscription: where it tells none, and
// for the two editions that nothing else tells apart.
bool isDecidedBySubscription(const std::string &configuredAppId);

// Asks the maker's update service which catalogs apply to this machine: gathers the parameters, posts the
// request over HTTPS and judges the reply.
//
// Used by one thread at a time. A handler serves one request: replies accumulate in it.
class TolvaneHandler {
public:
    TolvaneHandler() = default;
    ~TolvaneHandler() = default;
    TolvaneHandler(const TolvaneHandler &) = delete;
    TolvaneHandler &operator=(const TolvaneHandler &) = delete;

    // Both give the reply when it is judged a success, "" otherwise. A failed transfer leaves what
    // came of the reply, mostly nothing, and an empty one is judged a success: callers test the text for
    // emptiness.
    std::string sendTolvaneFreshInstallRequest();
    // The first argument is accepted and ignored (kept: the request does not carry the version).
    std::string sendTolvaneUpdateRequest(std::string currentVersion, std::string affiliateId,
                                         std::string coreReleaseVersion);
    // Whether a reply was judged a success; never reset.
    bool isTolvaneSucceed() const;

    // Posts the body and appends the reply. Gives libcurl's result code; the HTTP status does not matter.
    int sendTolvaneRequest(std::string body, std::string requestUrl);
    static std::size_t write_data(const void *data, std::size_t size, std::size_t count, std::string *output);
    bool processResponse(std::string reply);
    std::string getTolvaneRequestBody();

    void setTolvaneRequestParameter();
    void setTolvaneRequestParameterForFreshInstall();
    void getRequestParameterFromConfigurationPlist();
    // May correct the application id from the subscription database, in the configuration file too.
    void getRequestParameterFromProductConfigXmlForUpdate();
    // "major.minor.bugfix"
    std::string getOSVersion();
    std::string getRelNameFromProductConfig();

    // The application id that the subscription database calls for; "" when it cannot be told. All of
    // these throw std::invalid_argument or std::out_of_range on a package id that is not a number.
    std::string getAppIdForExistingCustomer();
    std::string getAppIdFromPkgId(int packageId);
    // Fields of the subscription database; "" when they cannot be read.
    std::string getPackageIdFromDB();
    std::string getFlexPackageIdFromDB();
    // Loads the subscription library and gives its information object, which the caller releases before
    // the client unloads the library.
    bool _CreateSubInfo(ISubInfo **subInfo, CBkModuleClnt &client);

    // Appends the pieces between the delimiters; a delimiter at the end adds no empty piece.
    void splitString(const std::string &text, char delimiter, std::vector<std::string> &pieces) const;

private:
    std::string sendAndJudge(const std::string &requestUrl);
    std::string appIdOfFlexiblePackage();
    std::string readDatabaseField(const char *wantedName);

    std::string affId = ProductRequest().affId;
    std::string langId = ProductRequest().langId;
    std::string osVersion;
    std::string relName = ProductRequest().relName;
    std::string coreRelVer;
    std::string partnerRelVer;
    std::string appId = "quaformac"; // comma-separated
    bool isFreshInstall = true;
    std::string response;
    bool succeeded = false;
};
