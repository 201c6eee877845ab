// The schemas of the XML documents, as they are installed, by xmllint.
#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include <boost/algorithm/string/replace.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FormatExamples.h"
#include "Program.h"
#include "Release.h"
#include "ServiceReply.h"
#include "Text.h"
#include "TextFile.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

const std::string installed = "/usr/local/Brovik/qrn/share/downloadManager/";
const std::string work = "/tmp/schemas";
const std::string source = SOURCE;

class CleanEnd : public testing::Environment {
public:
    void TearDown() override { fs::remove_all(work); }
};
const testing::Environment *const cleanEnd = testing::AddGlobalTestEnvironment(new CleanEnd); // gtest's

// What xmllint says of these documents, a line for each of them at least.
std::string checked(const std::string &schema, std::vector<std::string> documents) {
    documents.insert(documents.begin(),
                     {"xmllint", "--nonet", "--noout", "--relaxng", installed + schema + ".rng"});
    return run(documents).err;
}

std::vector<std::string> filesIn(const std::string &folder) {
    std::vector<std::string> files;
    for (const fs::directory_entry &entry : fs::directory_iterator(folder))
        files.push_back(entry.path());
    return files;
}

std::string written(const std::string &name, const std::string &text) {
    fs::create_directories(work);
    writeText(work + "/" + name, text);
    return work + "/" + name;
}

std::string writtenExample(const std::string &name) {
    std::string fileName = name;
    std::replace(fileName.begin(), fileName.end(), '/', '-');
    return written(fileName, example(name));
}

// What the reference service makes of its data.
std::string replyFrom(const std::string &data) {
    return serviceReply(readText(data), {"105", {"quaformac"}}).value();
}

// Publications, each made once: folders with "catalogs", "releases.xml" and "DynaConfig.plist".

std::string built(const std::string &folder) {
    EXPECT_EQ(run({"/usr/local/Brovik/qrn/bin/releasebench", "build", folder}).status, 0);
    return folder + "/built/";
}

std::string builtExample() {
    const std::string folder = work + "/release";
    if (fs::exists(folder))
        return folder + "/built/";
    EXPECT_EQ(run({"/usr/local/Brovik/qrn/bin/releasebench", "init", folder}).status, 0);
    return built(folder);
}

std::string demonstration(const std::string &story) {
    const std::string demo = source + "/rehearsal/demo/";
    const std::string folder = work + "/" + story;
    if (fs::exists(folder))
        return folder + "/built/";
    static_cast<void>(shell(demo + "pack " + demo + story + " " + folder));
    return built(folder);
}

std::vector<std::string> publications() {
    return {builtExample(), demonstration("update"), demonstration("fresh")};
}

// A file of each.
std::vector<std::string> published(const std::string &file) {
    std::vector<std::string> files;
    for (const std::string &folder : publications())
        files.push_back(folder + file);
    return files;
}

std::vector<std::string> with(std::vector<std::string> files, const std::vector<std::string> &more) {
    files.insert(files.end(), more.begin(), more.end());
    return files;
}

std::vector<std::string> requests() {
    return {writtenExample("productrequest.xml"), writtenExample("productrequest.fresh.xml"),
            written("request.xml", inOneLine(example("productrequest.xml")))};
}

std::vector<std::string> replies() {
    const std::string corpus = source + "/tests/fuzz/corpus/ReplyFuzz/";
    std::vector<std::string> files = {writtenExample("productresponse.xml"),
                                      writtenExample("productresponse.none.xml"),
                                      writtenExample("productresponse.failed.xml"),
                                      written("plain.xml", plainReply),
                                      corpus + "core-and-partner.xml",
                                      corpus + "no-update.xml",
                                      corpus + "failed.xml"};
    for (const std::string &data : published("releases.xml"))
        files.push_back(written("reply" + std::to_string(files.size()) + ".xml", replyFrom(data)));
    return files;
}

std::vector<std::string> catalogs() {
    std::vector<std::string> files = {
        writtenExample("platform_maccat.xml"), writtenExample("dynamicbranding_maccat.xml"),
        written("support.xml", catalogText({publishPackage(downloadHost + "/HF_1.0.1.0/a.pkg", "package")}))};
    for (const std::string &folder : published("catalogs"))
        files = with(files, filesIn(folder));
    return files;
}

std::vector<std::string> configurations() {
    return {writtenExample("ProductConfig.xml"), writtenExample("TempDownload/ProductConfig.xml"),
            source + "/rehearsal/product/ProductConfig.xml",
            source + "/tests/fuzz/corpus/ConfigurationFuzz/installed.xml"};
}

std::vector<std::string> installersLists() {
    return {writtenExample("configuration.plist"), writtenExample("configuration.plist: afterwards"),
            source + "/rehearsal/product/configuration.plist",
            source + "/tests/fuzz/corpus/PropertyListFuzz/installer.plist"};
}

std::vector<std::string> orderLists() {
    return with(published("DynaConfig.plist"),
                {writtenExample("DynaConfig.plist"), source + "/rehearsal/product/DynaConfig.plist",
                 source + "/tests/fuzz/corpus/PropertyListFuzz/order.plist"});
}

std::vector<std::string> systemLists() {
    return {writtenExample("SystemVersion.plist"), source + "/rehearsal/product/SystemVersion.plist",
            source + "/tests/fuzz/corpus/PropertyListFuzz/system.plist"};
}

std::vector<std::string> serviceData() {
    return published("releases.xml");
}

// Documents that no schema has anything against.
struct Documents {
    const char *name;
    std::vector<std::string> (*make)();
};

class Schema : public testing::TestWithParam<Documents> {};

TEST_P(Schema, TakesWhatIsMeant) {
    const std::vector<std::string> documents = GetParam().make();
    const std::string said = checked(GetParam().name, documents);
    for (const std::string &document : documents)
        EXPECT_THAT(said, HasSubstr(document + " validates\n"));
}

INSTANTIATE_TEST_SUITE_P(
    Formats, Schema,
    testing::Values(Documents{"productrequest", requests}, Documents{"productresponse", replies},
                    Documents{"product_catalog", catalogs}, Documents{"ProductConfig", configurations},
                    Documents{"configuration.plist", installersLists},
                    Documents{"DynaConfig.plist", orderLists}, Documents{"SystemVersion.plist", systemLists},
                    Documents{"releases", serviceData}),
    [](const auto &parameter) { return "Case" + std::to_string(parameter.index); });

// An example that is changed in one place, wherever its text stands.
struct Change {
    std::string text;
    std::string by;
};
struct Broken {
    const char *schema;
    std::string example; // the service's data when empty
    std::vector<Change> changes;
};

const std::vector<Broken> brokenDocuments = {
    {"productrequest",
     "productrequest.xml",
     {{"<langid>en-us</langid>\n", ""},
      {"productrequest>", "productrequests>"},
      {"<shared/>\n<pkglist>", "<pkglist>\n<shared/>"},
      {"<affid>105</affid>\n<langid>en-us</langid>", "<langid>en-us</langid>\n<affid>105</affid>"},
      {"relname=\"basicmac3.3\"", "release=\"basicmac3.3\""},
      {"10.8.5", "10.8.5.1"},
      {"<product appid=\"quaformac\"/>\n<product appid=\"qusformac\"/>\n", ""}}},
    {"productresponse",
     "productresponse.xml",
     {{"caturlroot>", "caturlroots>"},
      {"status=\"0\"", "status=\"2\""},
      {" status=\"0\"", ""},
      {" relver=\"2\"", ""},
      {" appid=\"quaformac\"", ""},
      {"<name>platform_maccat</name>\n", ""},
      {"platform_maccat", "platform.pkg"},
      {"https://", "file://"},
      {"<catlist>", "<catlist><catalog/>"},
      {"partner", "partners"},
      {"status=\"0\"", "status=\"1\""},
      {"<package class=", "<package/><package class="}}},
    {"product_catalog",
     "platform_maccat.xml",
     {{"<minver>1.0.0.0</minver>", "<minvre>1.0.0.0</minvre>"},
      {"<product_ver>1.0.1.0</product_ver>", "<productver>1.0.1.0</productver>"},
      {"<url>https://download.brovik.example/HF_1.0.1.0/platform.pkg</url>", ""},
      {"<hash>F9F1A82361A281A1665F5835AABE5390D926673A</hash>", ""},
      {"F9F1", "f9f1"},
      {"F9F1", "F9"},
      {"<buildno>130</buildno>", ""},
      {"<buildno>130</buildno>", "<buildno>none</buildno>"},
      {"<buildno>130</buildno>", "<buildno>2147483648</buildno>"},
      {"<minver>", "<minver>1</minver><minver>"},
      {"YES", "yes"},
      {"1.0.0.9", "1.0.0.x"},
      {"1.0.0.9", "1.0.0.2147483648"},
      {"1.0.0.9", " 1.0.0.9"},
      {"1.0.0.9", "1.0.0.9.1"},
      {"10.8.9", "10.8.9.1"},
      {"platform.pkg</url>", "platform.zip</url>"},
      {"platform.pkg</url>", "plat form.pkg</url>"},
      {"platform.pkg</url>", "plat*.pkg</url>"},
      {"platform.pkg</url>", "plat$(id).pkg</url>"},
      {"mainbuildno", "mainbuild"},
      {"<server_package ", "<server_package name=\"a\" hash=\"\" url=\"\"/><server_package "},
      {" name=\"suite.pkg\"", ""},
      {"server_package_information", "server_packages"},
      {"<product_catalog>", "<product_catalog xmlns=\"urn:a\">"}}},
    {"ProductConfig",
     "ProductConfig.xml",
     {{"AppID>", "AppId>"},
      {"<CoreRelVer>1</CoreRelVer>", ""},
      {"<ReleaseName>", "<ReleaseName>basicmac3.3</ReleaseName><ReleaseName>"},
      {"<AppID>quaformac,qusformac</AppID>", "<AppID/>"},
      {"quaformac,", "quaformac, "},
      {"1.0.0.5", "one"},
      {"ProductConfiguration>", "Configuration>"}}},
    {"configuration.plist",
     "configuration.plist: afterwards",
     {{"AppID", "AppId"},
      {"<key>AffID</key>\n\t<string>105</string>\n", ""},
      {"<string>105</string>", "<integer>105</integer>"},
      {"<key>AffID</key>\n\t<string>105</string>", "<string>105</string>\n\t<key>AffID</key>"},
      {"<key>RelName</key>", "<key>ReleaseName</key>"},
      {"<key>BuildNo</key>\n\t\t<string>130</string>\n", ""}}},
    {"DynaConfig.plist",
     "DynaConfig.plist",
     {{"InstallPkgOrder", "InstallPackageOrder"},
      {"<string>services.pkg</string>", "<integer>1</integer>"},
      {"<string>services.pkg</string>", "<string/>"},
      {"<key>InstallPkgOrder</key>\n", ""},
      {"RefreshInterval", "InstallPkgOrder"}}},
    {"releases",
     "",
     {{"relver=", "relvers="},
      {" affid=\"105\"", ""},
      {"<partner appid", "<partner app"},
      {"root=\"https", "root=\"file"},
      {"<release ", "<release status=\"1\" "}}},
    {"SystemVersion.plist",
     "SystemVersion.plist",
     {{"ProductVersion", "Version"}, {"10.8.5", "Mountain Lion"}, {"<key>ProductVersion</key>", ""}}},
};

std::string changed(std::string text, const Change &change) {
    EXPECT_NE(text.find(change.text), std::string::npos) << change.text;
    return boost::algorithm::replace_all_copy(text, change.text, change.by);
}

TEST(Schemas, RefuseWhatTheEngineWouldTakeForSomethingElse) {
    for (const Broken &broken : brokenDocuments) {
        const std::string whole =
            broken.example.empty() ? readText(builtExample() + "releases.xml") : example(broken.example);
        std::vector<std::string> documents;
        for (const Change &change : broken.changes)
            documents.push_back(written(std::to_string(documents.size()) + ".xml", changed(whole, change)));
        const std::string said = checked(broken.schema, documents);
        for (std::size_t i = 0; i < documents.size(); ++i)
            EXPECT_THAT(said, HasSubstr(documents[i] + " fails to validate\n"))
                << broken.changes[i].text << " -> " << broken.changes[i].by;
    }
}

TEST(Schemas, TellTheLineOfEveryMisspeltElement) {
    const std::string catalog =
        changed(example("platform_maccat.xml"), {" <minver>1.0.0.0</minver>", " <minvre>1.0.0.0</minvre>"});
    const std::string document = written("catalog.xml", catalog);
    const std::string said = checked("product_catalog", {document});
    int line = 0;
    std::istringstream lines(catalog);
    for (std::string text; std::getline(lines, text);) {
        ++line;
        if (contains(text, "<minvre>")) {
            EXPECT_THAT(said, HasSubstr(document + ":" + std::to_string(line) + ": element minvre"));
        }
    }
}

TEST(Schemas, AreNamedInTheManual) {
    const std::string manual = readText("/usr/local/Brovik/qrn/share/man/man1/releasebench.1");
    for (const std::string &file : filesIn(installed)) {
        if (fs::path(file).extension() == ".rng") {
            EXPECT_THAT(manual, HasSubstr(fs::path(file).filename().string()));
        }
    }
}

} // namespace
