#pragma once

#include <list>
#include <string>
#include <vector>

#include "CatalogParser.h"
#include "HotFixSelection.h"
#include "InstallerScriptFile.h"

// Chooses the hot-fixes that apply, orders the downloaded packages, and installs them through a script.
// Used by one thread.
class UpdateManager {
public:
    UpdateManager() = default;
    ~UpdateManager() = default;
    UpdateManager(const UpdateManager &) = delete;
    UpdateManager &operator=(const UpdateManager &) = delete;

    // Appends the hot-fixes that apply to the installed version and the running system, tells the
    // controller the highest version and build number that they bring, and gives their URLs as
    // new[]-allocated copies that belong to the caller. Throws std::invalid_argument or std::out_of_range
    // on a build number that is not a number; the controller then learns nothing.
    std::list<const char *> getListOfUpdates(std::vector<HotFixPackageInfo> hotFixes,
                                             std::string installedVersion,
                                             std::vector<HotFixPackageInfo> &kept);
    // The version in the name of the directory that holds the package.
    std::string getHFVersion(std::string url) const;
    std::string getPackagenameFromUrl(std::string url) const;

    // The package names of the configured installation order; empty when none is configured.
    std::vector<std::string> getInstalationOrder() const;
    // Sorts the packages in place, installs branding packages at once and takes them out, and gives the
    // rest in the order of installation. Repost packages that the configured order does not name are left
    // out (kept: the order is what admits them).
    std::list<std::string>
    getFinalSortedListAccordingToOrderOfInstallation(std::vector<std::string> &packages);
    // Sorts paths by ascending hot-fix version, from first to last inclusive; equal versions keep no order.
    void quicksort(std::vector<std::string> &paths, int first, int last) const;
    // Partitions the range around the pivot's version and gives the last index of the lower part.
    int split_array(std::vector<std::string> &paths, std::string pivot, int first, int last) const;
    void swap(std::string &left, std::string &right) const;

    // Writes the installer script and runs it in a new session. Gives -1 when a package could not be
    // added to the script and 0 when the child could not be started; otherwise the process ends here,
    // with status 1 once the script has ended.
    int installUpdatePackages(std::vector<std::string> packages);
    // Installs a branding package at once; adds any other to the script. 0 or -1.
    int installPackage(const char *path);
    void findDynamicBrandingPackageAndInstall(std::vector<std::string> &packages);
    // Whether the command could be started and ended with status 0.
    bool runCommand(const char *command) const;
    // Whether the file can be opened for reading.
    bool fileExist(const std::string &path) const;

    // Sets one element of a product configuration file, or appends it when it is not there exactly once.
    // 0, or -1 when the element or the value is empty or the rewrite failed.
    static int updateProductConfigXml(std::string path, std::string element, std::string value);

private:
    ReleaseMaxima m_maxima;
    InstallerScriptFile m_script;
};
