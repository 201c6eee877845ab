// The configuration files, as the engine reads them.
#include <optional>
#include <string>

#include "CheckPaths.h"
#include "CheckTheme.h"
#include "ExternalLibraries.h"
#include "LibXmlWrapper.h"
#include "OsVersion.h"
#include "OwnStreams.h"
#include "Paths.h"
#include "PropertyList.h"
#include "RegularFile.h"
#include "ReleaseRecord.h"
#include "TolvaneHandler.h"
#include "UpdateManager.h"

namespace {

constexpr CheckRule configurationUnreadable = {
    "configuration-unreadable",
    "A check asks for release \"legacy\" with the default application id, or with none where the "
    "subscription was "
    "asked before, and prepares what it finds; before the first installation that is as it should be.",
    "Put a copy of the product's configuration back, or install the product anew.", CheckDocument::faults,
    "KilledChild.CopyOfTheConfiguration"};
constexpr CheckRule configurationIsPipe = {
    "configuration-is-a-pipe", "A run waits for good for what comes out of it.",
    "Remove it, and put a copy of the product's configuration back, or install the product anew.",
    CheckDocument::limits, "The product's configuration is read whatever stands at its name"};
constexpr CheckRule applicationUnknown = {
    "application-unknown", "A check asks without any product, and is offered nothing.",
    "Give the product's configuration its one AppID.", CheckDocument::faults,
    "InputSubscription.TellsAProductNothingOrEndsTheRun"};
constexpr CheckRule subscriptionMissing = {
    "subscription-missing",
    "A check asks with the default application id and releases, whatever product is installed.",
    "Put the suite's subscription back, or give the product's configuration its one AppID.",
    CheckDocument::faults, "InputSubscription.TellsAProductNothingOrEndsTheRun"};
constexpr CheckRule settingTwice = {
    "setting-twice", "Each update appends another copy, and readers that expect one take none.",
    "Leave one of them in the configuration.", CheckDocument::limits,
    "A setting that stands twice in the product configuration"};
constexpr CheckRule orderMissing = {
    "order-missing", "No package whose path contains \"repost\" is ever installed.",
    "Put the suite's dynamic configuration back, with its \"InstallPkgOrder\".", CheckDocument::limits,
    "Packages whose path contains \"repost\""};
constexpr CheckRule propertyListNoFile = {
    "property-list-is-no-file",
    "A fresh installation asks with the default ids, and puts a list of its own in its place.",
    "Remove it, and have the suite's installer write its list.", CheckDocument::faults,
    "PlantedPropertyList.IsNeitherFollowedNorWaitedFor"};
constexpr CheckRule propertyListUnreadable = {"property-list-unreadable",
                                              "A fresh installation asks with the default ids.",
                                              "Remove it, and have the suite's installer write its list.",
                                              CheckDocument::faults, "InputFault.EndsInTimeAndHarmsNothing"};
constexpr CheckRule propertyListAnothers = {
    "property-list-of-another",
    "Whoever may write it chooses the product that a fresh installation asks for.",
    "Remove it, and have the suite's installer write its list as root.", CheckDocument::limits,
    "The installer's property list may be anybody's"};
constexpr CheckRule systemUnknown = {
    "system-version-unknown", "A run asks for system 0.0.0, and hot-fixes for later systems do not apply.",
    "Put the system's own version list back.", CheckDocument::faults, "InputFault.EndsInTimeAndHarmsNothing"};

// --- the product's

// The subscription is asked once: the marker says that it was.
void lookAtApplication(const LibXmlWrapper &configuration, const TellCheck &tell) {
    const std::string id = configuration.getXPathStringValue("/ProductConfiguration/AppID");
    const bool isAsked = isDecidedBySubscription(id) && isAbsent(appIdMarkerPath);
    if (isAsked && !statusOf(subscriptionLibraryPath))
        tell(subscriptionMissing, prodConfigXml + " leaves the AppID to a subscription, and there is none");
    else if (!isAsked && id.empty())
        tell(applicationUnknown, prodConfigXml + " does not tell the product's one AppID");
}

std::string repeatedText(const std::string &setting, std::size_t count) {
    return setting + " stands " + std::to_string(count) + " times in " + prodConfigXml;
}

// Of those that an update sets.
void lookForSettingsTwice(const LibXmlWrapper &configuration, const TellCheck &tell) {
    for (const std::string setting : configurationElements) {
        const std::size_t count = configuration.countNodes("/ProductConfiguration/" + setting).value_or(0);
        if (count > 1)
            tell(settingTwice, repeatedText(setting, count));
    }
}

void lookAtProduct(const TellCheck &tell) {
    const auto status = statusOf(prodConfigXml);
    if (status && (S_ISFIFO(status->st_mode) || S_ISCHR(status->st_mode))) {
        tell(configurationIsPipe, prodConfigXml + " is a pipe or a device");
        return;
    }
    const OwnStreams quiet; // the engine tells what it cannot parse
    const LibXmlWrapper configuration(prodConfigXml);
    if (!configuration.isXPathElementExists("/ProductConfiguration")) {
        tell(configurationUnreadable, "there is no product configuration at " + prodConfigXml);
        return;
    }
    lookAtApplication(configuration, tell);
    lookForSettingsTwice(configuration, tell);
}

// --- the others'

void lookAtOrder(const TellCheck &tell) {
    if (UpdateManager().getInstalationOrder().empty())
        tell(orderMissing, std::string("there is no order of installation in ") + dynaConfigPlistPath);
}

// The installer makes it, so without one no fresh installation is at hand. A folder is another finding.
void lookAtPropertyList(const TellCheck &tell) {
    const std::string path = configurationPlistPath;
    const auto status = statusAt(path);
    if (!status || S_ISDIR(status->st_mode))
        return;
    if (!S_ISREG(status->st_mode)) {
        tell(propertyListNoFile, path + " is a link, or no file");
        return;
    }
    if (!isOnlyRoots(*status))
        tell(propertyListAnothers, "others than root may write " + path);
    if (!PropertyList::readFromOpenFolder(path))
        tell(propertyListUnreadable, path + " is no property list");
}

void lookAtSystem(const TellCheck &tell) {
    const OsVersion version = readOsVersion();
    if (version.major == 0)
        tell(systemUnknown, std::string(systemVersionPlistPath) + " does not tell the system's version");
}

void look(const TellCheck &tell) {
    initialiseExternalLibraries();
    lookAtProduct(tell);
    lookAtOrder(tell);
    lookAtPropertyList(tell);
    lookAtSystem(tell);
}

} // namespace

CheckTheme checkedConfigurations() {
    return {{&configurationUnreadable, &configurationIsPipe, &applicationUnknown, &subscriptionMissing,
             &settingTwice, &orderMissing, &propertyListNoFile, &propertyListUnreadable,
             &propertyListAnothers, &systemUnknown},
            look};
}
