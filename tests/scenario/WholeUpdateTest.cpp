// One release with everything in it, from the question to the installed product.

#include <filesystem>

#include <gtest/gtest.h>
#include <unistd.h>

#include "ExpectedTrace.h"
#include "Observed.h"
#include "Paths.h"
#include "Release.h"
#include "TextFile.h"
#include "Updater.h"

namespace {

const std::string root = "https://download.brovik.example/release";
const std::string packages = "/usr/local/Brovik/TempDownload/Package";

const std::string installedConfiguration = R"(<?xml version="1.0" encoding="utf-8"?>
<ProductConfiguration>
  <ProductName>Brovik Desktop Suite</ProductName>
  <AffID>105-1</AffID>
  <AppID>quaformac,basicmac3.3</AppID>
  <ProductVersion>1.0.0.5</ProductVersion>
  <BuildNumber>105</BuildNumber>
  <CoreRelVer>2.5</CoreRelVer>
  <PartnerRelVer>1.5</PartnerRelVer>
  <ReleaseName>basicmac3.3</ReleaseName>
  <CBRMSBuildNo>3</CBRMSBuildNo>
  <InstallFolder>/usr/local/Brovik</InstallFolder>
</ProductConfiguration>
)";

const std::string updatedConfiguration = R"(<?xml version="1.0" encoding="utf-8"?>
<ProductConfiguration>
  <ProductName>Brovik Desktop Suite</ProductName>
  <AffID>105-1</AffID>
  <AppID>quaformac,basicmac3.3</AppID>
  <ProductVersion>1.0.2.0</ProductVersion>
  <BuildNumber>131</BuildNumber>
  <CoreRelVer>3.1</CoreRelVer>
  <PartnerRelVer>2.2</PartnerRelVer>
  <ReleaseName>basicmac3.4</ReleaseName>
  <CBRMSBuildNo>7</CBRMSBuildNo>
  <InstallFolder>/usr/local/Brovik</InstallFolder>
</ProductConfiguration>
)";

const std::string installationOrder = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
    <key>InstallPkgOrder</key>
    <array>
        <string>AntiVirus.pkg</string>
        <string>RETOOLS.PKG</string>
        <string>Missing.pkg</string>
        <string>Platform.pkg</string>
    </array>
</dict>
</plist>
)";

const std::string releases = R"(<releases>
  <release affid="105" relname="basicmac3.4" relver="3.1" partnerrelver="2.2">
    <product appid="basicmac3.3">
      <catalog root="https://download.brovik.example/nowhere" name="never_asked_for" version="1"/>
    </product>
    <product appid="quaformac">
      <catalog root="https://download.brovik.example/release" name="core_maccat" version="7"/>
      <catalog root="https://download.brovik.example/release" name="dynamicbranding_maccat" version="8"/>
    </product>
    <partner appid="basicmac3.3">
      <catalog root="https://download.brovik.example/release" name="partner_maccat" version="9"/>
    </partner>
  </release>
</releases>
)";

const std::string basicProduct = R"(<product appid="basicmac3.3">
          <catlist>
            <catalog>
              <caturlroot>https://download.brovik.example/nowhere</caturlroot>
              <name>never_asked_for</name>
              <version>1</version>
            </catalog>
          </catlist>
        </product>)";

const std::string coreProduct = R"(<product appid="quaformac">
          <catlist>
            <catalog>
              <caturlroot>https://download.brovik.example/release</caturlroot>
              <name>core_maccat</name>
              <version>7</version>
            </catalog>
            <catalog>
              <caturlroot>https://download.brovik.example/release</caturlroot>
              <name>dynamicbranding_maccat</name>
              <version>8</version>
            </catalog>
          </catlist>
        </product>)";

const std::string partnerProduct = R"(<product appid="basicmac3.3">
          <catlist>
            <catalog>
              <caturlroot>https://download.brovik.example/release</caturlroot>
              <name>partner_maccat</name>
              <version>9</version>
            </catalog>
          </catlist>
        </product>)";

const std::string reply = R"(<?xml version="1.0" encoding="utf-8"?>
<productresponse status="0">
  <error>
    <errorcode>0</errorcode>
    <errordetail></errordetail>
  </error>
  <pkglist>
    <package class="macdefault">
      <products relname="basicmac3.4" relver="3.1">
        )" + basicProduct +
                          R"(
        )" + coreProduct + R"(
      </products>
      <partner affid="105" relname="basicmac3.4" relver="2.2">
        )" + partnerProduct +
                          R"(
      </partner>
    </package>
  </pkglist>
</productresponse>
)";

const std::string requestBody =
    "<?xml  version=\"1.0\" encoding=\"utf-8\"?><productrequest><shared/><pkglist><package "
    "class=\"macdefault\">"
    "<metadata><affid>105</affid><langid>en-us</langid><macos><version>10.8.5</version></macos></metadata>"
    "<products relname=\"basicmac3.3\" relver=\"2.5\"><product appid=\"quaformac\"/>"
    "<product appid=\"basicmac3.3\"/></products>"
    "<partner affid=\"105\" relname=\"basicmac3.3\" relver=\"1.5\"></partner>"
    "</package></pkglist></productrequest>";

const std::string script = R"(#!/bin/bash
set -x
LOG_NAME=/var/log/DownloadManager.log
checkStatus()
{
status=$1
PackageName=$2
if [ $status -ne 0 ] ; then
echo "Failed to install $PackageName" >> $LOG_NAME
exit -1
fi
echo "Installed $PackageName successfully" >> $LOG_NAME
}
echo " Installing /usr/local/Brovik/TempDownload/Package/repost/1.0.1.0/ReTools.pkg" >> $LOG_NAME
sudo installer -package /usr/local/Brovik/TempDownload/Package/repost/1.0.1.0/ReTools.pkg -target / 2>&1 > /dev/null )"
                           "\n"
                           R"(checkStatus $? /usr/local/Brovik/TempDownload/Package/repost/1.0.1.0/ReTools.pkg
echo " Installing /usr/local/Brovik/TempDownload/Package/1.0.1.0/AntiVirus.pkg" >> $LOG_NAME
sudo installer -package /usr/local/Brovik/TempDownload/Package/1.0.1.0/AntiVirus.pkg -target / 2>&1 > /dev/null )"
                           "\n"
                           R"(checkStatus $? /usr/local/Brovik/TempDownload/Package/1.0.1.0/AntiVirus.pkg
echo " Installing /usr/local/Brovik/TempDownload/Package/1.0.1.0/Platform.pkg" >> $LOG_NAME
sudo installer -package /usr/local/Brovik/TempDownload/Package/1.0.1.0/Platform.pkg -target / 2>&1 > /dev/null )"
                           "\n"
                           R"(checkStatus $? /usr/local/Brovik/TempDownload/Package/1.0.1.0/Platform.pkg
echo " Installing /usr/local/Brovik/TempDownload/Package/1.0.1.0/Partner.pkg" >> $LOG_NAME
sudo installer -package /usr/local/Brovik/TempDownload/Package/1.0.1.0/Partner.pkg -target / 2>&1 > /dev/null )"
                           "\n"
                           R"(checkStatus $? /usr/local/Brovik/TempDownload/Package/1.0.1.0/Partner.pkg
echo " Installing /usr/local/Brovik/TempDownload/Package/1.0.2.0/Firewall.pkg" >> $LOG_NAME
sudo installer -package /usr/local/Brovik/TempDownload/Package/1.0.2.0/Firewall.pkg -target / 2>&1 > /dev/null )"
                           "\n"
                           R"(checkStatus $? /usr/local/Brovik/TempDownload/Package/1.0.2.0/Firewall.pkg
echo "Updating ProductConfig.xml ..."
sudo cp /usr/local/Brovik/TempDownload/ProductConfig.xml /usr/local/Brovik/ProductConfig.xml
if [ -e /usr/local/Brovik/TempDownload/NeedRestartForRepost ] ; then
echo "Restarting QRN ..." >> $LOG_NAME
/usr/local/Brovik/qrn/bin/qrn restart >> /dev/null 2>&1
echo "Restarted QRN" >> $LOG_NAME
fi
sudo rm -rf /usr/local/Brovik/TempDownload
rm -rf /private/tmp/ZTKProductUpdate
rm -rf /usr/local/repost/installer.sh
)";

// The packages by the path below "Package" to which they are downloaded.
Files packageFiles() {
    return {
        {"1.0.1.0/Platform.pkg", packed({{"/usr/local/Brovik/platform", "platform 1.0.1.0"}})},
        {"1.0.1.0/AntiVirus.pkg", packed({{"/usr/local/Brovik/antivirus", "antivirus 1.0.1.0"}})},
        {"1.0.1.0/Partner.pkg", packed({{"/usr/local/Brovik/partner", "partner 1.0.1.0"}})},
        {"1.0.2.0/Firewall.pkg", packed({{"/usr/local/Brovik/firewall", "firewall 1.0.2.0"}})},
        {"1.0.0.6/DynamicBranding.pkg", packed({{"/usr/local/Brovik/branding", "branding 7"}})},
        // Asks for a restart of the suite's service.
        {"repost/1.0.1.0/ReTools.pkg", packed({{"/usr/local/Brovik/repost", "repost 1.0.1.0"},
                                               {"/usr/local/Brovik/TempDownload/NeedRestartForRepost", ""}})},
        {"repost/1.0.1.0/Unlisted.pkg", packed({{"/usr/local/Brovik/unlisted", "never installed"}})},
    };
}

void publishRelease(Files files) {
    std::vector<HotFix> core;
    const auto add = [&core](HotFix hotFix, const std::string &version, const std::string &build) {
        hotFix.productVer = version;
        hotFix.buildNo = build;
        core.push_back(hotFix);
        return &core.back();
    };
    const auto neverDownloaded = [](const std::string &name) {
        return publishPackage(root + "/" + name, "not for this product");
    };
    HotFix *hotFix =
        add(publishPackage(root + "/Platform.pkg", files["1.0.1.0/Platform.pkg"]), "1.0.1.0", "110");
    hotFix->minVer = "1.0.0.0";
    hotFix->maxVer = "1.0.0.9";
    hotFix = add(neverDownloaded("TooOld.pkg"), "1.0.9.0", "900");
    hotFix->maxVer = "1.0.0.4";
    hotFix = add(neverDownloaded("TooNew.pkg"), "1.0.9.0", "900");
    hotFix->minVer = "1.0.0.6";
    hotFix = add(neverDownloaded("SystemTooOld.pkg"), "1.0.9.0", "900");
    hotFix->osxMinVer = "10.8.6";
    hotFix = add(neverDownloaded("SystemTooNew.pkg"), "1.0.9.0", "900");
    hotFix->osxMaxVer = "10.8.4";
    add(neverDownloaded("NoVersion.pkg"), "", "900");
    // Bounds include what they name.
    hotFix = add(publishPackage(root + "/AntiVirus.pkg", files["1.0.1.0/AntiVirus.pkg"]), "1.0.1.0", "131");
    hotFix->minVer = "1.0.0.5";
    hotFix->maxVer = "1.0.0.5";
    hotFix = add(publishPackage(root + "/Firewall.pkg", files["1.0.2.0/Firewall.pkg"]), "1.0.2.0", "120");
    hotFix->osxMinVer = "10.8.5";
    hotFix->osxMaxVer = "10.8.5";
    hotFix = add(publishPackage(root + "/ReTools.pkg", files["repost/1.0.1.0/ReTools.pkg"]), "1.0.1.0", "99");
    hotFix->repost = "YES";
    hotFix =
        add(publishPackage(root + "/Unlisted.pkg", files["repost/1.0.1.0/Unlisted.pkg"]), "1.0.1.0", "99");
    hotFix->repost = "YES";
    publishCatalog(root + "/core_maccat.xml", core);

    HotFix branding = publishPackage(root + "/DynamicBranding.pkg", files["1.0.0.6/DynamicBranding.pkg"]);
    branding.productVer = "1.0.0.6";
    publishCatalog(root + "/dynamicbranding_maccat.xml", {branding}, "    <cbrmsbuildno>7</cbrmsbuildno>\n");

    publishCatalog(root + "/partner_maccat.xml",
                   {publishPackage(root + "/Partner.pkg", files["1.0.1.0/Partner.pkg"])});
    answerFrom(releases);
}

// The trace of one of the packages.
std::string traced(const std::string &path) {
    return tracedPackage(root + path.substr(path.rfind('/')), packages + "/" + path);
}

const std::string checkTrace =
    ">Product updater is started\n"
    ">Product updater: CurProdVersion: 1.0.0.5 CurProdAffId: 105-1\n"
    ">INFO : DownloadController - ProductUpdate\n"
    ">INFO: Enter sendTolvaneUpdateRequest\n"
    ">INFO : Tolvane Handler - Creating Tolvane request body\n"
    ">INFO : Getting OS version\n"
    ">INFO : TolvaneHandler - getRequestParameterFromProductConfigXmlForUpdate\n"
    ">INFO :Tolvane Request - " +
    requestBody +
    "\n"
    ">INFO :Tolvane Handler - sendTolvaneRequest\n"
    ">Tolvane Handler : INFO Velbrim http code = 200\n"
    ">INFO :Tolvane Response - " +
    reply +
    "\n"
    ">INFO : Processing Tolvane Response\n"
    ">INFO : TolvaneHandler - Update Available\n"
    ">INFO : Getting Product Catalogs \n"
    ">INFO : Getting Catalog Urls\n"
    ">INFO : Tolvane response is  == >> " +
    reply +
    "\n"
    ">INFO : Parsing Tolvane response for getting catalog\n"
    ">\nINFO : getCoreAndPartnerAppIDs - basicmac3.3\n\n"
    ">\nINFO : getCoreAndPartnerAppIDs - quaformac\n\n"
    ">\nINFO : Core Products - " +
    basicProduct +
    "\n\n"
    ">\nINFO : this appid - basicmac3.3\n\n"
    ">\nINFO : Core Products - " +
    coreProduct +
    "\n\n"
    ">\nINFO : size of rooturl Vector is  - 2\n\n"
    ">\nINFO : this appid - quaformac\n\n"
    ">INFO :Tolvane Response has names - core_maccat\n"
    ">INFO :Tolvane Response has names - dynamicbranding_maccat\n"
    ">\nINFO : Partner Products - " +
    partnerProduct +
    "\n\n"
    ">\nINFO : this appid - basicmac3.3\n\n"
    ">\n Core Catalogs Are :: --- >> https://download.brovik.example/release/core_maccat.xml\n\n"
    ">\n Core Catalogs Are :: --- >> https://download.brovik.example/release/dynamicbranding_maccat.xml\n\n"
    ">INFO: Download Start\n"
    ">INFO: Creating Download thread\n"
    ">INFO : DownloadController::downLoadThreadEntry\n"
    ">INFO : DownloadController::downLoadThreadEntry\n"
    ">INFO : Start download: https://download.brovik.example/release/core_maccat.xml\n"
    ">Successfully downloaded: https://download.brovik.example/release/core_maccat.xml\n"
    ">INFO : Start download: https://download.brovik.example/release/dynamicbranding_maccat.xml\n"
    ">Successfully downloaded: https://download.brovik.example/release/dynamicbranding_maccat.xml\n"
    ">\n Partner Catalogs Are :: --- >> https://download.brovik.example/release/partner_maccat.xml\n\n"
    ">INFO: Download Start\n"
    ">INFO: Creating Download thread\n"
    ">INFO : DownloadController::downLoadThreadEntry\n"
    ">INFO : Start download: https://download.brovik.example/release/partner_maccat.xml\n"
    ">Successfully downloaded: https://download.brovik.example/release/partner_maccat.xml\n"
    ">INFO : Getting Hotfix info\n"
    ">INFO: UpdateManager - Getting list of Updates\n"
    ">INFO : Getting OS version\n"
    ">INFO: Download Start\n"
    ">INFO: Creating Download thread\n" +
    tracedThreads(7) + traced("1.0.1.0/AntiVirus.pkg") + traced("1.0.0.6/DynamicBranding.pkg") +
    traced("1.0.2.0/Firewall.pkg") + traced("1.0.1.0/Partner.pkg") + traced("1.0.1.0/Platform.pkg") +
    traced("repost/1.0.1.0/ReTools.pkg") + traced("repost/1.0.1.0/Unlisted.pkg") +
    tracedConfiguration({{"ProductVersion", "1.0.2.0"},
                         {"BuildNumber", "131"},
                         {"CoreRelVer", "3.1"},
                         {"PartnerRelVer", "2.2"},
                         {"ReleaseName", "basicmac3.4"},
                         {"CBRMSBuildNo", "7"}}) +
    ">Product updater is exited\n";

const std::string installTrace =
    ">Product updater is started\n"
    ">Product updater: CurProdVersion: 1.0.0.5 CurProdAffId: 105-1\n"
    ">INFO : DownloadController - ProductUpdate\n"
    ">INFO: Installation of Updates starts\n"
    ">INFO: Installing /usr/local/Brovik/TempDownload/Package/1.0.0.6/DynamicBranding.pkg \n"
    ">INFO: Installation /usr/local/Brovik/TempDownload/Package/1.0.0.6/DynamicBranding.pkg Succeded \n"
    ">INFO: Getting order of installation \n"
    ">INFO: Installing /usr/local/Brovik/TempDownload/Package/repost/1.0.1.0/ReTools.pkg \n"
    ">INFO: Installing /usr/local/Brovik/TempDownload/Package/1.0.1.0/AntiVirus.pkg \n"
    ">INFO: Installing /usr/local/Brovik/TempDownload/Package/1.0.1.0/Platform.pkg \n"
    ">INFO: Installing /usr/local/Brovik/TempDownload/Package/1.0.1.0/Partner.pkg \n"
    ">INFO: Installing /usr/local/Brovik/TempDownload/Package/1.0.2.0/Firewall.pkg \n"
    ">INFO : Installing Packages from /usr/local/repost/installer.sh\n"
    ">Child process: executing /usr/local/repost/installer.sh \n"
    " Installing /usr/local/Brovik/TempDownload/Package/repost/1.0.1.0/ReTools.pkg\n"
    "Installed /usr/local/Brovik/TempDownload/Package/repost/1.0.1.0/ReTools.pkg successfully\n"
    " Installing /usr/local/Brovik/TempDownload/Package/1.0.1.0/AntiVirus.pkg\n"
    "Installed /usr/local/Brovik/TempDownload/Package/1.0.1.0/AntiVirus.pkg successfully\n"
    " Installing /usr/local/Brovik/TempDownload/Package/1.0.1.0/Platform.pkg\n"
    "Installed /usr/local/Brovik/TempDownload/Package/1.0.1.0/Platform.pkg successfully\n"
    " Installing /usr/local/Brovik/TempDownload/Package/1.0.1.0/Partner.pkg\n"
    "Installed /usr/local/Brovik/TempDownload/Package/1.0.1.0/Partner.pkg successfully\n"
    " Installing /usr/local/Brovik/TempDownload/Package/1.0.2.0/Firewall.pkg\n"
    "Installed /usr/local/Brovik/TempDownload/Package/1.0.2.0/Firewall.pkg successfully\n"
    "Restarting QRN ...\n"
    "Restarted QRN\n";

const std::string installerRecord =
    "-package /usr/local/Brovik/TempDownload/Package/1.0.0.6/DynamicBranding.pkg -target / | 0\n"
    "-package /usr/local/Brovik/TempDownload/Package/repost/1.0.1.0/ReTools.pkg -target / | 0\n"
    "-package /usr/local/Brovik/TempDownload/Package/1.0.1.0/AntiVirus.pkg -target / | 0\n"
    "-package /usr/local/Brovik/TempDownload/Package/1.0.1.0/Platform.pkg -target / | 0\n"
    "-package /usr/local/Brovik/TempDownload/Package/1.0.1.0/Partner.pkg -target / | 0\n"
    "-package /usr/local/Brovik/TempDownload/Package/1.0.2.0/Firewall.pkg -target / | 0\n";

void furnishProduct() {
    writeText(prodConfigXml, installedConfiguration);
    writeText(dynaConfigPlistPath, installationOrder);
    std::filesystem::create_directories("/private/tmp/ZTKProductUpdate/left-over");
    // The suite's service control, which keeps the script that calls it before that removes itself.
    writeText("/usr/local/Brovik/qrn/bin/qrn", "#!/bin/bash\n"
                                               "printf '%s\\n' \"$*\" >>/tmp/qrn-calls\n"
                                               "umask >/tmp/umask\n"
                                               "ps -o sid= -p $$ >/tmp/session\n"
                                               "cp -p /usr/local/repost/installer.sh /tmp/installer.sh\n");
}

std::string sortedLines(const std::string &path) {
    return shell("sort " + path);
}

void expectServersView() {
    ASSERT_EQ(updateRequests().size(), 1U);
    EXPECT_EQ(updateRequests().front(), "POST /velbrin/1.0.0.0/?reqtype=mac_update HTTP/1.1\r\n"
                                        "Host: update.brovik.example\r\n"
                                        "Content-Type: text/xml; charset=utf-8\r\n"
                                        "Content-Length: " +
                                            std::to_string(requestBody.size()) +
                                            "\r\n"
                                            "Accept: text/xml\r\n"
                                            "\r\n" +
                                            requestBody);
    std::vector<std::string> answers;
    for (const std::string name : {"AntiVirus.pkg", "DynamicBranding.pkg", "Firewall.pkg", "Partner.pkg",
                                   "Platform.pkg", "ReTools.pkg", "Unlisted.pkg", "core_maccat.xml",
                                   "dynamicbranding_maccat.xml", "partner_maccat.xml"})
        answers.push_back(
            "GET /release/" + name + " HTTP/1.1 | 200 | - | " +
            std::to_string(std::filesystem::file_size("/srv/rehearsal/download/release/" + name)));
    EXPECT_EQ(downloadAnswers(), answers);
}

Files filesAfterCheck(const Files &packageContents) {
    Files files;
    for (const auto &[path, content] : packageContents)
        files["Package/" + path] = content;
    for (const std::string path :
         {"Core/core_maccat.xml", "Core/dynamicbranding_maccat.xml", "Partner/partner_maccat.xml"})
        files["Catalog/" + path] = readText("/srv/rehearsal/download/release" + path.substr(path.find('/')));
    files["ProductConfig.xml"] = updatedConfiguration;
    return files;
}

TEST(WholeUpdate, ChecksDownloadsAndInstallsARelease) {
    furnishProduct();
    const Files files = packageFiles();
    publishRelease(files);

    const Ended check = checkForInstall();
    EXPECT_EQ(check.status, 0);
    EXPECT_EQ(check.out, "value is === >>> " + basicProduct + "\n" + "value is === >>> " + coreProduct +
                             "\n" + "value is === >>> " + partnerProduct + "\n");
    EXPECT_EQ(check.err, "");
    EXPECT_EQ(transcript(), checkTrace);
    expectServersView();
    EXPECT_TRUE(sameFiles(filesAfterCheck(files), filesBelow(keyCoreDownloadCache)));
    // In the order in which the downloads came to life, so sorted here.
    EXPECT_EQ(sortedLines(packageListPath),
              packages + "/1.0.0.6/DynamicBranding.pkg\n" + packages + "/1.0.1.0/AntiVirus.pkg\n" + packages +
                  "/1.0.1.0/Partner.pkg\n" + packages + "/1.0.1.0/Platform.pkg\n" + packages +
                  "/1.0.2.0/Firewall.pkg\n" + packages + "/repost/1.0.1.0/ReTools.pkg\n" + packages +
                  "/repost/1.0.1.0/Unlisted.pkg\n");
    EXPECT_TRUE(std::filesystem::is_empty(waitingMarker));
    EXPECT_EQ(readText(prodConfigXml), installedConfiguration);
    EXPECT_FALSE(std::filesystem::exists(installerScriptPath));

    const Ended installed = install();
    EXPECT_EQ(installed.status, 1);
    EXPECT_EQ(installed.out, "Updating ProductConfig.xml ...\n");
    EXPECT_EQ(transcript(), checkTrace + installTrace);
    EXPECT_EQ(readText("/tmp/installer.sh"), script);
    EXPECT_EQ(shell("stat -c %a /tmp/installer.sh"), "755\n");
    EXPECT_EQ(readText("/tmp/qrn-calls"), "restart\n");
    // It runs in a session of its own and leaves files that are nobody else's to read.
    EXPECT_EQ(readText("/tmp/umask"), "0027\n");
    EXPECT_NE(std::stoi(readText("/tmp/session")), getsid(0));
    EXPECT_EQ(readText("/srv/rehearsal/log/installer.log"), installerRecord);
    EXPECT_EQ(readText(prodConfigXml), updatedConfiguration);
    EXPECT_TRUE(std::filesystem::exists(waitingMarker));
    for (const std::string gone : {packageListPath, keyCoreDownloadCache.c_str(), installerScriptPath,
                                   "/private/tmp/ZTKProductUpdate"})
        EXPECT_FALSE(std::filesystem::exists(gone)) << gone;
    for (const auto &[name, content] : Files{{"platform", "platform 1.0.1.0"},
                                             {"antivirus", "antivirus 1.0.1.0"},
                                             {"partner", "partner 1.0.1.0"},
                                             {"firewall", "firewall 1.0.2.0"},
                                             {"branding", "branding 7"},
                                             {"repost", "repost 1.0.1.0"},
                                             {"unlisted", ""}})
        EXPECT_EQ(readText("/usr/local/Brovik/" + name), content);
    // The second run asked nobody.
    expectServersView();
}

} // namespace
