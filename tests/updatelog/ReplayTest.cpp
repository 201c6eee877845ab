// "updatelog replay" of what the engine really did.
#include <algorithm>
#include <set>

#include <gmock/gmock.h>

#include "BundleFixture.h"

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

const std::string packages = "/usr/local/Brovik/TempDownload/Package/";

HotFix hotFix(const std::string &name, const std::string &version) {
    HotFix made = publishPackage(downloadHost + "/" + name, packed({{"/usr/local/Brovik/" + name, name}}));
    made.productVer = version;
    return made;
}

// Of each reason one, and four that are chosen, of which nothing tells two apart.
void publishRelease() {
    writeText(
        dynaConfigPlistPath,
        "<plist><dict><key>InstallPkgOrder</key><array><string>Other.pkg</string></array></dict></plist>");
    std::vector<HotFix> all = {hotFix("Late.pkg", "1.0.2.0"),         hotFix("Platform.pkg", "1.0.1.0"),
                               hotFix("Other.pkg", "1.0.1.0"),        hotFix("TooOld.pkg", "1.0.9.0"),
                               hotFix("TooNew.pkg", "1.0.9.0"),       hotFix("SystemTooOld.pkg", "1.0.9.0"),
                               hotFix("SystemTooNew.pkg", "1.0.9.0"), hotFix("NoVersion.pkg", "")};
    all.push_back(hotFix("Third.pkg", "1.0.1.0"));
    all[3].minVer = "1.0.0.6";
    all[4].maxVer = "1.0.0.4";
    all[5].osxMinVer = "10.8.6";
    all[6].osxMaxVer = "10.8.4";
    offer(all);
}

std::set<std::string> startedPackages(const std::string &log) {
    std::set<std::string> urls;
    const std::string begin = "Start download: ";
    for (std::size_t found = log.find(begin); found != std::string::npos;
         found = log.find(begin, found + 1)) {
        const std::size_t from = found + begin.size();
        const std::string url = log.substr(from, log.find('\n', from) - from);
        if (url.find(".pkg") != std::string::npos)
            urls.insert(url);
    }
    return urls;
}

std::vector<std::string> listedPackages(const std::string &log) {
    std::vector<std::string> paths;
    const std::string begin = "INFO: Installing ";
    for (std::size_t found = log.find(begin); found != std::string::npos;
         found = log.find(begin, found + 1)) {
        const std::size_t from = found + begin.size();
        paths.push_back(log.substr(from, log.find(' ', from) - from));
    }
    return paths;
}

std::vector<std::string> pathsIn(const json &order) {
    std::vector<std::string> paths;
    for (const json &package : order)
        paths.push_back(package.at("path"));
    return paths;
}

class Replay : public BundleFixture {
protected:
    // The bundle alone answers: nothing of the engine's is at its place.
    static Ended replayWithoutTheEngine(const std::vector<std::string> &arguments) {
        shell("mkdir /tmp/away && mv /usr/local/Brovik /System /private /tmp/away/");
        std::vector<std::string> command{"/tmp/away/Brovik/qrn/bin/updatelog", "replay", file};
        command.insert(command.end(), arguments.begin(), arguments.end());
        const Ended ended = run(command);
        shell(
            "mv /tmp/away/Brovik /usr/local/ && mv /tmp/away/System /tmp/away/private / && rmdir /tmp/away");
        return ended;
    }
};

TEST_F(Replay, TellsOfARunWhatItsLogTells) {
    publishRelease();
    ASSERT_EQ(checkForInstall().status, 0);
    ASSERT_EQ(bundle().status, 0);
    const std::string log = readText(traceLogPath);
    const Ended told = replayWithoutTheEngine({});
    const json answer = json::parse(replayWithoutTheEngine({"--json"}).out);

    EXPECT_EQ(told.err, "");
    EXPECT_EQ(told.status, 0) << told.out;
    EXPECT_THAT(
        told.out,
        HasSubstr("  - TooOld.pkg  1.0.9.0 (build 110): product 1.0.0.5 is below minVersion 1.0.0.6\n"));
    EXPECT_THAT(told.out, HasSubstr("system 10.8.5 is above maxSystem 10.8.4"));
    EXPECT_THAT(told.out, HasSubstr("fetched were just the packages that were to be: 4"));
    EXPECT_THAT(told.out, Not(HasSubstr("105-1")));

    std::set<std::string> chosen;
    std::map<std::string, std::string> selections;
    for (const json &each : answer.at("explanation").at("hotFixes")) {
        selections[each.at("name")] = each.at("selection");
        if (each.at("chosen"))
            chosen.insert(each.at("url").get<std::string>());
    }
    EXPECT_EQ(chosen, startedPackages(log));
    EXPECT_EQ(selections["TooNew.pkg"], "product-too-new");
    EXPECT_EQ(selections["SystemTooOld.pkg"], "system-too-old");
    EXPECT_EQ(selections["NoVersion.pkg"], "no-version");
    EXPECT_EQ(answer.at("unanswered").size(), 0U);

    // And the order is what the installation then does.
    const std::vector<std::string> foretold = pathsIn(answer.at("explanation").at("order"));
    install();
    EXPECT_EQ(listedPackages(readText(traceLogPath)), foretold);
    EXPECT_EQ(foretold.front(), packages + "1.0.1.0/Other.pkg");

    // The installation has removed the catalogs.
    ASSERT_EQ(bundle({"--force"}).status, 0);
    const Ended after = replay();
    EXPECT_EQ(after.status, 1);
    EXPECT_THAT(after.out, HasSubstr("none of the catalogs is in the bundle. An installation removes them."));
    EXPECT_THAT(after.out, HasSubstr("  + " + downloadHost + "/Late.pkg  came\n"));
    const json less = replayed();
    EXPECT_TRUE(less.at("explanation").is_null());
    EXPECT_EQ(pathsIn(less.at("log").at("order")), foretold);
    EXPECT_THAT(less.at("log").at("order").at(0).at("why").get<std::string>(),
                HasSubstr("order name \"Other.pkg\""));
}

TEST_F(Replay, TellsThatTheServiceHadNothing) {
    answerWith("<productresponse status=\"1\"/>");
    ASSERT_EQ(checkForInstall().status, 0);
    ASSERT_EQ(bundle().status, 0);
    const Ended told = replay();
    EXPECT_EQ(told.status, 0) << told.out;
    EXPECT_THAT(told.out, HasSubstr("Nothing is changed: ERROR Tolvane response"));
}

// Takes the bundle apart and puts it together again.
void change(const std::string &script) {
    shell("rm -rf /tmp/in && mkdir /tmp/in && cd /tmp/in && tar xzf /tmp/update.tar.gz && " + script +
          " && tar czf /tmp/update.tar.gz $(find . -type f -printf '%P\n')");
}

TEST_F(Replay, SaysWhereTheLogSaysOtherwise) {
    publishRelease();
    ASSERT_EQ(checkForInstall().status, 0);
    ASSERT_EQ(bundle().status, 0);
    change("sed -i 's,<minver>1.0.0.6,<minver>1.0.0.5,' files" + coreCatalogDirectory() + "/*.xml");
    const Ended told = replay();
    EXPECT_EQ(told.status, 1);
    EXPECT_THAT(told.out, HasSubstr("The log says otherwise:\n  " + downloadHost +
                                    "/TooOld.pkg was to be fetched, and the log does not tell of it\n"));
}

TEST_F(Replay, SaysWhatIsMissingOfTheOrderAndOfTheReply) {
    publishRelease();
    ASSERT_EQ(checkForInstall().status, 0);
    ASSERT_EQ(bundle().status, 0);
    change("rm files" + std::string(dynaConfigPlistPath));
    EXPECT_THAT(replay().out, HasSubstr("  Which order of installation was configured: "));
    change("sed -i '/INFO :Tolvane Response - /,/<.productresponse>/d' files" + std::string(traceLogPath));
    const Ended told = replay();
    EXPECT_EQ(told.status, 1);
    EXPECT_THAT(told.out, HasSubstr("the log does not have the service's reply"));
    EXPECT_THAT(told.out, HasSubstr("Order of installation:\n"));
}

TEST_F(Replay, PutsNothingOfABundleAnywhereElse) {
    publishRelease();
    ASSERT_EQ(checkForInstall().status, 0);
    ASSERT_EQ(bundle().status, 0);
    shell("touch /tmp/mark && sleep 0.05");
    replay();
    EXPECT_EQ(shell("find /tmp /usr/local/Brovik /private /var/log -newer /tmp/mark -type f -not -path "
                    "'/tmp/program.*'"),
              "");
    EXPECT_EQ(shell("ls -A /tmp | grep -c -e '^releasebench-' -e '^.updatelog-' || true"), "0\n");
    shell("rm /tmp/mark");
}

std::string product(const std::vector<std::string> &catalogs) {
    std::string list;
    for (const std::string &catalog : catalogs)
        list += "<catalog><caturlroot>" + downloadHost + "</caturlroot><name>" + catalog +
                "</name><version>7</version></catalog>";
    return "<product appid=\"quaformac\"><catlist>" + list + "</catlist></product>";
}

void answerWithCatalogs(const std::vector<std::string> &core, const std::vector<std::string> &partner) {
    answerWith(
        "<productresponse status=\"0\"><pkglist><package><products relname=\"basicmac3.4\" relver=\"3.1\">" +
        product(core) + "</products><partner relver=\"2.2\">" + product(partner) +
        "</partner></package></pkglist></productresponse>");
}

// Of a release that is installed whole.
void publishWhole(const std::string &catalog, const std::string &name, const std::string &version) {
    const HotFix package =
        publishPackage(downloadHost + "/" + name, packed({{"/usr/local/Brovik/" + name, name}}));
    publish(downloadHost + "/" + catalog + ".xml",
            "<product_catalog><configuration><version>" + version +
                "</version><mainbuildno>110</mainbuildno></configuration><manifest>"
                "<server_package_information><fullinstall_package_list><server_package name=\"" +
                name + "\" url=\"" + package.url + "\" hash=\"" + package.hash +
                "\"/></fullinstall_package_list></server_package_information></manifest></product_catalog>");
}

TEST_F(Replay, TellsOfAFreshInstallationWhatItsLogTells) {
    publishWhole("core_maccat", "Core.pkg", "1.0.1.0");
    publishWhole("partner_maccat", "Partner.pkg", "1.0.2.0");
    answerWithCatalogs({"core_maccat"}, {"partner_maccat"});
    ASSERT_EQ(run({"/usr/local/Brovik/qrn/bin/freshinstall", "--json"}).status, 0);
    ASSERT_EQ(bundle().status, 0);
    const Ended told = replay();
    EXPECT_EQ(told.status, 0) << told.out;
    EXPECT_THAT(told.out, HasSubstr("fetched were just the packages that were to be: 2"));
    const json explanation = replayed().at("explanation");
    EXPECT_EQ(explanation.at("job"), "fresh-install");
    std::set<std::string> chosen;
    for (const json &each : explanation.at("downloads")) {
        EXPECT_TRUE(std::filesystem::is_regular_file(each.at("path"))) << each;
        chosen.insert(each.at("url").get<std::string>());
    }
    EXPECT_EQ(chosen, startedPackages(readText(traceLogPath)));
}

// And of packages that are for fresh installations only.
TEST_F(Replay, TellsOfPartnersCatalogsToo) {
    publishCatalog(downloadHost + "/core_maccat.xml", {hotFix("One.pkg", "1.0.1.0")});
    publishCatalog(downloadHost + "/partner_maccat.xml",
                   {hotFix("Two.pkg", "1.0.1.0"), hotFix("No.pkg", "")});
    publishWhole("whole_maccat", "Whole.pkg", "1.0.2.0");
    answerWithCatalogs({"core_maccat", "whole_maccat"}, {"partner_maccat"});
    ASSERT_EQ(checkForInstall().status, 0);
    ASSERT_EQ(bundle().status, 0);
    const Ended told = replay();
    EXPECT_EQ(told.status, 0) << told.out;
    EXPECT_THAT(told.out, HasSubstr("  Partner  " + downloadHost + "/partner_maccat.xml\n"));
    EXPECT_THAT(told.out, HasSubstr("fetched were just the packages that were to be: 2"));
    EXPECT_EQ(startedPackages(readText(traceLogPath)).size(), 2U);
}

TEST_F(Replay, TellsOfTheNewestOfSeveralRunsThatAsked) {
    offer({hotFix("One.pkg", "1.0.1.0")});
    ASSERT_EQ(checkForInstall().status, 0);
    answerWith("");
    ASSERT_EQ(checkForInstall().status, 0);
    ASSERT_EQ(run(updaterWith({"1.0.0.5", "105-1", "Nonsense"})).out, ""); // asks nobody
    ASSERT_EQ(bundle().status, 0);
    const Ended told = replay();
    EXPECT_EQ(told.status, 1);
    EXPECT_THAT(told.out, HasSubstr("\nrun 2  "));
    EXPECT_THAT(told.out, HasSubstr("the log does not have the service's reply, since none came."));
}

TEST_F(Replay, TellsWhereAMaskMayHaveChangedItsAnswer) {
    offer({hotFix("One105-1.pkg", "1.0.1.0"), hotFix("Two.pkg", "1.0.1.0")});
    ASSERT_EQ(checkForInstall().status, 0);
    ASSERT_EQ(bundle().status, 0);
    const Ended told = replay();
    EXPECT_EQ(told.status, 1);
    EXPECT_THAT(told.out, HasSubstr(", system 10.8.5, masked\n"));
    EXPECT_THAT(told.out, HasSubstr("how Onemasked_affiliate.pkg is chosen and named: a masked value"));
    EXPECT_TRUE(replayed().at("bundle").at("masked"));
    ASSERT_EQ(bundle({"--force", "--unmasked"}).status, 0);
    EXPECT_EQ(replay().status, 0);
    EXPECT_FALSE(replayed().at("bundle").at("masked"));
}

TEST_F(Replay, RefusesCatalogsThatTogetherAreTooLong) {
    offer({hotFix("One.pkg", "1.0.1.0")});
    ASSERT_EQ(checkForInstall().status, 0);
    ASSERT_EQ(bundle().status, 0);
    change("sed -i 's,<catalog>.*</catalog>,&&&&&,' files" + std::string(traceLogPath) +
           " && head -c 4000000 /dev/zero | tr '\\0' ' ' >>files" + coreCatalogDirectory() +
           "/core_maccat.xml");
    const Ended told = replay();
    EXPECT_EQ(told.status, 2);
    EXPECT_EQ(told.err, "updatelog: /tmp/update.tar.gz: the catalogs that its log names are too long\n");
}

TEST_F(Replay, RefusesWrongCallsAndTellsItsUsage) {
    EXPECT_EQ(run({program, "replay"}).status, 2);
    const Ended help = run({program, "replay", "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.out, HasSubstr("  $ updatelog replay /tmp/update.tar.gz\n"));
}

} // namespace
