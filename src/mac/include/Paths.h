// Every fixed path of the engine, with who writes it and who reads it.
#pragma once

#include <string>

#include "ConstantText.h"

// Root of every download; made by the download engine, removed by the installer script.
inline const std::string &keyCoreDownloadCache = constantText("/usr/local/Brovik/TempDownload");
// The installed product's configuration: read for every update request, replaced by the installer script.
inline const std::string &prodConfigXml = constantText("/usr/local/Brovik/ProductConfig.xml");
// The same file under the name that the request parameters use.
inline const std::string &strProductconfigXml = prodConfigXml;
// The configuration prepared for an update: written once the downloads are complete, copied by the script.
inline const std::string &updatedProdConfigXml =
    constantText("/usr/local/Brovik/TempDownload/ProductConfig.xml");

// The trace: written by every class and by the installer script, read by support.
constexpr const char *traceLogPath = "/var/log/DownloadManager.log";
// Locked by whoever runs a job, so that there is one at a time on a machine; its content is empty.
constexpr const char *jobLockPath = "/var/run/DownloadManager.lock";
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
// Tells the suite that an update waits to be installed: made by a "CheckForInstall" run.
constexpr const char *updateMarkerPath = "/usr/local/Brovik/qrn/var/RequireProductUpdate";
// The installer script and its folder: the script is written and run by an "Install" run and removes itself
// at its end; the folder is made by the suite's installer.
constexpr const char *installerScriptPath = "/usr/local/repost/installer.sh";
// The script while it is written; gets the name above once it is whole.
constexpr const char *newInstallerScriptPath = "/usr/local/repost/installer.sh.new";
constexpr const char *installerScriptFolder = "/usr/local/repost";
// Asks the script to restart the suite's service at its end; made by packages, removed with the downloads.
constexpr const char *restartMarkerPath = "/usr/local/Brovik/TempDownload/NeedRestartForRepost";
// A folder that packages may leave; removed by the script.
constexpr const char *updateScratchFolder = "/private/tmp/ZTKProductUpdate";
// The operating system's version, where the system has no call for it; written by the system's installer.
constexpr const char *systemVersionPlistPath = "/System/Library/CoreServices/SystemVersion.plist";
// The suite's own tools.
constexpr const char *hashToolPath = "/usr/local/Brovik/qrn/bin/sha1sum";
constexpr const char *serviceControlPath = "/usr/local/Brovik/qrn/bin/qrn";

// Reserved names for copies of the service's replies; nothing is written there.
inline const std::string &freshInstallTolvaneResponseCachePath =
    constantText("/tmp/mac_velbrin_response.xml");
inline const std::string &updateTolvaneResponseCachePath =
    constantText("/tmp/mac_velbrin_update_response.xml");

inline std::string coreCatalogDirectory() {
    return keyCoreDownloadCache + "/" + "Catalog/Core";
}
inline std::string partnerCatalogDirectory() {
    return keyCoreDownloadCache + "/" + "Catalog/Partner";
}
inline std::string packageDirectory() {
    return keyCoreDownloadCache + "/" + "Package";
}
