// A server that does wrong while a catalog is downloaded.

#include <gtest/gtest.h>

#include "ExpectedTrace.h"
#include "Observed.h"
#include "PackageFault.h"
#include "Paths.h"
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
           tracedDownloads + thread + filledIn(started + checking + matches + downloaded, job) +
           tracedEndOf(job, true);
}

void expectCatalogFault(const Job &job, const CatalogFault &fault) {
    offerPackages(job, onePackage);
    makeTrouble(job, fault.trouble);
    const auto before = ownFiles();
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
        EXPECT_EQ(ownFiles(), before);
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

const bool registered = [] {
    for (const CatalogFault &fault : table())
        registerFault("CatalogFault", fault.name, jobsByBoth(),
                      [fault](const Job &job) { expectCatalogFault(job, fault); });
    return true;
}();

} // namespace
