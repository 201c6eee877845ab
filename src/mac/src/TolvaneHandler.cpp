#include "TolvaneHandler.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <optional>
#include <sstream>
#include <system_error>

#include <curl/curl.h>

#include "CBkModuleClnt.h"
#include "CIPtr.h"
#include "CurlEasy.h"
#include "File.h"
#include "ISubInfo.h"
#include "LibXmlWrapper.h"
#include "Numbers.h"
#include "OsVersion.h"
#include "ProductConfiguration.h"
#include "PropertyList.h"
#include "SubscriptionSection.h"
#include "Trace.h"

#ifndef UPDATE_SERVICE_HOST
#define UPDATE_SERVICE_HOST "update.brovik.example"
#endif

const std::string &updateRequestURL =
    constantText("https://" UPDATE_SERVICE_HOST "/velbrin/1.0.0.0/?reqtype=mac_update");
const std::string &freshInstallRequestURL =
    constantText("https://" UPDATE_SERVICE_HOST "/velbrin/1.0.0.0/?reqtype=mac_web");

namespace {

// The installer's programs read these texts into a buffer of 1024 bytes, zero included.
constexpr std::size_t longestPlistText = 1023;
constexpr int subscriptionSection = 4;

struct PackageAppId {
    int packageId;
    const char *appId;
};

// Package 398 is not here: its application id depends on the flexible package id too.
constexpr PackageAppId packageAppIds[] = {
    {356, "pxbasicformac"},    {358, "quaformac"},    {392, "quaformac"}, {413, "quaformac"},
    {428, "pxquibasicformac"}, {433, "quoformac"},    {446, "quiformac"}, {456, "quiformac"},
    {888, "pxquiteamformac"},  {999, "pxteamformac"},
};
constexpr int flexiblePackageId = 398;

std::string plistText(const PropertyList &list, const std::string &key) {
    std::string text = list.string(key).value_or("");
    return text.size() > longestPlistText ? "" : text;
}

bool appIdMarkerExists() {
    return File(std::fopen(appIdMarkerPath, "r")) != nullptr;
}

// Without the marker the next request reconciles the application id again, so a failure heals itself.
void createAppIdMarker() {
    const File marker(std::fopen(appIdMarkerPath, "w+"));
}

} // namespace

std::string TolvaneHandler::sendTolvaneFreshInstallRequest() {
    trace.info("INFO: Enter sendTolvaneFreshInstallRequest\n");
    isFreshInstall = true;
    return sendAndJudge(freshInstallRequestURL);
}

std::string TolvaneHandler::sendTolvaneUpdateRequest(std::string /*currentVersion*/, std::string affiliateId,
                                                     std::string coreReleaseVersion) {
    trace.info("INFO: Enter sendTolvaneUpdateRequest\n");
    isFreshInstall = false;
    affId = affiliateId;
    coreRelVer = coreReleaseVersion;
    relName = getRelNameFromProductConfig();
    return sendAndJudge(updateRequestURL);
}

bool TolvaneHandler::isTolvaneSucceed() const {
    return succeeded;
}

std::string TolvaneHandler::sendAndJudge(const std::string &requestUrl) {
    const std::string body = getTolvaneRequestBody();
    trace.info("INFO :Tolvane Request - %s\n", body.c_str());
    // Kept: a failed transfer is told by the reply, which is then empty, and not by the result.
    static_cast<void>(sendTolvaneRequest(body, requestUrl));
    trace.info("INFO :Tolvane Response - %s\n", response.c_str());
    if (!processResponse(response))
        return "";
    succeeded = true;
    return response;
}

int TolvaneHandler::sendTolvaneRequest(std::string body, std::string requestUrl) {
    trace.info("INFO :Tolvane Handler - sendTolvaneRequest\n");
    const CurlEasy curl = makeCurlEasy();
    if (!curl) {
        trace.error("Tolvane Handler : Error occurred in curl initialization\n");
        return CURLE_OK; // kept: the caller judges the empty reply
    }
    const int result = postProductRequest(curl, body, requestUrl, requestTimeoutSeconds, response);
    if (result == CURLE_OPERATION_TIMEDOUT)
        trace.error("Tolvane Handler : Error : Velbrin Request Time out\n");
    if (result != CURLE_OK)
        return result;
    long httpCode = 0; // stays 0 when libcurl does not tell it
    static_cast<void>(curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &httpCode));
    trace.info("Tolvane Handler : INFO Velbrim http code = %d\n",
               static_cast<int>(httpCode)); // kept as shipped
    return CURLE_OK;
}

std::size_t TolvaneHandler::write_data(const void *data, std::size_t size, std::size_t count,
                                       std::string *output) {
    if (output != nullptr)
        output->append(static_cast<const char *>(data), size * count);
    return size * count;
}

bool TolvaneHandler::processResponse(std::string reply) {
    trace.info("INFO : Processing Tolvane Response\n");
    const LibXmlWrapper document(reply.data(), reply.size());
    const int status =
        leadingNumber(document.getXPathElementAttribute(keyProductResponse, keyResponseStatus));
    switch (status) {
    case 0:
        trace.info("INFO : TolvaneHandler - Update Available\n");
        return true;
    case 1:
        trace.info("INFO : TolvaneHandler - No Update\n");
        return false;
    case -1:
        trace.error("ERROR : TolvaneHandler - Update Response Failed\n");
        // Kept: the detail of an error with a code of its own is not told.
        if (leadingNumber(document.getXPathStringValue(keyTolvaneErrorCode)) == 0)
            trace.error("ERROR : TolvaneHandler - %s\n",
                        document.getXPathStringValue(keyTolvaneErrorDetails).c_str());
        return false;
    default:
        trace.error("ERROR : TolvaneHandler - Unsuported response with statuscocde %d\n",
                    status); // kept as shipped
        return false;
    }
}

std::string TolvaneHandler::getTolvaneRequestBody() {
    trace.info("INFO : Tolvane Handler - Creating Tolvane request body\n");
    setTolvaneRequestParameter();
    ProductRequest request{affId, langId, osVersion, relName, coreRelVer, partnerRelVer, {}};
    splitString(appId, ',', request.appIds);
    return productRequestBody(request);
}

void TolvaneHandler::setTolvaneRequestParameter() {
    if (isFreshInstall) {
        setTolvaneRequestParameterForFreshInstall();
        return;
    }
    osVersion = getOSVersion();
    getRequestParameterFromProductConfigXmlForUpdate();
}

void TolvaneHandler::setTolvaneRequestParameterForFreshInstall() {
    getRequestParameterFromConfigurationPlist();
    osVersion = getOSVersion();
}

void TolvaneHandler::getRequestParameterFromConfigurationPlist() {
    trace.info("INFO : Getting Local,Affid,AppId from configuration.plist\n");
    try {
        const std::optional<PropertyList> list = PropertyList::readFromOpenFolder(configurationPlistPath);
        if (!list)
            return;
        affId = plistText(*list, "AffID");
        appId = plistText(*list, "AppID");
    } catch (const std::system_error &) {
        return; // a list that cannot be read, for whatever reason, changes nothing
    } catch (...) {
        trace.error("ERROR: Unable to get the order of installation \n"); // kept as shipped
    }
}

bool isDecidedBySubscription(const std::string &configuredAppId) {
    return configuredAppId.empty() || configuredAppId == "quiformac" || configuredAppId == "queformac";
}

void TolvaneHandler::getRequestParameterFromProductConfigXmlForUpdate() {
    trace.info("INFO : TolvaneHandler - getRequestParameterFromProductConfigXmlForUpdate\n");
    const LibXmlWrapper config(strProductconfigXml);
    std::string id = config.getXPathStringValue("/ProductConfiguration/AppID");
    // The marker says that it was asked.
    if (isDecidedBySubscription(id) && !appIdMarkerExists()) {
        const std::string subscribedId = getAppIdForExistingCustomer();
        if (subscribedId.empty()) {
            trace.error("ERROR : TolvaneHandler - ERROR Getting Appid\n");
            return;
        }
        const bool recorded = subscribedId == id || ProductConfiguration::updateElement(
                                                        strProductconfigXml, "AppID", subscribedId) == 0;
        if (recorded)
            createAppIdMarker();
        id = subscribedId;
    }
    appId = id;
    if (appId.empty())
        trace.error("ERROR : TolvaneHandler - Not able to get AppID\n");

    const std::string configuredCore = config.getXPathStringValue("/ProductConfiguration/CoreRelVer");
    if (!configuredCore.empty())
        coreRelVer = configuredCore;
    const std::string configuredPartner = config.getXPathStringValue("/ProductConfiguration/PartnerRelVer");
    if (!configuredPartner.empty())
        partnerRelVer = configuredPartner;
}

std::string TolvaneHandler::getOSVersion() {
    trace.info("INFO : Getting OS version\n");
    const OsVersion version = readOsVersion();
    return std::to_string(version.major) + "." + std::to_string(version.minor) + "." +
           std::to_string(version.bugFix);
}

std::string TolvaneHandler::getRelNameFromProductConfig() {
    // Reads as "" also when the element is there more than once.
    const std::string name =
        LibXmlWrapper(strProductconfigXml).getXPathStringValue("/ProductConfiguration/ReleaseName");
    return name.empty() ? "legacy" : name;
}

std::string TolvaneHandler::getAppIdForExistingCustomer() {
    trace.info("INFO : TolvaneHandler - getAppIdForExistingCustomer from db\n");
    const std::string packageId = getPackageIdFromDB();
    return getAppIdFromPkgId(packageId.empty() ? 0 : std::stoi(packageId));
}

std::string TolvaneHandler::getAppIdFromPkgId(int packageId) {
    trace.info("INFO : TolvaneHandler - geting AppId For for PackageId=%d\n", packageId); // kept as shipped
    if (packageId == flexiblePackageId)
        return appIdOfFlexiblePackage();
    const auto *row = std::find_if(std::begin(packageAppIds), std::end(packageAppIds),
                                   [&](const PackageAppId &entry) { return entry.packageId == packageId; });
    return row == std::end(packageAppIds) ? "" : row->appId;
}

std::string TolvaneHandler::appIdOfFlexiblePackage() {
    const std::string flexibleId = getFlexPackageIdFromDB();
    if (flexibleId.empty()) {
        trace.error("ERROR : TolvaneHandler - Flex Package Id not found for package id - 398\n");
        return "";
    }
    const int id = std::stoi(flexibleId);
    trace.info("INFO : TolvaneHandler - FlexPackage Id = %d\n", id);
    return id == 394 || id == 395 ? "queformac" : "quiformac";
}

std::string TolvaneHandler::getPackageIdFromDB() {
    return readDatabaseField("pkg_id");
}

std::string TolvaneHandler::getFlexPackageIdFromDB() {
    return readDatabaseField("flex_pkg_id");
}

std::string TolvaneHandler::readDatabaseField(const char *wantedName) {
    // The interfaces below are released before the client unloads the library that they live in.
    CBkModuleClnt client;
    CIPtr<ISubInfo> subInfo;
    if (!_CreateSubInfo(subInfo.receive(), client))
        return "";
    return SubscriptionSection(*subInfo, subscriptionSection).lastValueOf(wantedName);
}

bool TolvaneHandler::_CreateSubInfo(ISubInfo **subInfo, CBkModuleClnt &client) {
    return client.Init(subscriptionLibraryPath) && client.CreateObject("brovik/subinfo", subInfo);
}

void TolvaneHandler::splitString(const std::string &text, char delimiter,
                                 std::vector<std::string> &pieces) const {
    std::istringstream stream(text);
    std::string piece;
    while (std::getline(stream, piece, delimiter))
        pieces.push_back(piece);
}
