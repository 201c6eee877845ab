#include "ExpectedTrace.h"

#include "Release.h"

const std::string plainRequestBody =
    "<?xml  version=\"1.0\" encoding=\"utf-8\"?><productrequest><shared/><pkglist><package "
    "class=\"macdefault\">"
    "<metadata><affid>105</affid><langid>en-us</langid><macos><version>10.8.5</version></macos></metadata>"
    "<products relname=\"basicmac3.3\" relver=\"1\"><product appid=\"quaformac\"/></products>"
    "<partner affid=\"105\" relname=\"basicmac3.3\" relver=\"1\"></partner>"
    "</package></pkglist></productrequest>";

std::string tracedStart(const std::string &mode) {
    return ">Product updater is started\n"
           ">Product updater: CurProdVersion: 1.0.0.5 CurProdAffId: 105-1\n"
           ">INFO : DownloadController - ProductUpdate\n" +
           (mode == "CheckForInstall" ? tracedRequest() : "");
}

std::string tracedRequest() {
    return ">INFO: Enter sendTolvaneUpdateRequest\n"
           ">INFO : Tolvane Handler - Creating Tolvane request body\n"
           ">INFO : Getting OS version\n"
           ">INFO : TolvaneHandler - getRequestParameterFromProductConfigXmlForUpdate\n"
           ">INFO :Tolvane Request - " +
           plainRequestBody +
           "\n"
           ">INFO :Tolvane Handler - sendTolvaneRequest\n";
}

std::string tracedReply(const std::string &reply, int httpCode) {
    return ">Tolvane Handler : INFO Velbrim http code = " + std::to_string(httpCode) +
           "\n"
           ">INFO :Tolvane Response - " +
           reply +
           "\n"
           ">INFO : Processing Tolvane Response\n";
}

std::string tracedReplyParsing(const std::string &reply) {
    return ">INFO : Getting Product Catalogs \n"
           ">INFO : Getting Catalog Urls\n"
           ">INFO : Tolvane response is  == >> " +
           reply +
           "\n"
           ">INFO : Parsing Tolvane response for getting catalog\n";
}

std::string tracedCatalogUrls(const std::string &reply, const std::string &product,
                              const std::string &catalogName, const std::string &catalogUrl) {
    return tracedReplyParsing(reply) + ">\nINFO : Core Products - " + product +
           "\n\n"
           ">\nINFO : size of rooturl Vector is  - 1\n\n"
           ">\nINFO : this appid - quaformac\n\n"
           ">INFO :Tolvane Response has names - " +
           catalogName +
           "\n"
           ">\n Core Catalogs Are :: --- >> " +
           catalogUrl + "\n\n";
}

std::string tracedCatalogUrls(const std::string &reply) {
    return tracedCatalogUrls(reply, plainProduct, "core_maccat",
                             "https://scripted.brovik.example/core_maccat.xml");
}

const std::string tracedPlainCatalog =
    ">INFO: Download Start\n"
    ">INFO: Creating Download thread\n"
    ">INFO : DownloadController::downLoadThreadEntry\n"
    ">INFO : Start download: https://scripted.brovik.example/core_maccat.xml\n"
    ">Successfully downloaded: https://scripted.brovik.example/core_maccat.xml\n"
    ">INFO: Download Start\n"
    ">INFO: Creating Download thread\n";

std::string tracedUntilPackages() {
    return tracedStart("CheckForInstall") + tracedReply(plainReply) + tracedUpdateAvailable +
           tracedCatalogUrls(plainReply) + tracedPlainCatalog + tracedSelection + tracedDownloads;
}

std::string tracedThreads(std::size_t count) {
    std::string lines;
    while (count-- > 0)
        lines += ">INFO : DownloadController::downLoadThreadEntry\n";
    return lines;
}

std::string tracedPackage(const std::string &url, const std::string &path) {
    return ">INFO : Start download: " + url + "\n" + ">INFO: Checking HashSUM : " + path + "\n" +
           ">INFO:Success Checking HashSUM : " + path + "\n" + ">Successfully downloaded: " + url + "\n";
}

std::string tracedConfiguration(const std::vector<std::pair<std::string, std::string>> &values) {
    std::string lines;
    for (const auto &[element, value] : values) {
        for (const char *doing : {"Updating", "Updated"})
            lines.append(">INFO: ")
                .append(doing)
                .append(" Productconfig.xml with ")
                .append(element)
                .append(" element and its value ")
                .append(value)
                .append(" .\n");
    }
    return lines;
}

std::string tracedPlainConfiguration(const std::string &version, const std::string &build) {
    return tracedConfiguration({{"ProductVersion", version},
                                {"BuildNumber", build},
                                {"CoreRelVer", "3.1"},
                                {"PartnerRelVer", "2.2"},
                                {"ReleaseName", "basicmac3.4"},
                                {"CBRMSBuildNo", "0"}});
}

std::string packagePath(const std::string &fileName, const std::string &version) {
    return "/usr/local/Brovik/TempDownload/Package/" + version + "/" + fileName;
}
