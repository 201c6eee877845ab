// A server that does wrong while a catalog is downloaded.

#include <gtest/gtest.h>

#include "ExpectedTrace.h"
#include "Fault.h"
#include "Observed.h"
#include "Paths.h"
#include "Release.h"
#include "TextFile.h"

namespace {

struct CatalogFault {
    const char *name;
    Trouble trouble;
    std::string transfers; // traced of the catalog
    bool complete;
    std::string file; // what is on the disk then; a complete catalog is that which was published
};

std::string tracedWithCatalog(const Job &job) {
    using namespace Lines;
    return (job.task == Task::update
                ? tracedSelection
                : ">INFO : Getting Package info\n>INFO: Getting downloaded package URLS\n") +
           tracedDownloads + thread + filledIn(fetched, job) + tracedOutcome(job, true);
}

void expectCatalogFault(const Job &job, const CatalogFault &fault) {
    offerPackages(job, onePackage);
    makeTrouble(job, fault.trouble);
    const InstalledFiles installed;
    const Ended first = runJob(job);
    EXPECT_EQ(first.status, job.task == Task::update || fault.complete ? 0 : 1);
    EXPECT_EQ(tracedSinceFirst(tracedDownloads),
              Lines::thread + filledIn(ofCatalog(fault.transfers), job) + tracedDownloads +
                  (fault.complete ? tracedWithCatalog(job) : tracedWithoutCatalog(job)));
    const std::string published = readText("/srv/rehearsal/scripted" + filledIn("{catalog}", job));
    EXPECT_EQ(readText(filledIn("{catalogFile}", job)), fault.complete ? published : fault.file);
    if (fault.complete) {
        EXPECT_TRUE(isComplete(job, first, onePackage));
    } else {
        EXPECT_TRUE(isRefused(job, first));
        EXPECT_TRUE(installed.areUnchanged());
        EXPECT_TRUE(sameFiles({}, filesBelow(packageDirectory())));
    }
    expectCompleteOnceItIsGone(job);
}

std::vector<CatalogFault> table() {
    using namespace Lines;
    const std::string page = "<html><body>Sorry</body></html>";
    const std::string wellFormed = "<html><body>Welcome</body></html>";
    const auto answered = [&page](const char *name, int code) {
        return CatalogFault{name,
                            {"{catalog} * status " + std::to_string(code) + " " + page + "\n", {}},
                            started + failedWith(code, 0),
                            false,
                            page};
    };
    const auto raw = [](const char *name, const std::string &answer, const std::string &transfers,
                        const std::string &file) {
        return CatalogFault{name, {"{catalog} * raw answer\n", {{"answer", answer}}}, transfers, false, file};
    };
    return {
        {"ClosedInMidBodyOnce",
         {"{catalog} 1 cut 100\n", {}},
         started + partial + again + downloaded,
         true,
         ""},
        raw("ClosedInMidBodyAlways", headWithLength("500") + "<product_catalog>",
            started + partial + again + failedWith(200, 33), "<product_catalog>"),
        {"ClosedWithoutAnAnswer", {"{catalog} * drop\n", {}}, started + failedWith(0, 52), false, ""},
        {"ResetAtTheFirstByte", {"{catalog} * reset 0\n", {}}, started + failedWith(200, 56), false, ""},
        answered("NotFound", 404),
        answered("Unavailable", 503),
        {"HtmlPage",
         {"{catalog} * status 200 " + wellFormed + "\n", {}},
         started + downloaded,
         false,
         wellFormed},
        {"EmptyBody", {"{catalog} * status 200\n", {}}, started + downloaded, false, ""},
        raw("NoLengthAndCut", head("200 OK") + "<product_catalog><conf", started + downloaded,
            "<product_catalog><conf"),
        raw("GarbageInsteadOfXml", headWithLength("4") + "\x01\x02\x03\x04", started + downloaded,
            "\x01\x02\x03\x04"),
        raw("GarbageInsteadOfHttp", "\x01\x02\x03\x04\r\n\r\n", started + failedWith(0, 1), ""),
        raw("HundredGigabytesAnnounced", headWithLength("107374182400") + "<product_catalog>",
            started + partial + again + failedWith(200, 33), "<product_catalog>"),
        {"RedirectedToPlainHttp",
         {"{catalog} * moved 301 http://packages.brovik.example/copy{catalog}\n"
          "/copy{catalog} * as {catalog}\n",
          {}},
         started + downloaded,
         true,
         ""},
        {"RedirectedToAFile",
         {"{catalog} * moved 302 file:///etc/passwd\n", {}},
         started + failedWith(302, 1),
         false,
         ""},
    };
}

// Another catalog of the reply stays out. An update goes on with what the others name, and records the
// release all the same (kept: what became of a catalog's transfer is not asked); an installation needs every
// package.
void expectOthersWithoutOneCatalog(const Job &job) {
    const Packages both = {{"One.pkg", onePackageContent()}, {"Two.pkg", onePackageContent()}};
    const bool isUpdate = job.task == Task::update;
    offerPackages(job, isUpdate ? onePackage : both);
    if (isUpdate) {
        HotFix second = publishPackage(scriptedHost + "/Two.pkg", both.at("Two.pkg"));
        second.url = urlOf(job, "Two.pkg");
        publishCatalog(scriptedHost + "/Two_maccat.xml", {second});
        const std::string reply = readText("/srv/rehearsal/service/reply.xml");
        const std::size_t end = reply.find("</catlist>");
        const std::string root =
            "<caturlroot>" + std::string(job.scheme) + "://scripted.brovik.example</caturlroot>";
        answerWith(reply.substr(0, end) + "<catalog>" + root + "<name>Two_maccat</name></catalog>" +
                   reply.substr(end));
    }
    misbehave("/Two_maccat.xml * status 404\n");
    const Ended first = runJob(job);
    EXPECT_EQ(first.status, isUpdate ? 0 : 1);
    const std::string missing = filledIn(Lines::failedWith(404, 0), job);
    EXPECT_NE(transcript().find(missing.substr(0, missing.find(", URL")) +
                                ", URL: " + urlOf(job, "Two_maccat.xml") + "\n"),
              std::string::npos);
    if (isUpdate) {
        EXPECT_TRUE(isComplete(job, first, onePackage));
        EXPECT_EQ(filesBelow(packageDirectory()).count("1.0.1.0/Two.pkg"), 0U);
    } else {
        EXPECT_TRUE(isRefused(job, first));
        EXPECT_EQ(tracedSinceLast(">INFO: Getting downloaded package URLS\n"),
                  ">ERROR:  Package Missing\n>ERROR: Package Missing\n");
    }
    misbehave("");
    expectCompleteNow(job, both);
}

const bool registered = [] {
    for (const CatalogFault &fault : table())
        registerFault("CatalogFault", fault.name, jobsByBoth(),
                      [fault](const Job &job) { expectCatalogFault(job, fault); });
    registerFault("CatalogFault", "OneOfTwoNotFound", jobsByBoth(), expectOthersWithoutOneCatalog);
    return true;
}();

} // namespace
