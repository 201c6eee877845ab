// Every fixed path of the engine, with who writes it and who reads it.
#pragma once

#include <string>

// Root of every download; made by the download engine, removed by the installer script.
inline const std::string keyCoreDownloadCache = "/usr/local/Brovik/TempDownload";
// The installed product's configuration: read for every update request, replaced by the installer script.
inline const std::string prodConfigXml = "/usr/local/Brovik/ProductConfig.xml";
// The same file under the name that the request parameters use.
inline const std::string strProductconfigXml = "/usr/local/Brovik/ProductConfig.xml";
// The configuration prepared for an update: written once the downloads are complete, copied by the script.
inline const std::string updatedProdConfigXml = "/usr/local/Brovik/TempDownload/ProductConfig.xml";

// The trace: written by every class and by the installer script, read by support.
constexpr const char *traceLogPath = "/var/log/DownloadManager.log";
// The installer's property list: read for a fresh install, gets the "BuildInfo" record after it.
constexpr const char *configurationPlistPath = "/private/tmp/configuration.plist";
// The suite's dynamic configuration: read for the order of installation.
constexpr const char *dynaConfigPlistPath = "/usr/local/Brovik/DynaConfig.plist";
// Exists once the application id was reconciled with the subscription database; its content is never read.
constexpr const char *appIdMarkerPath = "/usr/local/Brovik/qrn/var/.appid";
// The suite's subscription database, loaded at run time.
constexpr const char *subscriptionLibraryPath = "/usr/local/Brovik/qrn/lib/libbksubdb.dylib";
// Downloaded package paths, one a line: left by a "CheckForInstall" run for the next "Install" run.
constexpr const char *packageListPath = "/tmp/packagelist.txt";
// The installer script: written and run by an "Install" run; removes itself at its end.
constexpr const char *installerScriptPath = "/usr/local/repost/installer.sh";

inline std::string coreCatalogDirectory() {
    return keyCoreDownloadCache + "/" + "Catalog/Core";
}
inline std::string partnerCatalogDirectory() {
    return keyCoreDownloadCache + "/" + "Catalog/Partner";
}
inline std::string packageDirectory() {
    return keyCoreDownloadCache + "/" + "Package";
}
