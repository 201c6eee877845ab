#include <algorithm>
#include <filesystem>
#include <sstream>

#include <plist/plist.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ControllerFixture.h"
#include "FailingAllocation.h"
#include "NoMoreFiles.h"
#include "Program.h"
#include "RefusedLock.h"
#include "RefusedThreads.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

const std::string plistPath = "/private/tmp/configuration.plist";
const std::string configPath = "/usr/local/Brovik/ProductConfig.xml";
const std::string updatedConfigPath = "/usr/local/Brovik/TempDownload/ProductConfig.xml";
const std::string packageList = "/tmp/packagelist.txt";
const std::string marker = "/usr/local/Brovik/qrn/var/RequireProductUpdate";
const std::string coreFolder = "/usr/local/Brovik/TempDownload/Catalog/Core/";
const std::string partnerFolder = "/usr/local/Brovik/TempDownload/Catalog/Partner/";

const std::string updateLine = "INFO : DownloadController - ProductUpdate\n";
const std::string freshInstallLine = "INFO: Enter FreshInstall\n";
const std::string catalogsLine = "INFO : Getting Product Catalogs \n";
const std::string downloadLine = "INFO: Download Start\n";
const std::string threadsLine = "INFO: Creating Download thread\n";
const std::string entryLine = "INFO : DownloadController::downLoadThreadEntry\n";
const std::string urlsLine = "INFO: Getting downloaded package URLS\n";
const std::string recordLine = "INFO: Updating /tmp/configuratiob.plist : buildno and version \n";
const std::string recordedLine = "INFO: Version and Build no Updated to plist successfully\n";
const std::string notRecordedLine = "ERROR: Version and Build no Updated to plist Failed !\n";

class DownloadControllerTest : public ControllerFixture {
protected:
    // Loads catalogs as a job would, so that their workers are listed in this order.
    void listCatalogs(const std::vector<Offered> &packages) {
        for (const Offered &package : packages) {
            const std::string path = "/catalog" + std::to_string(m_catalogs++) + ".xml";
            server.serve(path, productCatalog(package));
            ASSERT_EQ(load(path), 0);
        }
    }

private:
    unsigned m_catalogs = 0;
};

// --- construction ------------------------------------------------------------------------------------------

TEST_F(DownloadControllerTest, ANewControllerKnowsNothing) {
    DownloadController fresh;
    const DownloadProgressInfo info = fresh.getDownloadProgressInfo();
    EXPECT_EQ(info.progressPercent, 0);
    EXPECT_EQ(info.downloadSpeed, 0);
    EXPECT_EQ(info.remainingTime, 0);
    EXPECT_EQ(info.downloadedSize, 0);
    EXPECT_EQ(info.totalSize, 0);
    EXPECT_FALSE(info.failed);
    EXPECT_FALSE(info.completed);
    EXPECT_TRUE(info.resumable);
    EXPECT_EQ(fresh.getCoreReleaseVer(), "");
    EXPECT_EQ(fresh.getPartnerReleaseVer(), "");
    EXPECT_EQ(fresh.getMaxPackageVersion(), "");
    EXPECT_EQ(fresh.getMaxBuildNo(), "");
    EXPECT_EQ(fresh.getRelName(), "");
    EXPECT_EQ(fresh.getCBRMSBuildNO(), "0");
    EXPECT_THAT(fresh.getDownloadedPackages(), IsEmpty());
    EXPECT_EQ(fresh.getHashValueFromPackagePath("http://any.example/1.pkg"), "");
}

TEST_F(DownloadControllerTest, TheTraceIsOpenedOnce) {
    ASSERT_TRUE(std::filesystem::exists("/var/log/DownloadManager.log"));
    std::filesystem::remove("/var/log/DownloadManager.log");
    const DownloadController second;
    EXPECT_FALSE(std::filesystem::exists("/var/log/DownloadManager.log"));
}

TEST_F(DownloadControllerTest, TheInstanceIsOneUntilItIsReleased) {
    EXPECT_EQ(DownloadController::getInstance(), &controller);
    controller.setRelName("of the first");
    DownloadController::releaseInstance();
    EXPECT_EQ(DownloadController::getInstance()->getRelName(), "");
    DownloadController::releaseInstance();
    DownloadController::releaseInstance(); // without one
}

TEST_F(DownloadControllerTest, DestructionEndsWhatIsBeingDownloaded) {
    server.serve("/1.pkg", "content", {answer::hold(1, Gate())});
    auto other = std::make_unique<DownloadController>();
    const std::string url = server.url("/1.pkg");
    const std::string file = folder + "/1.pkg";
    // The second download cannot be started, which leaves the first one running behind the call.
    std::list<const char *> urls{url.c_str(), url.c_str()};
    std::list<const char *> files{file.c_str(), file.c_str()};
    const RefusedThreads refused(1);
    other->createDownloadThreads(urls, files);
    EXPECT_EQ(timesTraced("ERROR: Download Thread Creation Failed\n"), 1);
    EXPECT_TRUE(comesTrue([this] { return server.requestCount() == 1; }));
    other.reset();
    EXPECT_EQ(timesTraced("Download Error: CURLE_ABORTED_BY_CALLBACK URL: <server>/1.pkg\n"), 1);
}

TEST(DownloadControllerWithoutTrace, WorksAndWritesNothing) {
    std::filesystem::create_directory("/var/log/DownloadManager.log");
    DownloadController controller;
    EXPECT_EQ(controller.productUpdate("1.0.0.0", "105", "other"), 0);
    EXPECT_EQ(controller.getAffId("105-1"), "105");
    EXPECT_TRUE(std::filesystem::is_empty("/var/log/DownloadManager.log"));
}

struct Accessor {
    const char *name;
    std::function<void(DownloadController &, std::string)> set;
    std::function<std::string(const DownloadController &)> get;
};

class ReleaseValue : public DownloadControllerTest, public testing::WithParamInterface<Accessor> {};

TEST_P(ReleaseValue, IsWhatWasSetLast) {
    GetParam().set(controller, "first");
    GetParam().set(controller, "1.2.3.4 & <more>");
    EXPECT_EQ(GetParam().get(controller), "1.2.3.4 & <more>");
    GetParam().set(controller, "");
    EXPECT_EQ(GetParam().get(controller), "");
}

INSTANTIATE_TEST_SUITE_P(
    DownloadController, ReleaseValue,
    testing::Values(
        Accessor{"CoreReleaseVer", &DownloadController::setCoreReleaseVer,
                 &DownloadController::getCoreReleaseVer},
        Accessor{"PartnerReleaseVer", &DownloadController::setPartnerReleaseVer,
                 &DownloadController::getPartnerReleaseVer},
        Accessor{"MaxPackageVersion", &DownloadController::setMaxPackageVersion,
                 &DownloadController::getMaxPackageVersion},
        Accessor{"MaxBuildNo", &DownloadController::setMaxBuildNo, &DownloadController::getMaxBuildNo},
        Accessor{"RelName", &DownloadController::setRelName, &DownloadController::getRelName},
        Accessor{"CBRMSBuildNo", &DownloadController::setCBRMSBuildNo, &DownloadController::getCBRMSBuildNO}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

struct AffId {
    const char *name;
    const char *given;
    const char *reduced;
};

class ReducedAffId : public DownloadControllerTest, public testing::WithParamInterface<AffId> {};

TEST_P(ReducedAffId, EndsBeforeTheFirstHyphen) {
    EXPECT_EQ(controller.getAffId(GetParam().given), GetParam().reduced);
}

INSTANTIATE_TEST_SUITE_P(DownloadController, ReducedAffId,
                         testing::Values(AffId{"NoHyphen", "105", "105"}, AffId{"OneHyphen", "105-1", "105"},
                                         AffId{"TwoHyphens", "105-1-2", "105"},
                                         AffId{"AtTheEnd", "105-", "105"}, AffId{"AtTheStart", "-105", ""},
                                         AffId{"OnlyHyphen", "-", ""}, AffId{"Empty", "", ""}),
                         [](const auto &caseInfo) { return caseInfo.param.name; });

// --- catalogs ----------------------------------------------------------------------------------------------

Messages fetchLines(const std::string &group, const std::string &path) {
    return {"\n " + group + " Catalogs Are :: --- >> <server>" + path + "\n\n",
            downloadLine,
            threadsLine,
            entryLine,
            "INFO : Start download: <server>" + path + "\n",
            "Successfully downloaded: <server>" + path + "\n"};
}

Messages operator+(Messages left, const Messages &right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

TEST_F(DownloadControllerTest, CoreCatalogsAreFetched) {
    server.serve("/core.xml", "the core catalog");
    EXPECT_EQ(controller.getCatalogs(replyNaming(server.url(""), {"core"})), 0);
    EXPECT_EQ(readText(coreFolder + "core.xml"), "the core catalog");
    // Kept: the partner group is always there, so that it is never called missing.
    EXPECT_EQ(messages(), Messages{catalogsLine} + fetchLines("Core", "/core.xml") +
                              Messages({downloadLine, threadsLine}));
}

TEST_F(DownloadControllerTest, PartnerCatalogsAreFetchedAfterTheCoreOnes) {
    server.serve("/core.xml", "the core catalog");
    server.serve("/partner.xml", "the partner catalog");
    EXPECT_EQ(controller.getCatalogs(replyNaming(server.url(""), {"core"}, {"partner"})), 0);
    EXPECT_EQ(readText(coreFolder + "core.xml"), "the core catalog");
    EXPECT_EQ(readText(partnerFolder + "partner.xml"), "the partner catalog");
    EXPECT_EQ(messages(), Messages{catalogsLine} + fetchLines("Core", "/core.xml") +
                              fetchLines("Partner", "/partner.xml"));
}

TEST_F(DownloadControllerTest, AllUrlsOfAGroupAreNamedBeforeTheyAreFetched) {
    for (const char *path : {"/a.xml", "/b.xml"})
        server.serve(path, "catalog");
    EXPECT_EQ(controller.getCatalogs(replyNaming(server.url(""), {"a", "b"})), 0);
    const Messages traced = messages();
    ASSERT_GE(traced.size(), 4U);
    EXPECT_EQ(traced[1], "\n Core Catalogs Are :: --- >> <server>/a.xml\n\n");
    EXPECT_EQ(traced[2], "\n Core Catalogs Are :: --- >> <server>/b.xml\n\n");
    EXPECT_EQ(traced[3], downloadLine);
    EXPECT_TRUE(std::filesystem::exists(coreFolder + "a.xml"));
    EXPECT_TRUE(std::filesystem::exists(coreFolder + "b.xml"));
}

TEST_F(DownloadControllerTest, CatalogUrlsAreTracedAtTheLevelOfAnError) {
    server.serve("/core.xml", "the core catalog");
    downloadManagerTraceFlagvalue = 2;
    EXPECT_EQ(controller.getCatalogs(replyNaming(server.url(""), {"core"})), 0);
    downloadManagerTraceFlagvalue = 5;
    EXPECT_THAT(messages(), ElementsAre("\n Core Catalogs Are :: --- >> <server>/core.xml\n\n", threadsLine,
                                        threadsLine));
}

struct Reply {
    const char *name;
    std::string text;
};

class ReplyWithoutCatalogs : public DownloadControllerTest, public testing::WithParamInterface<Reply> {};

TEST_P(ReplyWithoutCatalogs, IsNoFailure) {
    EXPECT_EQ(controller.getCatalogs(GetParam().text), 0);
    EXPECT_THAT(messages(), ElementsAre(catalogsLine, downloadLine, threadsLine, downloadLine, threadsLine));
    EXPECT_THAT(controller.getProductInfoFromCatalogs(), IsEmpty());
    EXPECT_THAT(controller.getHotFixPackageInfoFormCatalogs(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(DownloadController, ReplyWithoutCatalogs,
                         testing::Values(Reply{"EmptyLists", replyNaming("http://any.example", {})},
                                         Reply{"NoList", "<productresponse status=\"0\"/>"},
                                         Reply{"Empty", ""}, Reply{"NoXml", "Service unavailable"},
                                         Reply{"CutOff", "<productresponse><pkglist>"}),
                         [](const auto &caseInfo) { return caseInfo.param.name; });

TEST_F(DownloadControllerTest, ACatalogThatCannotBeFetchedIsNoFailureYet) {
    EXPECT_EQ(controller.getCatalogs(replyNaming(server.url(""), {"missing"})), 0);
    EXPECT_EQ(timesTraced("Error: HTTP response= 404 and CURL response = 0, URL: <server>/missing.xml\n"), 1);
}

TEST_F(DownloadControllerTest, EveryListedFileIsParsedInTheOrderOfTheWorkers) {
    listCatalogs({{"One", "http://any.example/1.pkg", "11AA", "1.0.0.1"},
                  {"Two", "http://any.example/2.pkg", "22BB", "1.0.0.2"}});
    const std::vector<ProductInfo> products = controller.getProductInfoFromCatalogs();
    ASSERT_EQ(products.size(), 2U);
    EXPECT_EQ(products[0].name, "One");
    EXPECT_EQ(products[0].hash, "11AA");
    EXPECT_EQ(products[1].url, "http://any.example/2.pkg");
    EXPECT_EQ(products[1].version, "1.0.0.2");
}

TEST_F(DownloadControllerTest, HotFixesAreReadFromEveryListedFile) {
    server.serve("/a.xml", hotFixCatalog({{"One", "http://any.example/1.pkg", "11AA", "1.0.0.1"},
                                          {"Two", "http://any.example/2.pkg", "22BB", "1.0.0.2"}}));
    server.serve("/b.xml", hotFixCatalog({{"Three", "http://any.example/3.pkg", "33CC", "1.0.0.3"}}));
    EXPECT_EQ(load("/a.xml"), 0);
    EXPECT_EQ(load("/b.xml"), 0);
    const std::vector<HotFixPackageInfo> hotFixes = controller.getHotFixPackageInfoFormCatalogs();
    ASSERT_EQ(hotFixes.size(), 3U);
    EXPECT_EQ(hotFixes[0].name, "One");
    EXPECT_EQ(hotFixes[1].name, "Two");
    EXPECT_EQ(hotFixes[2].hash, "33CC");
}

// --- the package URLs --------------------------------------------------------------------------------------

struct Choice {
    const char *name;
    // name, path below the server (one that begins with "!" is not reachable), whether a partner's
    std::vector<ProductInfo> products;
    std::vector<std::string> chosen;
    std::vector<std::string> asked;
    Messages messages;
};

ProductInfo core(const std::string &name, const std::string &path) {
    return {path, name, false, "", "", ""};
}
ProductInfo partner(const std::string &name, const std::string &path) {
    return {path, name, true, "", "", ""};
}

class PackageUrls : public DownloadControllerTest, public testing::WithParamInterface<Choice> {};

TEST_P(PackageUrls, AreThoseOfTheProducts) {
    std::vector<ProductInfo> products = GetParam().products;
    for (ProductInfo &product : products)
        product.url = product.url[0] == '!' ? refusedUrl(product.url.substr(1)) : server.url(product.url);
    std::list<const char *> urls = controller.getPackageDownloadUrls(products);
    std::vector<std::string> chosen;
    for (const std::string url : urls)
        chosen.push_back(url.substr(server.url("").size()));
    EXPECT_EQ(chosen, GetParam().chosen);
    controller.clearUrlList(urls);

    std::vector<std::string> asked;
    for (const HttpRequest &request : server.requests()) {
        EXPECT_EQ(request.method, "HEAD");
        asked.push_back(request.target);
    }
    EXPECT_EQ(asked, GetParam().asked);
    Messages traced = messages();
    for (std::string &message : traced) {
        const std::size_t refused = message.find(refusedUrl(""));
        if (refused != std::string::npos)
            message.replace(refused, refusedUrl("").size(), "<refused>");
    }
    EXPECT_EQ(traced, GetParam().messages);
}

INSTANTIATE_TEST_SUITE_P(
    DownloadController, PackageUrls,
    testing::Values(
        Choice{"None", {}, {}, {}, {urlsLine}},
        Choice{"InTheirOrder",
               {core("A", "/A"), core("B", "/B"), core("C", "/C")},
               {"/A", "/B", "/C"},
               {"/A", "/B", "/C"},
               {urlsLine}},
        Choice{"PartnerTakesTheCorePackagesPlaceAtTheEnd",
               {core("B", "/core/B.pkg"), core("A", "/core/A.pkg"), partner("B", "/partner/B.pkg")},
               {"/core/A.pkg", "/partner/B.pkg"},
               {"/core/B.pkg", "/core/A.pkg", "/partner/B.pkg"},
               {urlsLine}},
        Choice{"PartnerWithoutACorePackageIsAppended",
               {core("A", "/A.pkg"), partner("B", "/B.pkg")},
               {"/A.pkg", "/B.pkg"},
               {"/A.pkg", "/B.pkg"},
               {urlsLine}},
        Choice{"CoreReplacesNothing",
               {partner("B", "/1/B.pkg"), core("B", "/2/B.pkg")},
               {"/1/B.pkg", "/2/B.pkg"},
               {"/1/B.pkg", "/2/B.pkg"},
               {urlsLine}},
        Choice{"NameAnywhereInTheUrlCounts",
               {core("Suite", "/SuitePlus/other.pkg"), partner("Suite", "/partner.pkg")},
               {"/partner.pkg"},
               {"/SuitePlus/other.pkg", "/partner.pkg"},
               {urlsLine}},
        Choice{"OnlyTheFirstEntryWithTheNameGoes",
               {core("B", "/1/B.pkg"), core("B", "/2/B.pkg"), partner("B", "/3/B.pkg")},
               {"/2/B.pkg", "/3/B.pkg"},
               {"/1/B.pkg", "/2/B.pkg", "/3/B.pkg"},
               {urlsLine}},
        Choice{"EntriesEqualToItGoWithIt",
               {core("B", "/B.pkg"), core("A", "/A.pkg"), core("B", "/B.pkg"), partner("B", "/p/B.pkg")},
               {"/A.pkg", "/p/B.pkg"},
               {"/B.pkg", "/A.pkg", "/B.pkg", "/p/B.pkg"},
               {urlsLine}},
        // Kept: in practice every product counts as a partner's, so that one without a name replaces the
        // first of all.
        Choice{"AnEmptyNameIsInEveryUrl",
               {partner("A", "/A.pkg"), partner("B", "/B.pkg"), partner("", "/C.pkg")},
               {"/B.pkg", "/C.pkg"},
               {"/A.pkg", "/B.pkg", "/C.pkg"},
               {urlsLine}},
        Choice{"PartnersOfOneNameReplaceEachOther",
               {partner("A", "/1/A.pkg"), partner("A", "/2/A.pkg"), partner("A", "/3/A.pkg")},
               {"/3/A.pkg"},
               {"/1/A.pkg", "/2/A.pkg", "/3/A.pkg"},
               {urlsLine}},
        Choice{"OneUnreachableVoidsAll",
               {core("A", "/A"), core("B", "!/B"), core("C", "/C")},
               {},
               {"/A"},
               {urlsLine, "ERROR: <refused>/B Package Missing\n"}}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

TEST_F(DownloadControllerTest, AnEmptyUrlVoidsAll) {
    EXPECT_THAT(controller.getPackageDownloadUrls({{"", "A", true, "", "", ""}}), IsEmpty());
    EXPECT_THAT(messages(), ElementsAre(urlsLine, "ERROR:  Package Missing\n"));
}

// --- exceptions ------------------------------------------------------------------------------------------

const Messages catalogsFailed{"ERROR: Not able to get Catalaog URLS\n", "ERROR: No Cata log Found\n"};

TEST_F(DownloadControllerTest, AnExceptionWhileCatalogsAreFetchedIsAFailure) {
    int result = 0;
    {
        const RefusedLock refused(0);
        result = controller.getCatalogs(replyNaming(server.url(""), {"core"}));
        EXPECT_TRUE(refused.happened());
    }
    EXPECT_EQ(result, -1);
    EXPECT_THAT(messages(), ElementsAre(catalogsLine, catalogsFailed[0]));
}

TEST_F(DownloadControllerTest, AFreshInstallWithoutItsCatalogsFailsAndCanBeRepeated) {
    offerProducts({package("1.pkg", "1.0.0.0", "content")});
    int result = 0;
    {
        const RefusedLock refused(5); // those of the job and of its beginning come first
        result = controller.freshInstall();
        EXPECT_TRUE(refused.happened());
    }
    EXPECT_EQ(result, -1);
    const Messages found = messages();
    EXPECT_EQ(Messages(found.end() - 2, found.end()), catalogsFailed);
    EXPECT_TRUE(controller.getDownloadProgressInfo().failed);
    controller.retryDownload();
    EXPECT_TRUE(controller.getDownloadProgressInfo().completed);
}

TEST_F(DownloadControllerTest, AFreshInstallThatAnExceptionEndsCanBeRepeated) {
    offerProducts({package("1.pkg", "1.0.0.0", "content")});
    bool thrown = false;
    // What is allocated first is for reading the property list, which survives it.
    for (std::size_t allocation = 0; !thrown; ++allocation) {
        ASSERT_LT(allocation, 20U);
        DownloadController::releaseInstance();
        DownloadController &fresh = *DownloadController::getInstance();
        const FailingAllocation failing(allocation);
        try {
            static_cast<void>(fresh.freshInstall());
        } catch (const std::bad_alloc &) {
            thrown = true;
        }
    }
    DownloadController &repeated = *DownloadController::getInstance();
    EXPECT_TRUE(repeated.getDownloadProgressInfo().failed);
    repeated.retryDownload();
    EXPECT_TRUE(repeated.getDownloadProgressInfo().completed);
}

TEST_F(DownloadControllerTest, ACheckWithoutItsCatalogsFails) {
    serviceAnswers(replyNaming(server.url(""), {"core"}));
    int result = 0;
    {
        const RefusedLock refused(6); // those of the job and of its beginning come first
        result = controller.productUpdate("1.0.0.0", "105", "CheckForInstall");
        EXPECT_TRUE(refused.happened());
    }
    EXPECT_EQ(result, -1);
    const Messages found = messages();
    EXPECT_EQ(Messages(found.end() - 2, found.end()), catalogsFailed);
}

TEST_F(DownloadControllerTest, ADownloadWithoutMemoryForItsWorkerIsReported) {
    const std::string url = server.url("/1.pkg");
    const std::string file = folder + "/1.pkg";
    const std::string line = "ERROR: Failed to create downloadHelper\n";
    int result = 0;
    // What is noted of the file is allocated first.
    for (std::size_t allocation = 0; timesTraced(line) == 0; ++allocation) {
        ASSERT_LT(allocation, 10U);
        const FailingAllocation failing(allocation);
        try {
            result = controller.downLoadThreadEntry(url.c_str(), file.c_str());
        } catch (const std::bad_alloc &) {
        }
    }
    EXPECT_EQ(result, -1);
    EXPECT_EQ(server.requestCount(), 0U);
}

struct ExportedCall {
    const char *name;
    std::function<bool()> fails; // without memory for its first allocation
};

class ExportWithoutMemory : public DownloadControllerTest,
                            public testing::WithParamInterface<ExportedCall> {};

TEST_P(ExportWithoutMemory, TellsItByItsResultAndTheTrace) {
    bool failed = false;
    {
        const FailingAllocation failing(0);
        failed = GetParam().fails();
        EXPECT_TRUE(failing.happened());
    }
    EXPECT_TRUE(failed);
    EXPECT_EQ(messages().back(), "ERROR: std::bad_alloc\n");
}

INSTANTIATE_TEST_SUITE_P(
    DownloadController, ExportWithoutMemory,
    testing::Values(
        ExportedCall{"GetDownloadProgressInfo", [] { return GetDownloadProgressInfo() == nullptr; }},
        ExportedCall{"GetDownloadedPackages", [] { return GetDownloadedPackages() == nullptr; }},
        ExportedCall{
            "GetHashValue",
            [] { return std::string(GetHashValue("https://a.text/that/is/too/long.to/be/kept")).empty(); }}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

// The interruption is an exception too, but none that a standard one catches.
TEST_F(DownloadControllerTest, AnInterruptedThreadOfTheHostFinishesItsCall) {
    const Gate gate;
    offerProducts({package("A.pkg", "1.0.0.1", std::string(1000, 'x'), {answer::hold(10, gate)})});
    int result = 1;
    bool interruptedAfterwards = false;
    boost::thread host([&] {
        result = FreshInstall();
        try {
            boost::this_thread::interruption_point();
        } catch (const boost::thread_interrupted &) {
            interruptedAfterwards = true;
        }
    });
    ASSERT_TRUE(comesTrue([this] { return controller.getDownloadProgressInfo().downloadedSize > 0; }));
    host.interrupt();
    gate.open();
    host.join();
    EXPECT_EQ(result, 0);
    EXPECT_TRUE(interruptedAfterwards);
    EXPECT_TRUE(controller.getDownloadProgressInfo().completed);
}

TEST_F(DownloadControllerTest, AnExportedJobTellsAnExceptionInTheTrace) {
    const Messages expected{"ERROR: boost: mutex lock failed in pthread_mutex_lock: Invalid argument\n"};
    int result = 0;
    {
        const RefusedLock refused(0);
        result = FreshInstall();
    }
    EXPECT_EQ(result, -1);
    EXPECT_EQ(messages(), expected);
    forget();
    {
        const RefusedLock refused(0);
        RetryDownloadPackages();
    }
    EXPECT_EQ(messages().back(), expected.back());
}

// --- fresh installation ----------------------------------------------------------------------------------

struct FreshFailure {
    const char *name;
    // What the service answers for a server at this address.
    std::function<std::string(const std::string &root)> reply;
    Messages lastMessages;
};

class FreshInstallFailure : public DownloadControllerTest,
                            public testing::WithParamInterface<FreshFailure> {};

TEST_P(FreshInstallFailure, IsToldByResultTraceAndBothFlags) {
    server.serve("/missing.xml", productCatalog({"A", server.url("/A.pkg"), "11AA", "1.0.0.0"}));
    server.serve("/branding.xml", "<product_catalog/>");
    const std::string reply = GetParam().reply(server.url(""));
    if (!reply.empty())
        serviceAnswers(reply);
    server.answerHead("/A.pkg", answer::nothing());

    EXPECT_EQ(FreshInstall(), -1);
    const Messages traced = messages();
    const Messages &expected = GetParam().lastMessages;
    ASSERT_GE(traced.size(), expected.size());
    EXPECT_EQ(traced.front(), freshInstallLine);
    EXPECT_EQ(Messages(traced.end() - static_cast<std::ptrdiff_t>(expected.size()), traced.end()), expected);
    EXPECT_TRUE(controller.getDownloadProgressInfo().failed) << "a watcher sees the failure";
    EXPECT_FALSE(controller.getDownloadProgressInfo().completed);
    // A retry runs the whole installation again.
    forget();
    RetryDownloadPackages();
    EXPECT_THAT(messages(), Contains(freshInstallLine));
}

INSTANTIATE_TEST_SUITE_P(
    DownloadController, FreshInstallFailure,
    testing::Values(FreshFailure{"Refused",
                                 [](const std::string &) { return "<productresponse status=\"-1\"/>"; },
                                 {"ERROR Tolvane response\n"}},
                    FreshFailure{"NoCatalogs",
                                 [](const std::string &root) { return replyNaming(root, {}); },
                                 {"ERROR: No products found For Fresh Install\n"}},
                    FreshFailure{
                        "UnreachablePackage",
                        [](const std::string &root) { return replyNaming(root, {"missing"}); },
                        {urlsLine, "ERROR: <server>/A.pkg Package Missing\n", "ERROR: Package Missing\n"}},
                    // Kept: a catalog without a package, as the branding one is, voids the installation.
                    FreshFailure{"CatalogWithoutPackage",
                                 [](const std::string &root) { return replyNaming(root, {"branding"}); },
                                 {urlsLine, "ERROR:  Package Missing\n", "ERROR: Package Missing\n"}}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

TEST_F(DownloadControllerTest, AServiceThatCannotBeReachedFailsTheFreshInstall) {
    std::filesystem::remove("/etc/hosts");
    EXPECT_EQ(controller.freshInstall(), -1);
    EXPECT_EQ(messages().back(), "ERROR Tolvane response\n");
    EXPECT_TRUE(controller.getDownloadProgressInfo().failed);
}

TEST_F(DownloadControllerTest, AFreshInstallDownloadsEveryPackage) {
    const std::string one = fileContent(3000, 1);
    const std::string two = fileContent(4000, 2);
    server.serve("/core.xml", productCatalog(package("One.pkg", "1.0.0.1", one)));
    server.serve("/partner.xml", productCatalog(package("Two.pkg", "1.0.0.2", two)));
    serviceAnswers(replyNaming(server.url(""), {"core"}, {"partner"}));
    EXPECT_EQ(controller.freshInstall(), 0);
    EXPECT_EQ(readText("/usr/local/Brovik/TempDownload/Package/1.0.0.1/One.pkg"), one);
    EXPECT_EQ(readText("/usr/local/Brovik/TempDownload/Package/1.0.0.2/Two.pkg"), two);
    EXPECT_TRUE(controller.getDownloadProgressInfo().completed);
    EXPECT_EQ(controller.getCoreReleaseVer(), "3.1");
    EXPECT_EQ(controller.getPartnerReleaseVer(), "2.2");
    EXPECT_EQ(controller.getRelName(), "basicmac3.4");
    EXPECT_EQ(controller.getMaxPackageVersion(), "1.0.0.2");
}

TEST_F(DownloadControllerTest, FailedDownloadsAreNoEarlyFailure) {
    offerProducts({package("One.pkg", "1.0.0.1", "content", {answer::status("404 Not Found")})});
    EXPECT_EQ(controller.freshInstall(), 0);
    EXPECT_TRUE(controller.getDownloadProgressInfo().failed);
    forget();
    controller.retryDownload();
    EXPECT_THAT(messages(), Not(Contains(freshInstallLine)));
    EXPECT_THAT(messages(), Contains("Resume downloading of <server>/One.pkg\n"));
}

// --- product update
// ------------------------------------------------------------------------------------------

class UnknownMode : public DownloadControllerTest, public testing::WithParamInterface<const char *> {};

TEST_F(DownloadControllerTest, AnUnknownModeNeitherWaitsForARunningJobNorChangesIt) {
    const Gate gate;
    const Offered offered = package("A.pkg", "1.0.0.1", std::string(1000, 'x'), {answer::hold(10, gate)});
    offerProducts({offered});
    freshInstallInBackground();
    ASSERT_TRUE(comesTrue([this] { return controller.getDownloadProgressInfo().downloadedSize > 0; }));
    EXPECT_EQ(controller.productUpdate("1.0.0.5", "105", "Check"), 0);
    // Still by the product's name.
    EXPECT_EQ(controller.getHashValueFromPackagePath("A.pkg"), offered.hash);
    gate.open();
    background.join();
}

TEST_P(UnknownMode, DoesNothing) {
    writeText(packageList, "/tmp/a.pkg\n");
    EXPECT_EQ(controller.productUpdate("1.0.0.5", "105", GetParam()), 0);
    EXPECT_THAT(messages(), ElementsAre(updateLine));
    EXPECT_EQ(readText(packageList), "/tmp/a.pkg\n");
    EXPECT_TRUE(std::filesystem::is_empty("/srv/rehearsal/log/requests"));
}

INSTANTIATE_TEST_SUITE_P(DownloadController, UnknownMode,
                         testing::Values("", "checkforinstall", "CHECKFORINSTALL", "CheckForInstall ",
                                         "install", "INSTALL", " Install", "Installs"));

struct Check {
    const char *name;
    std::function<void(LocalServer &)> prepare;
    int result;
    std::string lastMessage;
};

class CheckFailure : public DownloadControllerTest, public testing::WithParamInterface<Check> {};

TEST_P(CheckFailure, LeavesNoPackageListAndNoMarker) {
    GetParam().prepare(server);
    EXPECT_EQ(controller.productUpdate("1.0.0.5", "105", "CheckForInstall"), GetParam().result);
    EXPECT_EQ(messages().back(), GetParam().lastMessage);
    EXPECT_FALSE(std::filesystem::exists(packageList));
    EXPECT_FALSE(std::filesystem::exists(marker));
    EXPECT_FALSE(std::filesystem::exists(updatedConfigPath));
}

void offerHotFix(LocalServer &server, const Offered &hotFix) {
    server.serve("/core.xml", hotFixCatalog({hotFix}));
    serviceAnswers(replyNaming(server.url(""), {"core"}));
}

INSTANTIATE_TEST_SUITE_P(
    DownloadController, CheckFailure,
    testing::Values(
        Check{"Refused", [](LocalServer &) { serviceAnswers("<productresponse status=\"-1\"/>"); }, -1,
              "ERROR Tolvane response\n"},
        Check{"NoHotFixes",
              [](LocalServer &server) { serviceAnswers(replyNaming(server.url(""), {"missing"})); }, 0,
              "No products found For Update\n"},
        Check{"NothingApplies",
              [](LocalServer &server) {
                  offerHotFix(server, {"A", server.url("/A.pkg"), "11AA", "1.0.1.0", "1", "", "0.0.0.1"});
              },
              0, "No updates Found\n"},
        Check{"DownloadFailed",
              [](LocalServer &server) {
                  offerHotFix(server, {"A", server.url("/missing.pkg"), "11AA", "1.0.1.0"});
              },
              -1, "ERROR: Download Failed\n"}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

TEST_F(DownloadControllerTest, ACheckLeavesListMarkerAndConfiguration) {
    writeText(packageList,
              "left by an earlier run, and longer than the new list, so that it must be truncated\n"
              "/usr/local/Brovik/TempDownload/Package/0.0.0.1/left-behind.pkg\n");
    const std::string content = fileContent(3000);
    offerHotFixes({package("A.pkg", "1.0.1.0", content)});
    EXPECT_EQ(controller.productUpdate("1.0.0.5", "105-1-2", "CheckForInstall"), 0);
    EXPECT_EQ(readText(packageList), "/usr/local/Brovik/TempDownload/Package/1.0.1.0/A.pkg\n");
    EXPECT_EQ(readText("/usr/local/Brovik/TempDownload/Package/1.0.1.0/A.pkg"), content);
    EXPECT_TRUE(std::filesystem::exists(marker));
    EXPECT_EQ(readText(marker), "");
    EXPECT_THAT(readText(updatedConfigPath), HasSubstr("<ProductVersion>1.0.1.0</ProductVersion>"));
    EXPECT_EQ(controller.getMaxPackageVersion(), "1.0.1.0");
    const std::string request = readText("/srv/rehearsal/log/requests/0001");
    EXPECT_THAT(request, HasSubstr("105"));
    EXPECT_THAT(request, Not(HasSubstr("105-1"))) << "the affiliate id is reduced";
}

TEST_F(DownloadControllerTest, ACheckThatFailsLeavesNothingOfTheOneBefore) {
    const Offered offered = package("A.pkg", "1.0.1.0", "content");
    offerHotFixes({offered});
    EXPECT_EQ(controller.productUpdate("1.0.0.5", "105", "CheckForInstall"), 0);
    EXPECT_TRUE(std::filesystem::exists(packageList));
    DownloadController::releaseInstance();
    DownloadController &second = *DownloadController::getInstance();
    server.serve("/A.pkg", "content",
                 {[](const HttpRequest &, HttpConnection &connection, const std::string &) {
                     // The list is gone before the first byte can come.
                     EXPECT_FALSE(std::filesystem::exists(packageList));
                     EXPECT_FALSE(std::filesystem::exists(marker));
                     connection.reset();
                 }});
    EXPECT_EQ(second.productUpdate("1.0.0.5", "105", "CheckForInstall"), -1);
    EXPECT_FALSE(std::filesystem::exists(packageList));
    EXPECT_FALSE(std::filesystem::exists(marker));
}

TEST_F(DownloadControllerTest, AFreshInstallThatCannotRemoveTheOldListFetchesNothing) {
    // A mount cannot be removed.
    writeText(packageList, "/p/old.pkg\n");
    ASSERT_EQ(mount(packageList.c_str(), packageList.c_str(), nullptr, MS_BIND, nullptr), 0);
    offerProducts({package("A.pkg", "1.0.1.0", "content")});
    EXPECT_EQ(controller.freshInstall(), -1);
    EXPECT_EQ(umount(packageList.c_str()), 0);
    EXPECT_EQ(messages().back(), "ERROR: Not able to remove the old package list\n");
    EXPECT_THAT(server.ranges("/A.pkg"), IsEmpty());
    EXPECT_TRUE(controller.getDownloadProgressInfo().failed);
}

TEST_F(DownloadControllerTest, ACheckThatCannotRemoveTheOldListFetchesNothing) {
    // A mount cannot be removed.
    writeText(packageList, "/p/old.pkg\n");
    ASSERT_EQ(mount(packageList.c_str(), packageList.c_str(), nullptr, MS_BIND, nullptr), 0);
    offerHotFixes({package("A.pkg", "1.0.1.0", "content")});
    EXPECT_EQ(controller.productUpdate("1.0.0.5", "105", "CheckForInstall"), -1);
    EXPECT_EQ(umount(packageList.c_str()), 0);
    EXPECT_EQ(messages().back(), "ERROR: Not able to remove the old package list\n");
    EXPECT_THAT(server.ranges("/A.pkg"), IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(marker));
}

TEST_F(DownloadControllerTest, AFreshInstallTakesAwayTheListWhosePackagesItMayOverwrite) {
    const Offered offered = package("A.pkg", "1.0.1.0", "content");
    offerHotFixes({offered});
    EXPECT_EQ(controller.productUpdate("1.0.0.5", "105", "CheckForInstall"), 0);
    DownloadController::releaseInstance();
    offerProducts({offered});
    EXPECT_EQ(DownloadController::getInstance()->freshInstall(), 0);
    EXPECT_FALSE(std::filesystem::exists(packageList));
    EXPECT_FALSE(std::filesystem::exists(marker));
}

TEST_F(DownloadControllerTest, AnInstallationWhoseListCannotBeReadSaysSoAndKeepsIt) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer opens a pipe to look at the exception";
#endif
    writeText(packageList, "/p/A.pkg\n");
    {
        const NoMoreFiles none;
        EXPECT_EQ(controller.productUpdate("1.0.0.5", "105", "Install"), -1);
    }
    EXPECT_THAT(messages().back(), testing::StartsWith("ERROR: Not able to read the package list: "));
    EXPECT_EQ(readText(packageList), "/p/A.pkg\n");
}

TEST_F(DownloadControllerTest, ACheckThatCannotWriteTheWholeListFailsWithoutAMarker) {
    offerHotFixes({package("A.pkg", "1.0.1.0", "content")});
    ASSERT_EQ(mount("full", "/tmp", "tmpfs", 0, "size=4k"), 0);
    writeText("/tmp/filler", std::string(4096, 'x'));
    EXPECT_EQ(controller.productUpdate("1.0.0.5", "105", "CheckForInstall"), -1);
    EXPECT_EQ(messages().back(), "ERROR: Not able to write the package list\n");
    EXPECT_FALSE(std::filesystem::exists(packageList));
    EXPECT_EQ(umount("/tmp"), 0);
    EXPECT_FALSE(std::filesystem::exists(marker));
}

TEST_F(DownloadControllerTest, AnEmptyPackageListIsRemovedAndInstallsNothing) {
    for (const char *text : {"", "\n", "\n\n\n"}) {
        writeText(packageList, text);
        forget();
        EXPECT_EQ(controller.productUpdate("1.0.0.5", "105", "Install"), 0);
        EXPECT_THAT(messages(), ElementsAre(updateLine, "No Updates available\n"));
        EXPECT_FALSE(std::filesystem::exists(packageList));
    }
}

TEST_F(DownloadControllerTest, BlankLinesOfThePackageListAreSkipped) {
    writeText(packageList, "\n/tmp/3.pkg\n\n\n /tmp/1.pkg \n\n/tmp/2.pkg"); // blanks stay as they stand
    const Program updater({PROGRAM_FILE, "1.0.0.5", "105", "Install"});
    const std::string scriptLine = "INFO : Installing Packages from /usr/local/repost/installer.sh\n";
    EXPECT_TRUE(comesTrue([&] { return timesTraced(scriptLine) == 1; }));
    Messages installed = messages();
    installed.erase(
        std::remove_if(installed.begin(), installed.end(),
                       [](const std::string &line) { return line.compare(0, 17, "INFO: Installing ") != 0; }),
        installed.end());
    EXPECT_THAT(installed, testing::UnorderedElementsAre("INFO: Installing /tmp/3.pkg \n",
                                                         "INFO: Installing  /tmp/1.pkg  \n",
                                                         "INFO: Installing /tmp/2.pkg \n"));
    EXPECT_FALSE(std::filesystem::exists(packageList));
}

TEST_F(DownloadControllerTest, AnInstallWithoutAPackageListNeverEnds) {
    const Program updater({PROGRAM_FILE, "1.0.0.5", "105", "Install"});
    EXPECT_TRUE(comesTrue([this] { return timesTraced(updateLine) == 1; }));
    EXPECT_FALSE(updater.endsWithin(std::chrono::seconds(3)));
    // It had its one look: a list that comes later is neither read nor removed.
    writeText(packageList, "/tmp/1.pkg\n");
    EXPECT_FALSE(updater.endsWithin(std::chrono::seconds(3)));
    EXPECT_EQ(readText(packageList), "/tmp/1.pkg\n");
    EXPECT_EQ(messages().back(), updateLine);
}

// --- the maxima of a fresh installation ------------------------------------------------------------------

struct Maxima {
    const char *name;
    std::vector<std::pair<std::string, std::string>> products; // version and build number
    std::string version;
    std::string buildNo;
};

class FreshInstallMaxima : public DownloadControllerTest, public testing::WithParamInterface<Maxima> {};

TEST_P(FreshInstallMaxima, AreThoseOfTheProducts) {
    for (const auto &[version, buildNo] : GetParam().products)
        listCatalogs({{"A", "http://any.example/a", "11AA", version, buildNo}});
    EXPECT_EQ(controller.getProductInfoFromCatalogs().size(), GetParam().products.size());
    controller.setMaxPackageVersion("before");
    controller.setMaxBuildNo("before");
    controller.setMaxBuildNo_ProductVerSionForFreshInstall();
    EXPECT_EQ(controller.getMaxPackageVersion(), GetParam().version);
    EXPECT_EQ(controller.getMaxBuildNo(), GetParam().buildNo);
}

INSTANTIATE_TEST_SUITE_P(
    DownloadController, FreshInstallMaxima,
    testing::Values(Maxima{"NoProducts", {}, "0.0.0.0", "0"},
                    Maxima{"One", {{"1.2.3.4", "17"}}, "1.2.3.4", "17"},
                    Maxima{"VersionsAreNumbers", {{"1.9.9.9", "1"}, {"1.10.0.0", "1"}}, "1.10.0.0", "1"},
                    Maxima{"BuildsAreNumbers", {{"1.0.0.0", "999"}, {"1.0.0.0", "1200"}}, "1.0.0.0", "1200"},
                    Maxima{"EachOnItsOwn", {{"2.0.0.0", "5"}, {"1.0.0.0", "50"}}, "2.0.0.0", "50"},
                    Maxima{"TheFirstOfEquals", {{"1.2", "007"}, {"1.2.0.0", "7"}}, "1.2", "007"},
                    Maxima{"LeadingNumberCounts", {{"1.0.0.0", "12b"}, {"1.0.0.0", "x99"}}, "1.0.0.0", "12b"},
                    Maxima{"EmptyTexts", {{"", ""}}, "0.0.0.0", "0"},
                    Maxima{"NegativeIsSmaller", {{"2147483648.0.0.0", "-5"}}, "0.0.0.0", "0"}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

// --- the record in the property list -----------------------------------------------------------------------

// The six values in their order, one "key=value" each; other things in words.
std::vector<std::string> buildInfoOf(const std::string &xml) {
    plist_t root = nullptr;
    plist_from_xml(xml.data(), static_cast<std::uint32_t>(xml.size()), &root);
    const std::unique_ptr<void, void (*)(plist_t)> owner(root, plist_free);
    if (root == nullptr || plist_get_node_type(root) != PLIST_DICT)
        return {"no dictionary"};
    plist_t info = plist_dict_get_item(root, "BuildInfo");
    if (info == nullptr || plist_get_node_type(info) != PLIST_DICT)
        return {"no BuildInfo"};
    std::vector<std::string> entries;
    plist_dict_iter iterator = nullptr;
    plist_dict_new_iter(info, &iterator);
    const std::unique_ptr<void, void (*)(void *)> iteratorOwner(iterator, std::free);
    for (;;) {
        char *key = nullptr;
        plist_t value = nullptr;
        plist_dict_next_item(info, iterator, &key, &value);
        if (key == nullptr)
            return entries;
        const std::unique_ptr<char, void (*)(void *)> keyOwner(key, std::free);
        std::uint64_t length = 0;
        const bool isText = plist_get_node_type(value) == PLIST_STRING;
        entries.push_back(std::string(key) + "=" +
                          (isText ? plist_get_string_ptr(value, &length) : "no text"));
    }
}

class BuildInfoTest : public DownloadControllerTest {
protected:
    // As an update leaves it, so that the maxima are not computed.
    void setValues() {
        EXPECT_EQ(controller.productUpdate("", "", ""), 0);
        forget();
        controller.setMaxPackageVersion("1.2.3.4");
        controller.setMaxBuildNo("17");
        controller.setCoreReleaseVer("3.1");
        controller.setPartnerReleaseVer("2.2 & more");
        controller.setRelName("basicmac3.4");
        controller.setCBRMSBuildNo("5");
    }
    const std::vector<std::string> values{"Version=1.2.3.4",     "BuildNo=17",
                                          "CoreRelVer=3.1",      "PartnerRelVer=2.2 & more",
                                          "RelName=basicmac3.4", "CBRMSBuildNo=5"};
};

TEST_F(BuildInfoTest, HoldsTheSixValuesInTheirOrder) {
    setValues();
    controller.UpdateProductConfigurationToplist();
    EXPECT_EQ(buildInfoOf(readText(plistPath)), values);
    EXPECT_THAT(messages(), ElementsAre(recordLine, recordedLine));
}

TEST_F(BuildInfoTest, LeavesEveryOtherKey) {
    const std::string before = readText(plistPath);
    setValues();
    controller.UpdateProductConfigurationToplist();
    // Only the record stands between what was there before and the closing tags.
    const std::string after = readText(plistPath);
    const std::size_t begin = after.find("\t<key>BuildInfo</key>");
    const std::size_t end = after.find("</dict>\n", begin) + 8;
    ASSERT_NE(begin, std::string::npos);
    EXPECT_EQ(after.substr(0, begin) + after.substr(end), before);
}

TEST_F(BuildInfoTest, ReplacesAnEarlierRecord) {
    setValues();
    controller.UpdateProductConfigurationToplist();
    const std::string first = readText(plistPath);
    controller.UpdateProductConfigurationToplist();
    EXPECT_EQ(readText(plistPath), first) << "the content is the same each time";
    controller.setMaxBuildNo("18");
    controller.UpdateProductConfigurationToplist();
    EXPECT_EQ(buildInfoOf(readText(plistPath))[1], "BuildNo=18");
}

TEST_F(BuildInfoTest, ReplacesAValueOfAnotherType) {
    writeText(plistPath,
              "<plist version=\"1.0\"><dict><key>BuildInfo</key><string>x</string></dict></plist>");
    setValues();
    controller.UpdateProductConfigurationToplist();
    EXPECT_EQ(buildInfoOf(readText(plistPath)), values);
}

TEST_F(BuildInfoTest, AnAbsentListIsMadeWithTheRecordOnly) {
    std::filesystem::remove(plistPath);
    setValues();
    controller.UpdateProductConfigurationToplist();
    EXPECT_EQ(readText(plistPath), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                   "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                                   "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                                   "<plist version=\"1.0\">\n"
                                   "<dict>\n"
                                   "\t<key>BuildInfo</key>\n"
                                   "\t<dict>\n"
                                   "\t\t<key>Version</key>\n"
                                   "\t\t<string>1.2.3.4</string>\n"
                                   "\t\t<key>BuildNo</key>\n"
                                   "\t\t<string>17</string>\n"
                                   "\t\t<key>CoreRelVer</key>\n"
                                   "\t\t<string>3.1</string>\n"
                                   "\t\t<key>PartnerRelVer</key>\n"
                                   "\t\t<string>2.2 &amp; more</string>\n"
                                   "\t\t<key>RelName</key>\n"
                                   "\t\t<string>basicmac3.4</string>\n"
                                   "\t\t<key>CBRMSBuildNo</key>\n"
                                   "\t\t<string>5</string>\n"
                                   "\t</dict>\n"
                                   "</dict>\n"
                                   "</plist>\n");
}

class UnusableList : public BuildInfoTest, public testing::WithParamInterface<Reply> {};

TEST_P(UnusableList, IsReplacedByTheRecord) {
    std::filesystem::remove(plistPath);
    setValues();
    controller.UpdateProductConfigurationToplist();
    const std::string recordOnly = readText(plistPath);
    writeText(plistPath, GetParam().text);
    controller.UpdateProductConfigurationToplist();
    EXPECT_EQ(readText(plistPath), recordOnly);
}

INSTANTIATE_TEST_SUITE_P(DownloadController, UnusableList,
                         testing::Values(Reply{"Empty", ""}, Reply{"NoXml", "nothing of the kind"},
                                         Reply{"CutOff", "<plist version=\"1.0\"><dict><key>A</key>"},
                                         Reply{"NoDictionary", "<plist version=\"1.0\"><array/></plist>"}),
                         [](const auto &caseInfo) { return caseInfo.param.name; });

TEST_F(BuildInfoTest, AFailureToWriteIsTraced) {
    std::filesystem::remove_all("/private/tmp");
    setValues();
    controller.UpdateProductConfigurationToplist();
    EXPECT_THAT(messages(), ElementsAre(recordLine, notRecordedLine));
}

TEST_F(BuildInfoTest, AFreshInstallComputesTheMaximaFirst) {
    controller.setMaxPackageVersion("before");
    listCatalogs({{"A", "http://any.example/a", "11AA", "4.3.2.1", "77"}});
    EXPECT_EQ(controller.getProductInfoFromCatalogs().size(), 1U);
    controller.UpdateProductConfigurationToplist();
    EXPECT_EQ(buildInfoOf(readText(plistPath))[0], "Version=4.3.2.1");
    EXPECT_EQ(buildInfoOf(readText(plistPath))[1], "BuildNo=77");
}

TEST_F(BuildInfoTest, SeveralThreadsLeaveOneWholeList) {
    setValues();
    controller.UpdateProductConfigurationToplist();
    const std::string whole = readText(plistPath);
    std::atomic<bool> torn{false};
    for (int thread = 0; thread < 8; ++thread) {
        background.run([&] {
            for (int round = 0; round < 25; ++round) {
                controller.UpdateProductConfigurationToplist();
                torn = torn || readText(plistPath) != whole;
            }
        });
    }
    background.join();
    EXPECT_FALSE(torn) << "a reader saw another list than a whole one";
    EXPECT_EQ(readText(plistPath), whole);
    EXPECT_EQ(timesTraced(recordedLine), 201);
    // Nothing of the way there is left beside it.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator("/private/tmp"), {}), 1);
}

// --- the prepared product configuration --------------------------------------------------------------------

class PreparedConfigurationTest : public BuildInfoTest {
protected:
    PreparedConfigurationTest() { std::filesystem::create_directories("/usr/local/Brovik/TempDownload"); }
};

TEST_F(PreparedConfigurationTest, IsTheInstalledOneWithTheNewValues) {
    const std::string installed = readText(configPath);
    setValues();
    controller.createXMLWithUpdateInfo();
    EXPECT_EQ(readText(configPath), installed);
    EXPECT_EQ(readText(updatedConfigPath), "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
                                           "<ProductConfiguration>\n"
                                           "  <ProductName>Brovik Desktop Suite</ProductName>\n"
                                           "  <AffID>105-1</AffID>\n"
                                           "  <AppID>quaformac</AppID>\n"
                                           "  <ProductVersion>1.2.3.4</ProductVersion>\n"
                                           "  <BuildNumber>17</BuildNumber>\n"
                                           "  <CoreRelVer>3.1</CoreRelVer>\n"
                                           "  <PartnerRelVer>2.2 &amp; more</PartnerRelVer>\n"
                                           "  <ReleaseName>basicmac3.4</ReleaseName>\n"
                                           "  <CBRMSBuildNo>5</CBRMSBuildNo>\n"
                                           "  <InstallFolder>/usr/local/Brovik</InstallFolder>\n"
                                           "</ProductConfiguration>\n");
}

TEST_F(PreparedConfigurationTest, TakesTheValuesInTheirOrder) {
    setValues();
    controller.createXMLWithUpdateInfo();
    Messages updates = messages();
    updates.erase(
        std::remove_if(updates.begin(), updates.end(),
                       [](const std::string &line) { return line.compare(0, 15, "INFO: Updating ") != 0; }),
        updates.end());
    const std::string with = "INFO: Updating Productconfig.xml with ";
    EXPECT_THAT(updates, ElementsAre(with + "ProductVersion element and its value 1.2.3.4 .\n",
                                     with + "BuildNumber element and its value 17 .\n",
                                     with + "CoreRelVer element and its value 3.1 .\n",
                                     with + "PartnerRelVer element and its value 2.2 & more .\n",
                                     with + "ReleaseName element and its value basicmac3.4 .\n",
                                     with + "CBRMSBuildNo element and its value 5 .\n"));
}

TEST_F(PreparedConfigurationTest, IsTheSameEachTime) {
    setValues();
    controller.createXMLWithUpdateInfo();
    const std::string first = readText(updatedConfigPath);
    controller.createXMLWithUpdateInfo();
    EXPECT_EQ(readText(updatedConfigPath), first);
}

TEST_F(PreparedConfigurationTest, ReplacesWhatAnEarlierRunLeft) {
    setValues();
    controller.createXMLWithUpdateInfo();
    const std::string expected = readText(updatedConfigPath);
    writeText(updatedConfigPath, std::string(10000, 'x'));
    controller.createXMLWithUpdateInfo();
    EXPECT_EQ(readText(updatedConfigPath), expected);
}

TEST_F(PreparedConfigurationTest, WithoutAnInstalledOneIsEmpty) {
    std::filesystem::remove(configPath);
    writeText(updatedConfigPath, "left by an earlier run");
    setValues();
    controller.createXMLWithUpdateInfo();
    EXPECT_TRUE(std::filesystem::exists(updatedConfigPath));
    EXPECT_EQ(readText(updatedConfigPath), "");
}

TEST_F(PreparedConfigurationTest, CannotBeMadeWithoutItsFolder) {
    std::filesystem::remove_all("/usr/local/Brovik/TempDownload");
    setValues();
    controller.createXMLWithUpdateInfo();
    EXPECT_FALSE(std::filesystem::exists(updatedConfigPath));
}

TEST_F(PreparedConfigurationTest, EmptyValuesKeepTheInstalledOnes) {
    EXPECT_EQ(controller.productUpdate("", "", ""), 0);
    controller.setMaxPackageVersion("1.2.3.4");
    controller.createXMLWithUpdateInfo();
    EXPECT_THAT(readText(updatedConfigPath), HasSubstr("<ProductVersion>1.2.3.4</ProductVersion>"));
    EXPECT_THAT(readText(updatedConfigPath), HasSubstr("<BuildNumber>105</BuildNumber>"));
    EXPECT_THAT(readText(updatedConfigPath), HasSubstr("<CBRMSBuildNo>0</CBRMSBuildNo>"));
}

TEST_F(PreparedConfigurationTest, SeveralThreadsLeaveOneWholeFile) {
    setValues();
    controller.createXMLWithUpdateInfo();
    const std::string whole = readText(updatedConfigPath);
    for (int thread = 0; thread < 8; ++thread) {
        background.run([&] {
            for (int round = 0; round < 10; ++round)
                controller.createXMLWithUpdateInfo();
        });
    }
    background.join();
    EXPECT_EQ(readText(updatedConfigPath), whole);
}

} // namespace
