#include "Job.h"

#include <filesystem>

#include "ExpectedTrace.h"
#include "Paths.h"
#include "Release.h"
#include "TextFile.h"
#include "Updater.h"

namespace {

const std::string version = "1.0.1.0";

std::string baseUrl(const Job &job, std::string_view host) {
    return std::string(job.scheme) + "://" + std::string(host);
}

std::string reply(const std::string &catalogs) {
    return "<productresponse status=\"0\"><pkglist><package><products relname=\"basicmac3.4\" relver=\"3.1\">"
           "<product appid=\"quaformac\"><catlist>" +
           catalogs +
           "</catlist></product></products><partner relver=\"2.2\"/></package></pkglist></productresponse>";
}

std::string catalogElement(const Job &job, const std::string &name) {
    return "<catalog><caturlroot>" + baseUrl(job, job.catalogHost) + "</caturlroot><name>" + name +
           "</name><version>7</version></catalog>";
}

// All packages are hot-fixes of one catalog.
void offerUpdate(const Job &job, const Packages &packages) {
    std::vector<HotFix> hotFixes;
    for (const auto &[name, content] : packages) {
        HotFix hotFix = publishPackage(scriptedHost + "/" + name, content);
        hotFix.url = urlOf(job, name);
        hotFixes.push_back(hotFix);
    }
    publishCatalog(plainCatalogUrl, hotFixes);
    answerWith(reply(catalogElement(job, "core_maccat")));
}

// A package of a fresh installation has a catalog of its own, named without the package's ending: a catalog
// whose URL contains a package's name would be taken for that package.
void offerInstallation(const Job &job, const Packages &packages) {
    std::string catalogs;
    for (const auto &[name, content] : packages) {
        const std::string catalog = name.substr(0, name.rfind('.')) + "_maccat";
        publish(scriptedHost + "/" + name, content);
        publish(
            scriptedHost + "/" + catalog + ".xml",
            "<product_catalog><configuration><version>" + version +
                "</version><mainbuildno>110</mainbuildno></configuration><manifest>"
                "<server_package_information><fullinstall_package_list><server_package name=\"" +
                name + "\" url=\"" + urlOf(job, name) + "\" hash=\"" + sha1(content) +
                "\"/></fullinstall_package_list></server_package_information></manifest></product_catalog>");
        catalogs += catalogElement(job, catalog);
    }
    answerWith(reply(catalogs));
}

} // namespace

const Job updateByHttps = {"UpdateByHttps", Task::update, "https"};
const Job freshInstallByHttps = {"FreshInstallByHttps", Task::freshInstall, "https"};
const Job updateByHttp = {"UpdateByHttp", Task::update, "http"};
const Job freshInstallByHttp = {"FreshInstallByHttp", Task::freshInstall, "http"};

void offerPackages(const Job &job, const Packages &packages) {
    if (job.task == Task::update)
        offerUpdate(job, packages);
    else
        offerInstallation(job, packages);
}

std::string urlOf(const Job &job, const std::string &fileName) {
    return baseUrl(job, job.packageHost) + "/" + fileName;
}

std::string pathIn(const Job & /*job*/, const std::string &fileName) {
    return packagePath(fileName, version);
}

std::vector<std::string> commandOf(const Job &job) {
    if (job.task == Task::update)
        return updaterWith({"1.0.0.5", "105-1", "CheckForInstall"});
    return {"/usr/local/Brovik/qrn/bin/freshinstall", "--json"};
}

Ended runJob(const Job &job) {
    return run(commandOf(job));
}

bool toldComplete(const Job &job, const Ended &ended) {
    if (job.task == Task::freshInstall)
        return ended.status == 0;
    const bool listed = std::filesystem::is_regular_file(packageListPath);
    EXPECT_EQ(std::filesystem::exists(waitingMarker), listed) << "a marker needs its list, a list its marker";
    EXPECT_TRUE(!listed || std::filesystem::exists(updatedProdConfigXml)) << "a list needs its configuration";
    return listed;
}

testing::AssertionResult isComplete(const Job &job, const Ended &ended, const Packages &packages) {
    if (!toldComplete(job, ended) || ended.status != 0)
        return testing::AssertionFailure() << "success was not told, status " << ended.status;
    const std::string list = readText(packageListPath);
    for (const auto &[name, content] : packages) {
        const std::string path = pathIn(job, name);
        if (readText(path) != content)
            return testing::AssertionFailure() << path << " is not what was published";
        if (job.task == Task::update && list.find(path + "\n") == std::string::npos)
            return testing::AssertionFailure() << path << " is not listed";
    }
    return testing::AssertionSuccess();
}

testing::AssertionResult isRefused(const Job &job, const Ended &ended) {
    if (toldComplete(job, ended))
        return testing::AssertionFailure() << "success was told, status " << ended.status;
    return testing::AssertionSuccess();
}
