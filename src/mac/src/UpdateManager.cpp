#include "UpdateManager.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <exception>

#include <fcntl.h>

#include "Descriptor.h"
#include "DownloadController.h"
#include "HotFixSelection.h"
#include "InstallationOrder.h"
#include "InstallerScript.h"
#include "InstallerScriptRun.h"
#include "Paths.h"
#include "ProductConfiguration.h"
#include "PropertyList.h"
#include "RegularFile.h"
#include "ShellPipe.h"
#include "Text.h"
#include "TextList.h"
#include "TolvaneHandler.h"
#include "Trace.h"

std::list<const char *> UpdateManager::getListOfUpdates(std::vector<HotFixPackageInfo> hotFixes,
                                                        std::string installedVersion,
                                                        std::vector<HotFixPackageInfo> &kept) {
    trace.info("INFO: UpdateManager - Getting list of Updates\n");
    OwnedTexts urls;
    m_maxima = {installedVersion};
    const std::string osVersion = TolvaneHandler().getOSVersion();
    for (const HotFixPackageInfo &hotFix : hotFixes) {
        if (judgeHotFix(hotFix, installedVersion, osVersion) != Selection::applies)
            continue;
        m_maxima.include(hotFix);
        urls.append(hotFix.url);
        kept.push_back(hotFix);
    }
    DownloadController *controller = DownloadController::getInstance();
    controller->setMaxPackageVersion(m_maxima.version);
    controller->setMaxBuildNo(m_maxima.buildNo);
    return urls.release();
}

std::string UpdateManager::getHFVersion(std::string url) const {
    return std::string(hotFixVersionOf(url));
}

std::string UpdateManager::getPackagenameFromUrl(std::string url) const {
    return afterLastSlash(url);
}

std::vector<std::string> UpdateManager::getInstalationOrder() const {
    trace.info("INFO: Getting order of installation \n");
    try {
        const std::optional<PropertyList> configuration = PropertyList::read(dynaConfigPlistPath);
        if (!configuration)
            return {};
        return configuration->strings("InstallPkgOrder").value_or(std::vector<std::string>());
    } catch (const std::exception &) {
        trace.error("ERROR: Unable to get the order of installation \n");
        return {};
    }
}

std::list<std::string>
UpdateManager::getFinalSortedListAccordingToOrderOfInstallation(std::vector<std::string> &packages) {
    quicksort(packages, 0, static_cast<int>(packages.size()) - 1);
    findDynamicBrandingPackageAndInstall(packages);
    std::vector<std::string> orderNames;
    // One that cannot be opened for a moment is not absent, and packages would be left out for it.
    if (fileExist(dynaConfigPlistPath) || isMomentary(errno))
        orderNames = getInstalationOrder();
    return installationOrder(packages, orderNames);
}

void UpdateManager::quicksort(std::vector<std::string> &paths, int first, int last) const {
    sortByHotFixVersion(paths, first, last);
}

int UpdateManager::split_array(std::vector<std::string> &paths, std::string pivot, int first,
                               int last) const {
    return splitAroundVersion(paths, pivot, first, last);
}

void UpdateManager::swap(std::string &left, std::string &right) const {
    left.swap(right);
}

int UpdateManager::installUpdatePackages(std::vector<std::string> packages) {
    try {
        trace.info("INFO: Installation of Updates starts\n");
        m_script.begin();
        m_script.write(installerScriptOpening());
        for (const std::string &path : getFinalSortedListAccordingToOrderOfInstallation(packages)) {
            if (installPackage(path.c_str()) != 0) {
                trace.error("ERROR: Installation %s Failed \n", path.c_str());
                return -1;
            }
        }
        m_script.write(installerScriptClosing());
        const bool isWhole = m_script.finish();
        trace.info("INFO : Installing Packages from /usr/local/repost/installer.sh\n");
        return runInstallerScript(isWhole);
    } catch (const std::exception &) {
        trace.error("ERROR: Caught Exception - Installation Failed\n");
        m_script.discard();
        std::exit(1);
    }
}

int UpdateManager::installPackage(const char *path) {
    trace.info("INFO: Installing %s \n", path);
    if (!isBrandingPackage(path)) {
        m_script.write(installerScriptLines(path));
        return 0;
    }
    if (!runShellCommand(installCommand(path))) {
        trace.error("ERROR: Installation %s Failed \n", path);
        return -1;
    }
    trace.info("INFO: Installation %s Succeded \n", path);
    return 0;
}

void UpdateManager::findDynamicBrandingPackageAndInstall(std::vector<std::string> &packages) {
    for (const std::string &path : packages) {
        if (isBrandingPackage(path) && installPackage(path.c_str()) != 0)
            trace.error("ERROR: Installation %s Failed \n", path.c_str());
    }
    packages.erase(std::remove_if(packages.begin(), packages.end(), isBrandingPackage), packages.end());
}

bool UpdateManager::runCommand(const char *command) const {
    return shellCommandSucceeds(command);
}

bool UpdateManager::fileExist(const std::string &path) const {
    // A FIFO is nothing to wait for.
    return static_cast<bool>(Descriptor(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)));
}

int UpdateManager::updateProductConfigXml(std::string path, std::string element, std::string value) {
    return ProductConfiguration::updateElement(path, element, value);
}
