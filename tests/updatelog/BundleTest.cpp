// "updatelog bundle", observed from outside.
#include <gmock/gmock.h>

#include "BundleFixture.h"
#include "SmallDisk.h"

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Key;
using testing::Not;

class Bundle : public BundleFixture {};

// Of a check with one package.
void check() {
    offer({publishPackage(downloadHost + "/One.pkg", "one")});
    ASSERT_EQ(checkForInstall().status, 0);
}

TEST_F(Bundle, HoldsWhatSupportAsksFor) {
    check();
    const Ended made = bundle({"--unmasked"});
    EXPECT_EQ(made.err, "");
    EXPECT_EQ(made.status, 0);
    const Files files = bundled();
    for (const std::string &path : {std::string(traceLogPath), prodConfigXml, updatedProdConfigXml,
                                    std::string(dynaConfigPlistPath), std::string(configurationPlistPath),
                                    std::string(packageListPath), std::string(systemVersionPlistPath)})
        EXPECT_TRUE(files.count("files" + path) == 1 && files.at("files" + path) == readText(path)) << path;
    const Files catalogs = filesBelow(coreCatalogDirectory());
    EXPECT_FALSE(catalogs.empty());
    for (const auto &[name, content] : catalogs)
        EXPECT_EQ(files.at("files" + coreCatalogDirectory() + "/" + name), content);
    EXPECT_EQ(shell("stat -c %a " + std::string(file)), "600\n");
}

TEST_F(Bundle, TellsTheVersionsAndTheMarkers) {
    check();
    bundle();
    const nlohmann::json told = manifest();
    EXPECT_EQ(told.at("engine").at("version"), "1.0.0");
    EXPECT_EQ(told.at("system").at("version"), "10.8.5");
    EXPECT_THAT(told.at("engine").at("libcurl").get<std::string>(), HasSubstr("libcurl/"));
    for (const auto &marker : told.at("markers"))
        EXPECT_EQ(marker.at("there"), std::filesystem::exists(marker.at("path"))) << marker;
}

TEST_F(Bundle, HoldsWhatACheckOfTheMachineFinds) {
    std::filesystem::remove("/usr/local/Brovik/ProductConfig.xml");
    const Ended checked = run({program, "check", "--json"});
    EXPECT_THAT(checked.out, HasSubstr("configuration-unreadable"));
    EXPECT_THAT(bundle().out, HasSubstr("  check.json  what a check of this machine finds\n"));
    EXPECT_EQ(bundled().at("check.json"), checked.out);
}

TEST_F(Bundle, IsMadeWithoutACheckWhereOnlyRootCanCheck) {
    shell("cd /tmp && setpriv --reuid 1234 --regid 1234 --clear-groups " + std::string(program) +
          " bundle update.tar.gz >/tmp/told || true");
    EXPECT_THAT(readText("/tmp/told"), HasSubstr("without check.json: only root "));
    EXPECT_EQ(bundled().count("check.json"), 0u);
    std::filesystem::remove("/tmp/told");
}

TEST_F(Bundle, KeepsNamesAsTheyAreAndIsUnpackedWithoutAWarning) {
    std::filesystem::create_directories(coreCatalogDirectory());
    const std::string path = coreCatalogDirectory() + "/" + std::string(200, 'x') + "\xc3\xa4\xff.xml";
    writeText(path, "<a/>");
    bundle();
    EXPECT_EQ(shell("tar -tzf " + std::string(file) + " --quoting-style=literal 2>&1 >/dev/null"), "");
    EXPECT_EQ(bundled().at("files" + path), "<a/>");
}

TEST_F(Bundle, ListsWhatItHoldsWithSizesBeforeItWrites) {
    check();
    const Ended made = bundle();
    const std::string size = std::to_string(std::filesystem::file_size(dynaConfigPlistPath));
    const std::size_t written = made.out.find("Written: /tmp/update.tar.gz, ");
    ASSERT_NE(written, std::string::npos);
    EXPECT_LT(made.out.find("  /usr/local/Brovik/DynaConfig.plist  " + size + " bytes\n"), written);
    EXPECT_LT(made.out.find("  without /usr/local/repost/installer.sh: there is none\n"), written);
    EXPECT_LT(made.out.find("Masked places: "), written);
    const nlohmann::json told = manifest();
    for (const auto &each : told.at("files"))
        EXPECT_THAT(made.out, HasSubstr("  " + each.at("path").get<std::string>() + "  "));
}

TEST_F(Bundle, MasksAffiliateAndLicenceValuesUnlessAskedOtherwise) {
    writeText(configurationPlistPath, "<plist><dict><key>AffID</key><string>105-1</string>"
                                      "<key>LicenseKey</key><string>QX-77-12</string></dict></plist>");
    check();
    writeText("/usr/local/Brovik/TempDownload/Catalog/Core/QX-77-12.xml", "https://105-1.host/?affid=105");
    const Ended masked = bundle();
    EXPECT_THAT(masked.out, HasSubstr("/Catalog/Core/masked_licence.xml"));
    std::string all;
    for (const auto &[name, content] : bundled())
        all += name + content;
    EXPECT_THAT(all, Not(HasSubstr("105-1")));
    EXPECT_THAT(all, Not(HasSubstr("<affid>105<")));
    EXPECT_THAT(all, Not(HasSubstr("affid=105")));
    EXPECT_THAT(all, Not(HasSubstr("QX-77-12")));
    EXPECT_THAT(all, HasSubstr("CurProdAffId: masked_affiliate\n"));
    EXPECT_THAT(all, HasSubstr("<BuildNumber>105</BuildNumber>"));

    EXPECT_THAT(bundle({"--force", "--unmasked"}).out, HasSubstr("Nothing is masked"));
    EXPECT_THAT(bundled().at("files" + std::string(configurationPlistPath)), HasSubstr("QX-77-12"));
}

TEST_F(Bundle, TellsWhatItLeavesOutForTheSakeOfItsMasks) {
    std::filesystem::create_directories(coreCatalogDirectory());
    const std::string catalog = coreCatalogDirectory() + "/";
    writeText(catalog + "wide.xml", std::string("<\0A\0f\0f\0I\0D\0>\0", 14));
    writeText(catalog + "a.xml", "<AffID>105-1</AffID><AffID>106-1</AffID><License>Core</License>");
    for (const char *const name : {"105-1.xml", "106-1.xml", "masked_affiliate.xml"})
        writeText(catalog + name, name);
    const Ended made = bundle();
    EXPECT_THAT(made.out, HasSubstr("without " + catalog + "wide.xml: no plain text"));
    EXPECT_THAT(made.out, HasSubstr("masked_affiliate.xml: another file has that name once it is masked"));
    const Files files = bundled();
    EXPECT_EQ(files.count("files" + catalog + "wide.xml"), 0U);
    EXPECT_EQ(manifest().at("files").size() + 2, files.size()); // and the manifest and the findings
    bundle({"--force", "--unmasked"});
    EXPECT_EQ(bundled().at("files" + catalog + "wide.xml").size(), 14U);
}

TEST_F(Bundle, LeavesOutNamesThatMakeLinesOfTheirOwn) {
    std::filesystem::create_directories(coreCatalogDirectory());
    writeText(coreCatalogDirectory() + "/a\n  b\x1b[2J.xml", "<a/>");
    EXPECT_THAT(bundle().out, HasSubstr("without " + coreCatalogDirectory() +
                                        "/a?  b?[2J.xml: its name has control characters\n"));
    EXPECT_THAT(replay().err, HasSubstr("the bundle has no /var/log/DownloadManager.log"));
}

TEST_F(Bundle, TellsThatAFolderHoldsMoreThanItTakes) {
    shell("mkdir -p " + coreCatalogDirectory() + " && cd " + coreCatalogDirectory() +
          " && seq 2100 | xargs touch");
    EXPECT_THAT(bundle().out, HasSubstr("without " + coreCatalogDirectory() +
                                        ": it holds more files than are looked at\n"));
}

TEST_F(Bundle, FollowsNoLinkAndTakesNoFifoNoDeviceAndNoSecondName) {
    writeText("/tmp/secret", "a secret");
    shell("mkdir -p /tmp/elsewhere " + keyCoreDownloadCache +
          "/Catalog/Core && "
          "cp /tmp/secret /tmp/elsewhere/a.xml && ln -s /tmp/secret /tmp/packagelist.txt && "
          "ln -s /tmp/elsewhere " +
          partnerCatalogDirectory() +
          " && "
          "cp /tmp/secret /usr/local/Brovik/secret && ln /usr/local/Brovik/secret " +
          coreCatalogDirectory() +
          "/second.xml && "
          "ln -s /tmp/secret " +
          coreCatalogDirectory() +
          "/link.xml && "
          "rm " +
          configurationPlistPath + " && mkfifo " + configurationPlistPath +
          " && "
          "mount --bind /dev/zero " +
          dynaConfigPlistPath);
    const Ended made = bundle();
    shell(std::string("umount ") + dynaConfigPlistPath + " && rm " + configurationPlistPath);
    EXPECT_EQ(made.status, 0);
    for (const auto &[name, content] : bundled())
        EXPECT_THAT(content, Not(HasSubstr("a secret"))) << name;
    EXPECT_THAT(made.out, HasSubstr("without /tmp/packagelist.txt: a link, which is not followed"));
    EXPECT_THAT(made.out,
                HasSubstr("without " + partnerCatalogDirectory() + ": a link, which is not followed"));
    EXPECT_THAT(made.out, HasSubstr("/second.xml: it has a second name"));
    EXPECT_THAT(made.out, HasSubstr("/link.xml: a link"));
    EXPECT_THAT(made.out, HasSubstr("without /private/tmp/configuration.plist: no regular file"));
    EXPECT_THAT(made.out, HasSubstr("without /usr/local/Brovik/DynaConfig.plist: no regular file"));
    shell("rm -r /tmp/secret /usr/local/Brovik/secret /tmp/elsewhere");
}

TEST_F(Bundle, TakesTheNewestLinesOfALogThatIsLong) {
    const std::string line = "a line " + std::string(1000, 'x');
    shell("(echo first line; yes '" + line + "' | sed 70000q; echo last line) >/var/log/DownloadManager.log");
    const Ended made = bundle();
    EXPECT_THAT(made.out, HasSubstr(" bytes, of which the newest "));
    const std::string log = bundled().at("files" + std::string(traceLogPath));
    EXPECT_LE(log.size(), std::size_t(64) << 20);
    EXPECT_GT(log.size(), std::size_t(63) << 20);
    EXPECT_EQ(log.compare(0, 7, "a line "), 0);
    EXPECT_EQ(log.substr(log.size() - 10), "last line\n");
}

TEST_F(Bundle, ReplacesAFileOnlyWhenToldTo) {
    writeText(file, "mine");
    const Ended refused = bundle();
    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(refused.err, "updatelog: /tmp/update.tar.gz: is there already; --force replaces it\n");
    EXPECT_EQ(readText(file), "mine");
    shell("ln -sf /tmp/nowhere " + std::string(file));
    EXPECT_EQ(bundle().status, 2);
    EXPECT_EQ(bundle({"--force"}).status, 0);
    EXPECT_FALSE(std::filesystem::exists("/tmp/nowhere"));
    EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::symlink_status(file)));
}

TEST_F(Bundle, IsWrittenWholeOrNotAtAll) {
    std::filesystem::create_directory("/tmp/small");
    {
        const SmallDisk disk("/tmp/small", 8192);
        check();
        shell("head -c 200000 /dev/urandom >>/var/log/DownloadManager.log");
        const Ended made = run({program, "bundle", "/tmp/small/update.tar.gz"});
        EXPECT_EQ(made.status, 2);
        EXPECT_THAT(made.err, HasSubstr("No space left on device"));
        EXPECT_TRUE(std::filesystem::is_empty("/tmp/small"));
    }
    std::filesystem::remove("/tmp/small");
    EXPECT_EQ(run({program, "bundle", "/tmp/no folder/update.tar.gz"}).status, 2);
}

TEST_F(Bundle, RefusesWrongCallsAndTellsItsUsage) {
    EXPECT_EQ(run({program, "bundle"}).status, 2);
    EXPECT_EQ(run({program, "bundle", "/tmp/update.zip"}).status, 2);
    EXPECT_EQ(run({program, "bundle", traceLogPath, "--force"}).status, 2);
    const Ended help = run({program, "bundle", "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.out, HasSubstr("  $ updatelog bundle /tmp/update.tar.gz\n"));
}

} // namespace
