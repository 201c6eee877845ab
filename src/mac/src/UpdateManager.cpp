#include "UpdateManager.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <exception>
#include <map>
#include <system_error>

#include <boost/algorithm/string/find.hpp>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "ConstantText.h"
#include "DownloadController.h"
#include "Paths.h"
#include "PipeMode.h"
#include "ProductConfiguration.h"
#include "PropertyList.h"
#include "ShellPipe.h"
#include "Text.h"
#include "TextList.h"
#include "TolvaneHandler.h"
#include "Trace.h"

namespace {

constexpr unsigned secondsBeforeScript = 10;
constexpr mode_t scriptCreationMask = 027;
const std::string &dynamicBrandingPackage = constantText("DynamicBranding.pkg");

bool isGreater(const std::string &first, const std::string &second) {
    return DownloadController::IsGreaterThan(first, second);
}

std::string errorText(int error) {
    return std::generic_category().message(error);
}

// An empty bound is no bound.
bool isBelow(const std::string &version, const std::string &bound) {
    return !bound.empty() && isGreater(bound, version);
}

bool isAbove(const std::string &version, const std::string &bound) {
    return !bound.empty() && isGreater(version, bound);
}

bool applies(const HotFixPackageInfo &hotFix, const std::string &installedVersion,
             const std::string &osVersion) {
    return !hotFix.productVer.empty() && !isBelow(osVersion, hotFix.osxMinVer) &&
           !isAbove(osVersion, hotFix.osxMaxVer) && !isBelow(installedVersion, hotFix.minVer) &&
           !isAbove(installedVersion, hotFix.maxVer);
}

} // namespace

std::list<const char *> UpdateManager::getListOfUpdates(std::vector<HotFixPackageInfo> hotFixes,
                                                        std::string installedVersion,
                                                        std::vector<HotFixPackageInfo> &kept) {
    trace.info("INFO: UpdateManager - Getting list of Updates\n");
    OwnedTexts urls;
    m_maxPackageVersion = installedVersion;
    std::string maxBuildNo = "0";
    const std::string osVersion = TolvaneHandler().getOSVersion();
    for (const HotFixPackageInfo &hotFix : hotFixes) {
        if (!applies(hotFix, installedVersion, osVersion))
            continue;
        if (isGreater(hotFix.productVer, m_maxPackageVersion))
            m_maxPackageVersion = hotFix.productVer;
        if (std::stoi(maxBuildNo) < std::stoi(hotFix.buildNo))
            maxBuildNo = hotFix.buildNo;
        urls.append(hotFix.url);
        kept.push_back(hotFix);
    }
    DownloadController *controller = DownloadController::getInstance();
    controller->setMaxPackageVersion(m_maxPackageVersion);
    controller->setMaxBuildNo(maxBuildNo);
    return urls.release();
}

std::string UpdateManager::getHFVersion(std::string url) const {
    const std::string directory = url.substr(0, url.rfind('/'));
    const std::string name = afterLastSlash(directory);
    // Any one of these characters, not the three together (kept as shipped).
    return name.substr(name.find_last_of("HF_") + 1);
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

    // The text order of the versions decides between groups: 10 comes before 9 (kept).
    std::map<std::string, std::list<std::string>> groups;
    for (const std::string &path : packages)
        groups[getHFVersion(path)].push_back(path);

    std::vector<std::string> orderNames;
    if (fileExist(dynaConfigPlistPath))
        orderNames = getInstalationOrder();

    std::list<std::string> reposts;
    std::list<std::string> others;
    for (auto &[version, group] : groups) {
        if (group.size() > 1)
            group = orderWithinVersion(std::move(group), orderNames);
        for (const std::string &path : group) {
            if (!path.empty())
                (contains(path, "repost") ? reposts : others).push_back(path);
        }
    }

    std::list<std::string> ordered = takeReposts(std::move(reposts), orderNames);
    ordered.splice(ordered.end(), others);
    return ordered;
}

// The named packages come first, in the order of the names; the others follow as they were.
std::list<std::string> UpdateManager::orderWithinVersion(std::list<std::string> group,
                                                         const std::vector<std::string> &orderNames) const {
    std::list<std::string> ordered;
    for (const std::string &orderName : orderNames) {
        const auto named = std::find_if(group.begin(), group.end(), [&](const std::string &path) {
            return getPackagenameFromUrl(path) == orderName;
        });
        if (named != group.end())
            ordered.splice(ordered.end(), group, named);
    }
    ordered.splice(ordered.end(), group);
    return ordered;
}

// Each name admits one repost package; one that no name admits is left out.
std::list<std::string> UpdateManager::takeReposts(std::list<std::string> reposts,
                                                  const std::vector<std::string> &orderNames) const {
    std::list<std::string> taken;
    for (const std::string &orderName : orderNames) {
        const auto named = std::find_if(reposts.begin(), reposts.end(), [&](const std::string &path) {
            return !boost::algorithm::ifind_first(path, orderName).empty();
        });
        if (named != reposts.end())
            taken.splice(taken.end(), reposts, named);
    }
    return taken;
}

void UpdateManager::quicksort(std::vector<std::string> &paths, int first, int last) const {
    while (first < last) {
        const int middle = first + (last - first) / 2;
        const int split = split_array(paths, paths[static_cast<std::size_t>(middle)], first, last);
        // Only the smaller part by recursion, so that the stack stays small.
        if (split - first < last - split - 1) {
            quicksort(paths, first, split);
            first = split + 1;
        } else {
            quicksort(paths, split + 1, last);
            last = split;
        }
    }
}

int UpdateManager::split_array(std::vector<std::string> &paths, std::string pivot, int first,
                               int last) const {
    const std::string pivotVersion = getHFVersion(pivot);
    int low = first;
    int high = last;
    while (true) {
        while (low < last && isGreater(pivotVersion, getHFVersion(paths[static_cast<std::size_t>(low)])))
            ++low;
        while (high > first && isGreater(getHFVersion(paths[static_cast<std::size_t>(high)]), pivotVersion))
            --high;
        if (low >= high)
            return std::max(first, std::min(high, last - 1));
        swap(paths[static_cast<std::size_t>(low)], paths[static_cast<std::size_t>(high)]);
        ++low;
        --high;
    }
}

void UpdateManager::swap(std::string &left, std::string &right) const {
    left.swap(right);
}

int UpdateManager::installUpdatePackages(std::vector<std::string> packages) {
    try {
        trace.info("INFO: Installation of Updates starts\n");
        m_script = std::ofstream(installerScriptPath, std::ios::trunc);
        writeScriptHeader();
        for (const std::string &path : getFinalSortedListAccordingToOrderOfInstallation(packages)) {
            if (installPackage(path.c_str()) != 0) {
                trace.error("ERROR: Installation %s Failed \n", path.c_str());
                return -1;
            }
        }
        writeScriptClosing();
        m_script.close();
        trace.info("INFO : Installing Packages from /usr/local/repost/installer.sh\n");
        return runScript();
    } catch (const std::exception &) {
        trace.error("ERROR: Caught Exception - Installation Failed\n");
        std::exit(1);
    }
}

void UpdateManager::writeScriptHeader() {
    m_script << "#!/bin/bash\n"
                "set -x\n"
                "LOG_NAME=/var/log/DownloadManager.log\n"
                "checkStatus()\n"
                "{\n"
                "status=$1\n"
                "PackageName=$2\n"
                "if [ $status -ne 0 ] ; then\n"
                "echo \"Failed to install $PackageName\" >> $LOG_NAME\n"
                "exit -1\n"
                "fi\n"
                "echo \"Installed $PackageName successfully\" >> $LOG_NAME\n"
                "}\n";
}

void UpdateManager::writeScriptClosing() {
    m_script
        << "echo \"Updating ProductConfig.xml ...\"\n"
           "sudo cp /usr/local/Brovik/TempDownload/ProductConfig.xml /usr/local/Brovik/ProductConfig.xml\n"
           "if [ -e /usr/local/Brovik/TempDownload/NeedRestartForRepost ] ; then\n"
           "echo \"Restarting QRN ...\" >> $LOG_NAME\n"
           "/usr/local/Brovik/qrn/bin/qrn restart >> /dev/null 2>&1\n"
           "echo \"Restarted QRN\" >> $LOG_NAME\n"
           "fi\n"
           "sudo rm -rf /usr/local/Brovik/TempDownload\n"
           "rm -rf /private/tmp/ZTKProductUpdate\n"
           "rm -rf /usr/local/repost/installer.sh\n";
}

int UpdateManager::runScript() {
    sleep(secondsBeforeScript);
    // The updater itself leads the new session; it may lead one already, which is as good.
    static_cast<void>(setsid());
    umask(scriptCreationMask);
    static_cast<void>(runCommand("sudo chmod 755 /usr/local/repost/installer.sh"));
    const pid_t child = fork();
    if (child == -1) {
        trace.info("Fork Failed\n");
        return 0;
    }
    if (child == 0)
        executeScript();
    waitForScript(child);
}

void UpdateManager::executeScript() const {
    trace.info("Child process: executing /usr/local/repost/installer.sh \n");
    // The parent's clean-up is not the child's, hence _exit.
    if (execl(installerScriptPath, installerScriptPath, nullptr) == -1) {
        trace.error("ERROR: execl failed ! Error: %s \n", errorText(errno).c_str());
        _exit(1);
    }
    static_cast<void>(runCommand("rm -rf /usr/local/repost"));
    _exit(0);
}

void UpdateManager::waitForScript(int child) const {
    int status = 0;
    while (waitpid(child, &status, 0) == -1) {
        if (errno == EINTR)
            std::exit(0);
        trace.info("Error %s\n", errorText(errno).c_str());
    }
    // Whatever the script's own status (kept as shipped).
    std::exit(1);
}

int UpdateManager::installPackage(const char *path) {
    trace.info("INFO: Installing %s \n", path);
    const std::string command =
        std::string("sudo installer -package ") + path + " -target / 2>&1 > /dev/null ";
    if (!contains(command, dynamicBrandingPackage)) {
        m_script << "echo \" Installing " << path << "\" >> $LOG_NAME\n"
                 << command << "\n"
                 << "checkStatus $? " << path << "\n";
        return 0;
    }
    if (!runShellCommand(command)) {
        trace.error("ERROR: Installation %s Failed \n", path);
        return -1;
    }
    trace.info("INFO: Installation %s Succeded \n", path);
    return 0;
}

void UpdateManager::findDynamicBrandingPackageAndInstall(std::vector<std::string> &packages) {
    const auto isBranding = [](const std::string &path) { return contains(path, dynamicBrandingPackage); };
    for (const std::string &path : packages) {
        if (isBranding(path) && installPackage(path.c_str()) != 0)
            trace.error("ERROR: Installation %s Failed \n", path.c_str());
    }
    packages.erase(std::remove_if(packages.begin(), packages.end(), isBranding), packages.end());
}

bool UpdateManager::runCommand(const char *command) const {
    ShellPipe pipe(command, runCommandPipeMode);
    return pipe.isOpen() && pipe.close() == 0;
}

bool UpdateManager::fileExist(const std::string &path) const {
    return std::ifstream(path).is_open();
}

int UpdateManager::updateProductConfigXml(std::string path, std::string element, std::string value) {
    return ProductConfiguration::updateElement(path, element, value);
}
