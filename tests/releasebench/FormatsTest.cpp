// The examples of docs/formats.md, read and written by the engine's own code.
#include <algorithm>
#include <filesystem>
#include <list>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include <boost/algorithm/string/replace.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FormatExamples.h"
#include "HotFixSelection.h"
#include "InstallationOrder.h"
#include "InstallerScript.h"
#include "PackageList.h"
#include "PackageRecords.h"
#include "Paths.h"
#include "Program.h"
#include "ReleaseRecord.h"
#include "SubscriptionDatabase.h"
#include "Text.h"
#include "TextFile.h"
#include "TextList.h"
#include "TolvaneHandler.h"
#include "UpdateManager.h"

namespace {

namespace fs = std::filesystem;

const std::string work = "/tmp/formats";
const std::string product = "1.0.0.5";

// The machine of the examples, before anything happens, and nothing of it in the end.
class Formats : public testing::Test {
protected:
    void SetUp() override {
        putExample("ProductConfig.xml", prodConfigXml);
        putExample("configuration.plist", configurationPlistPath);
        putExample("DynaConfig.plist", dynaConfigPlistPath);
        putExample("SystemVersion.plist", systemVersionPlistPath);
    }
    void TearDown() override {
        for (const std::string &path : {work, keyCoreDownloadCache, std::string(packageListPath),
                                        std::string(traceLogPath), std::string(appIdMarkerPath)})
            fs::remove_all(path);
    }
};

// --- what the engine reads

// The release values go to the record, the catalogs are told line by line.
std::string readReply(const std::string &reply, ReleaseRecord &record) {
    auto urls = CatalogParser(record).getCatalogUrls(reply);
    std::string text;
    for (const std::string group : {"Core", "Partner"}) {
        OwnedTexts owned(std::move(urls[group]));
        for (const std::string url : owned.list())
            text += group + ": " + url + "\n";
    }
    return text;
}

std::string toldOfReply(const std::string &reply) {
    ReleaseRecord record;
    const std::string catalogs = readReply(reply, record);
    return std::string("accepted: ") + (TolvaneHandler().processResponse(reply) ? "yes" : "no") +
           "\nrelease: " + record.getRelName() + ", core " + record.getCoreReleaseVer() + ", partner " +
           record.getPartnerReleaseVer() + "\n" + catalogs;
}

std::string boundsOf(const std::string &least, const std::string &most) {
    return (least.empty() ? "any" : least) + " to " + (most.empty() ? "any" : most);
}

bool applies(const HotFixPackageInfo &hotFix) {
    return judgeHotFix(hotFix, product, TolvaneHandler().getOSVersion()) == Selection::applies;
}

std::string toldOf(const HotFixPackageInfo &hotFix) {
    return "hot-fix " + hotFix.name + " of " + hotFix.size + " bytes: version " + hotFix.productVer +
           ", build " + hotFix.buildNo + (hotFix.repost ? ", repost" : "") + "\n  " + hotFix.url + "\n  " +
           hotFix.hash + "\n  product " + boundsOf(hotFix.minVer, hotFix.maxVer) + ", system " +
           boundsOf(hotFix.osxMinVer, hotFix.osxMaxVer) +
           (applies(hotFix) ? ": applies" : ": does not apply") + "\n";
}

// Names and texts.
using Catalogs = std::vector<std::pair<std::string, std::string>>;

// Catalogs as they lie on a machine.
class ReadCatalogs {
public:
    explicit ReadCatalogs(const Catalogs &catalogs) {
        fs::create_directories(work);
        for (const auto &[name, text] : catalogs) {
            m_files.push_back(work + "/" + name);
            writeText(m_files.back(), text);
        }
        products = m_parser.getProductInfo(m_files);
        hotFixes = m_parser.getHotFixInfo(m_files);
    }

    std::string text() const {
        std::string text;
        if (record.getCBRMSBuildNO() != "0")
            text += "branding build " + record.getCBRMSBuildNO() + "\n";
        for (const ProductInfo &package : products) {
            text += package.url.empty()
                        ? "no full package\n"
                        : "full package " + package.name + ": version " + package.version + ", build " +
                              package.mainBuildNo + "\n  " + package.url + "\n  " + package.hash + "\n";
        }
        for (const HotFixPackageInfo &hotFix : hotFixes)
            text += toldOf(hotFix);
        return text;
    }

    ReleaseRecord record;
    std::vector<ProductInfo> products;
    std::vector<HotFixPackageInfo> hotFixes;

private:
    std::list<std::string> m_files;
    CatalogParser m_parser{record};
};

TEST_F(Formats, RequestOfAnUpdateIsTheExample) {
    TolvaneHandler handler;
    // Nobody answers; what was asked with stays.
    EXPECT_EQ(handler.sendTolvaneUpdateRequest(product, upToDash("105-1"), "1"), "");
    EXPECT_EQ(handler.getTolvaneRequestBody(), inOneLine(example("productrequest.xml")));
}

TEST_F(Formats, RequestOfAFreshInstallationIsTheExample) {
    EXPECT_EQ(TolvaneHandler().getTolvaneRequestBody(), inOneLine(example("productrequest.fresh.xml")));
}

TEST_F(Formats, ReplyIsReadAsTold) {
    EXPECT_EQ(toldOfReply(example("productresponse.xml")), example("productresponse.xml: read"));
    EXPECT_FALSE(TolvaneHandler().processResponse(example("productresponse.none.xml")));
    EXPECT_FALSE(TolvaneHandler().processResponse(example("productresponse.failed.xml")));
}

TEST_F(Formats, CatalogsAreReadAsTold) {
    for (const std::string name : {"platform_maccat.xml", "dynamicbranding_maccat.xml"})
        EXPECT_EQ(ReadCatalogs(Catalogs{{name, example(name)}}).text(), example(name + ": read"));
}

// An example that is changed in one place, and what is read then instead of what.
struct Departure {
    const char *text;
    const char *by;
    const char *read;
    const char *readInstead;
};

std::string replaced(const std::string &text, const char *part, const char *by) {
    EXPECT_NE(text.find(part), std::string::npos) << part;
    return boost::algorithm::replace_first_copy(text, part, by);
}

const Departure departuresOfReplies[] = {
    {" status=\"0\"", "", "accepted: yes", "accepted: yes"},
    {"status=\"0\"", "status=\"1 or more\"", "accepted: yes", "accepted: no"},
    {" relver=\"2\"", "", "core 2", "core "},
    {"<products", "<products/><products", "basicmac3.4, core 2", ", core "},
    {"<name>platform_maccat</name>", "", "platform_maccat", ""},
    {"<name>platform_maccat</name>", "<name>a</name><name>b</name>", "platform_maccat", "a"},
    {"<name>platform_maccat</name>", "<name>a<!-- b -->c</name>", "platform_maccat", "ac"},
    {"<caturlroot>https://download.brovik.example/catalogs</caturlroot>", "",
     "Core: https://download.brovik.example/catalogs", "Core: "},
    // A second core product that is partner's: the core catalogs once more, and no partner product's id fits.
    {"</product>", "</product><product appid=\"another\"/>",
     "Partner: https://download.brovik.example/catalogs/dynamicbranding_maccat.xml",
     "Core: https://download.brovik.example/catalogs/platform_maccat.xml"},
};

const Departure departuresOfCatalogs[] = {
    {"<version>1.0.1.0</version>", "<version>1</version><version>2</version>", "pkg: version 1.0.1.0",
     "pkg: version "},
    {"<version>1.0.1.0</version>", "<version><!-- new -->1.0.1.0</version>", "pkg: version 1.0.1.0",
     "pkg: version "},
    {"<minver>1.0.0.0</minver>", "<minver>1.0.0.6</minver><minver>1.0.0.0</minver>",
     "1.0.0.0 to 1.0.0.9, system 10.6.0 to 10.8.9: applies",
     "1.0.0.6 to 1.0.0.9, system 10.6.0 to 10.8.9: does not apply"},
    {"<maxver>1.0.0.9</maxver>", "<maxver>x</maxver>", "to 1.0.0.9, system 10.6.0 to 10.8.9: applies",
     "to x, system 10.6.0 to 10.8.9: does not apply"},
    {"<osx_maxver>10.8.9</osx_maxver>", "<osx_maxver/>", "10.6.0 to 10.8.9", "10.6.0 to any"},
    {"<product_ver>1.0.1.0</product_ver>", "",
     "platform.pkg of 2048 bytes: version 1.0.1.0, build 130\n"
     "  https://download.brovik.example/HF_1.0.1.0/platform.pkg\n"
     "  F9F1A82361A281A1665F5835AABE5390D926673A\n"
     "  product 1.0.0.0 to 1.0.0.9, system 10.6.0 to 10.8.9: applies",
     "platform.pkg of 2048 bytes: version , build 130\n"
     "  https://download.brovik.example/HF_1.0.1.0/platform.pkg\n"
     "  F9F1A82361A281A1665F5835AABE5390D926673A\n"
     "  product 1.0.0.0 to 1.0.0.9, system 10.6.0 to 10.8.9: does not apply"},
    {"YES", "yes", ", repost", ""},
};

TEST_F(Formats, DeparturesFromTheExamplesAreReadAsTold) {
    for (const Departure &departure : departuresOfReplies) {
        EXPECT_EQ(toldOfReply(replaced(example("productresponse.xml"), departure.text, departure.by)),
                  replaced(example("productresponse.xml: read"), departure.read, departure.readInstead));
    }
    for (const Departure &departure : departuresOfCatalogs) {
        const std::string catalog = replaced(example("platform_maccat.xml"), departure.text, departure.by);
        EXPECT_EQ(ReadCatalogs(Catalogs{{"platform_maccat.xml", catalog}}).text(),
                  replaced(example("platform_maccat.xml: read"), departure.read, departure.readInstead));
    }
}

TEST_F(Formats, OrderOfInstallationIsReadAsTold) {
    std::string lines;
    for (const std::string &name : UpdateManager().getInstalationOrder())
        lines += name + "\n";
    EXPECT_EQ(lines, example("DynaConfig.plist: read"));
}

TEST_F(Formats, SubscriptionTellsTheApplicationIdAsTold) {
    installSubscriptionDatabase(SUBSCRIPTION_DATABASE, example("subscription.txt"));
    EXPECT_EQ(TolvaneHandler().getAppIdForExistingCustomer(), "queformac");
    fs::remove(subscriptionLibraryPath);
}

// --- what the engine writes

Catalogs offeredCatalogs() {
    return {{"platform_maccat.xml", example("platform_maccat.xml")},
            {"dynamicbranding_maccat.xml", example("dynamicbranding_maccat.xml")}};
}

// The packages that the update of the examples downloads.
std::list<std::string> downloadedPaths(const std::vector<HotFixPackageInfo> &hotFixes) {
    PackageRecords records;
    records.setFreshInstallMode(false);
    records.setHotFixes(hotFixes);
    std::list<std::string> paths;
    for (const HotFixPackageInfo &hotFix : hotFixes) {
        if (applies(hotFix))
            paths.push_back(records.destinationOf(hotFix.url, packageDirectory()));
    }
    return paths;
}

TEST_F(Formats, UpdateLeavesThePackageListAndTheScriptOfTheExamples) {
    const ReadCatalogs catalogs(offeredCatalogs());
    ASSERT_TRUE(writePackageList(downloadedPaths(catalogs.hotFixes)));
    EXPECT_EQ(readText(packageListPath), example("packagelist.txt"));

    std::vector<std::string> packages = readPackageList().value();
    UpdateManager().quicksort(packages, 0, static_cast<int>(packages.size()) - 1);
    packages.erase(std::remove_if(packages.begin(), packages.end(), isBrandingPackage), packages.end());
    EXPECT_EQ(installerScript(installationOrder(packages, UpdateManager().getInstalationOrder())),
              example("installer.sh"));
}

TEST_F(Formats, UpdatePreparesTheConfigurationOfTheExample) {
    ReadCatalogs catalogs(offeredCatalogs());
    static_cast<void>(readReply(example("productresponse.xml"), catalogs.record));
    ReleaseMaxima maxima{product};
    for (const HotFixPackageInfo &hotFix : catalogs.hotFixes) {
        if (applies(hotFix))
            maxima.include(hotFix);
    }
    catalogs.record.setMaxPackageVersion(maxima.version);
    catalogs.record.setMaxBuildNo(maxima.buildNo);
    fs::create_directories(keyCoreDownloadCache);
    catalogs.record.writeToProductConfiguration();
    EXPECT_EQ(readText(updatedProdConfigXml), example("TempDownload/ProductConfig.xml"));
}

TEST_F(Formats, FreshInstallationRecordsTheReleaseOfTheExample) {
    ReadCatalogs catalogs(Catalogs{{"platform_maccat.xml", example("platform_maccat.xml")}});
    static_cast<void>(readReply(example("productresponse.xml"), catalogs.record));
    catalogs.record.writeToPropertyList(catalogs.products);
    EXPECT_EQ(readText(configurationPlistPath), example("configuration.plist: afterwards"));
}

TEST_F(Formats, LogHasTheLinesOfTheExample) {
    EXPECT_EQ(run({"/usr/local/Brovik/qrn/bin/productUpdater"}).status, 255);
    const std::regex stamp("(^|\n)[0-9]{4}-[0-9]{2}-[0-9]{2}\\.[0-9]{2}:[0-9]{2}:[0-9]{2} : ");
    EXPECT_EQ(std::regex_replace(readText(traceLogPath), stamp, "$1> "),
              std::regex_replace(example("DownloadManager.log"), stamp, "$1> "));
}

TEST_F(Formats, EveryExampleIsOneOfThese) {
    EXPECT_THAT(exampleNames(),
                testing::UnorderedElementsAre(
                    "productrequest.xml", "productrequest.fresh.xml", "productresponse.xml",
                    "productresponse.xml: read", "productresponse.none.xml", "productresponse.failed.xml",
                    "platform_maccat.xml", "platform_maccat.xml: read", "dynamicbranding_maccat.xml",
                    "dynamicbranding_maccat.xml: read", "ProductConfig.xml", "TempDownload/ProductConfig.xml",
                    "configuration.plist", "configuration.plist: afterwards", "DynaConfig.plist",
                    "DynaConfig.plist: read", "SystemVersion.plist", "packagelist.txt", "installer.sh",
                    "subscription.txt", "DownloadManager.log"));
}

} // namespace
