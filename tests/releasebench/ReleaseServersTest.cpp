// "releasebench servers" against real servers that have the example, and misbehave in one way each.
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "Program.h"
#include "PseudoTerminal.h"
#include "Release.h"
#include "TextFile.h"

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;
using testing::AllOf;
using testing::AnyOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

const std::string bench = "/usr/local/Brovik/qrn/bin/releasebench";
const std::string folder = "/tmp/release";
const std::string rehearsal = "/srv/rehearsal";
const std::string host = "https://scripted.brovik.example";

// The example on the scripted host, in a folder for each test: the service counts what it is asked for since
// its start.
class ReleaseServers : public testing::Test {
protected:
    void SetUp() override {
        static int tests = 0;
        m_below = "/" + std::to_string(++tests);
        fs::remove_all(folder);
        ASSERT_EQ(run({bench, "init", folder}).status, 0);
        std::string release = readText(folder + "/release.json");
        const std::string before = "https://download.brovik.example";
        for (std::size_t at = release.find(before); at != std::string::npos; at = release.find(before))
            release.replace(at, before.size(), host + m_below);
        writeText(folder + "/release.json", release);
        ASSERT_EQ(run({bench, "build", folder}).status, 0);
        const std::string served = rehearsal + "/scripted" + m_below;
        fs::create_directories(served);
        fs::copy(folder + "/built/catalogs", served + "/catalogs");
        fs::copy(folder + "/packages/1.0.1.0", served + "/HF_1.0.1.0");
        fs::copy(folder + "/packages/full", served + "/full");
        fs::copy_file(folder + "/built/releases.xml", rehearsal + "/service/releases.xml",
                      fs::copy_options::overwrite_existing);
    }
    ~ReleaseServers() override {
        for (const std::string file : {"script", "handshakes"})
            fs::remove(rehearsal + "/service/" + file);
    }

    // Of the toolbar's package.
    std::string path() const { return m_below + "/HF_1.0.1.0/toolbar.pkg"; }
    std::string url() const { return host + path(); }
    std::string served() const { return rehearsal + "/scripted" + path(); }
    void misbehave(const std::string &rules) const { writeText(rehearsal + "/service/script", rules); }

    Ended servers(std::vector<std::string> options = {}) const {
        options.insert(options.begin(), {bench, "servers", folder, "--parallel", "2"});
        return run(options);
    }
    // The one check that found something, of those whose subject has that text.
    Json found(const std::string &subject, const std::vector<std::string> &options = {}) const {
        std::vector<std::string> all = {"--format", "json"};
        all.insert(all.end(), options.begin(), options.end());
        const Ended ended = servers(all);
        EXPECT_EQ(ended.status, 1) << ended.out << ended.err;
        const Json told = Json::parse(ended.out);
        Json only;
        for (const Json &check : told["checks"]) {
            if (check["findings"].empty())
                continue;
            EXPECT_THAT(std::string(check["subject"]), HasSubstr(subject)) << check;
            only = check;
        }
        return only;
    }
    static std::vector<std::string> idsOf(const Json &check) {
        std::vector<std::string> ids;
        for (const Json &finding : check["findings"])
            ids.push_back(finding["id"]);
        return ids;
    }

    std::string m_below;
};

TEST_F(ReleaseServers, ThatHaveWhatTheFolderSaysAreWell) {
    const Ended ended = servers();
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(ended.out,
                AllOf(HasSubstr("11 checks, all as the folder says\n"), Not(HasSubstr("DIFFERS"))));
    EXPECT_THAT(ended.out, AllOf(HasSubstr("certificate https://update.brovik.example:443: of CN = "),
                                 AnyOf(HasSubstr("29 days left, trusted"), // 30 in its first second
                                       HasSubstr("30 days left, trusted")),
                                 HasSubstr("HTTP 200, 1 core and 1 partner catalogs"),
                                 HasSubstr(url() + ": 2048 bytes with the SHA-1 of "
                                                   "packages/1.0.1.0/toolbar.pkg, ranges")));
    const Json told = Json::parse(servers({"--format", "json"}).out);
    EXPECT_EQ(told["findings"], 0);
    EXPECT_THAT(told["checks"], SizeIs(11));
}

TEST_F(ReleaseServers, AreAskedByTheExampleOfTheHelp) {
    EXPECT_EQ(shell("cd /tmp && rm -rf my-release && cp -r release my-release && "
                    "PATH=/usr/local/Brovik/qrn/bin:$PATH && "
                    "eval \"$(releasebench servers --help | sed -n 's/^ *[$] //p')\" | tail -n 1"),
              "11 checks, all as the folder says\n");
}

TEST_F(ReleaseServers, AreAskedByTheEnginesOwnRequestForEveryApplication) {
    Json release = Json::parse(readText(folder + "/release.json"));
    release["audience"][0]["affiliates"] = {"105", "*"};
    release["audience"][0]["products"].push_back({{"application", "qusformac"}, {"catalogs", Json::array()}});
    writeText(folder + "/release.json", release.dump());
    ASSERT_EQ(run({bench, "build", folder}).status, 0);
    fs::copy_file(folder + "/built/releases.xml", rehearsal + "/service/releases.xml",
                  fs::copy_options::overwrite_existing);
    const std::string requests = rehearsal + "/log/requests";
    fs::remove_all(requests);
    fs::create_directories(requests);
    EXPECT_EQ(servers({"--system", "10.7.1", "--release", "basicmac3.2"}).status, 0);
    EXPECT_EQ(shell("grep -lr '<productrequest>' " + requests + " | wc -l"), "8\n");
    EXPECT_EQ(shell("grep -rh '<productrequest>' " + requests +
                    " | grep 'affid>105<' | grep quaformac | grep -c 'relver=\"1\"'"),
              "1\n");
    EXPECT_EQ(shell("grep -rh '<productrequest>' " + requests + " | sort | sed -n 1p"),
              "<?xml  version=\"1.0\" encoding=\"utf-8\"?><productrequest><shared/><pkglist><package "
              "class=\"macdefault\"><metadata><affid>0</affid><langid>en-us</langid><macos><version>10.7.1</"
              "version></macos></metadata><products relname=\"basicmac3.2\" relver=\"\"><product "
              "appid=\"quaformac\"/></products><partner affid=\"0\" relname=\"basicmac3.2\" relver=\"\">"
              "</partner></package></pkglist></productrequest>\n");
}

struct Misbehaviour {
    const char *name;
    const char *rule; // behind the package's path
    std::vector<std::string> ids;
    const char *text; // of the last finding
};

void PrintTo(const Misbehaviour &shown, std::ostream *stream) {
    *stream << shown.name;
}

class Misbehaving : public ReleaseServers, public testing::WithParamInterface<Misbehaviour> {};

TEST_P(Misbehaving, IsFoundWhereItIs) {
    // One rule, or the first answer by GET in the plain way and the others by the rule.
    const std::string rule = GetParam().rule;
    misbehave(rule.rfind("later ", 0) == 0
                  ? path() + " 1 ok\n" + path() + " * " + rule.substr(6) + "\n"
                  : path() + " * " + rule + "\nHEAD:" + path() + " * " + rule + "\n");
    const Json check = found(url());
    EXPECT_EQ(idsOf(check), GetParam().ids);
    EXPECT_THAT(std::string(check["findings"].back()["text"]), HasSubstr(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(
    Servers, Misbehaving,
    testing::Values(
        Misbehaviour{"Missing", "status 404", {"status", "status"}, "GET: HTTP 404 instead of 200"},
        Misbehaviour{
            "WrongBytes", "wrong 700", {"content"}, "other bytes than those of packages/1.0.1.0/toolbar"},
        Misbehaviour{"AnotherFile", "as /none", {"status", "status"}, "404"},
        Misbehaviour{"NoLength", "chunked", {"no-length"}, "a transfer that breaks off looks whole"},
        Misbehaviour{"BreaksOff", "later cut 100", {"broken"}, "Range from 1024: "},
        Misbehaviour{"NoRanges", "later no-ranges", {"no-ranges"}, "HTTP 200 instead of 206"},
        Misbehaviour{
            "WrongBytesOfARange", "later wrong 0", {"range-content"}, "Range from 1024: other bytes"},
        Misbehaviour{"RangeRefused", "later status 416", {"range-status"}, "HTTP 416 instead of 206"}),
    [](const auto &one) { return one.param.name; });

TEST_F(ReleaseServers, ThatHaveALongerOrAShorterFileAreFound) {
    writeText(served(), readText(served()) + "x");
    const Json longer = found(url());
    EXPECT_THAT(idsOf(longer), ElementsAre("length", "length"));
    EXPECT_EQ(longer["findings"][0]["text"], "HEAD: a length of 2049 instead of 2048");
    writeText(served(), "x");
    EXPECT_EQ(found(url())["findings"][1]["text"], "GET: 1 bytes instead of 2048");
}

TEST_F(ReleaseServers, ThatAnswerARangeWithAnotherOneAreFound) {
    misbehave(path() + " 1 ok\n" + path() + " * raw other\n");
    writeText(
        rehearsal + "/service/raw/other",
        "HTTP/1.1 206 Partial Content\r\nContent-Length: 1024\r\nContent-Range: bytes 0-1023/2048\r\n\r\n" +
            std::string(1024, 'x'));
    EXPECT_THAT(idsOf(found(url())), ElementsAre("range-header"));
}

TEST_F(ReleaseServers, ThatRedirectAreFollowedAndToldWhereTo) {
    fs::copy_file(served(), rehearsal + "/download/moved.pkg", fs::copy_options::overwrite_existing);
    misbehave(path() + " * redirect https://download.brovik.example/moved.pkg\nHEAD:" + path() +
              " * redirect https://download.brovik.example/moved.pkg\n");
    const Ended ended = servers();
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(ended.out,
                HasSubstr(url() + ": redirected 1 time, to https://download.brovik.example/moved.pkg, 2048"));

    fs::copy_file(served(), rehearsal + "/scripted/plain.pkg", fs::copy_options::overwrite_existing);
    misbehave(path() + " * redirect http://scripted.brovik.example/plain.pkg\nHEAD:" + path() +
              " * redirect http://scripted.brovik.example/plain.pkg\n");
    EXPECT_THAT(idsOf(found(url())), ElementsAre("redirect-to-http"));
}

TEST_F(ReleaseServers, WithABadCertificateAreFound) {
    const std::pair<const char *, const char *> kinds[] = {
        {"expired", "expired"},
        {"self-signed", "self-signed"},
        {"wrong-name", "no alternative certificate subject name"}};
    for (const auto &[kind, text] : kinds) {
        shell(std::string(BAD_CERTIFICATE) + " update.brovik.example " + kind);
        const Ended ended = servers({"--format", "json"});
        shell(std::string(BAD_CERTIFICATE) + " update.brovik.example --remove");
        EXPECT_EQ(ended.status, 1);
        const Json told = Json::parse(ended.out);
        const Json &checks = told["checks"];
        const Json &certificate = checks[1];
        EXPECT_EQ(certificate["subject"], "https://update.brovik.example:443");
        EXPECT_THAT(idsOf(certificate), ElementsAre("certificate"));
        EXPECT_THAT(std::string(certificate["findings"][0]["text"]), HasSubstr(text));
        EXPECT_THAT(certificate["facts"].dump(), HasSubstr("days left"));
        // Nor does the engine get an answer there.
        EXPECT_THAT(idsOf(checks[2]), ElementsAre("unreachable"));
    }
}

TEST_F(ReleaseServers, WhoseServiceKnowsNothingOfTheReleaseAreFound) {
    writeText(rehearsal + "/service/releases.xml", "<releases/>");
    const Json refused = found("by https://update.brovik.example/");
    EXPECT_THAT(idsOf(refused), ElementsAre("reply-refused"));
    EXPECT_THAT(std::string(refused["findings"][0]["text"]), HasSubstr("/catalogs/platform_maccat.xml"));

    writeText(
        rehearsal + "/service/releases.xml",
        "<releases><release affid='105' relname='old' relver='1' partnerrelver='2'>"
        "<product appid='quaformac'><catalog root='r' name='n' version='1'/></product></release></releases>");
    EXPECT_THAT(idsOf(found("by https://update.brovik.example/")),
                ElementsAre("reply-catalogs", "reply-catalogs", "reply-release", "reply-release"));
}

TEST_F(ReleaseServers, AnotherServiceIsAskedWhenItIsNamed) {
    const Json other = found("by " + host + "/velbrin/1.0.0.0/?reqtype=mac_", {"--service", host + "/"});
    // What is no reply at all is taken for one without catalogs.
    EXPECT_THAT(idsOf(other), Contains("reply-catalogs"));
}

TEST_F(ReleaseServers, ThatSayNothingAreGivenUpInTime) {
    misbehave("HEAD:" + path() + " * silent\n");
    const auto begin = std::chrono::steady_clock::now();
    const Ended each = servers({"--timeout", "4"});
    EXPECT_EQ(each.status, 1);
    EXPECT_THAT(each.out, HasSubstr("DIFFERS  file " + url() + "\n    unreachable: HEAD: "));
    EXPECT_EQ(servers({"--total-timeout", "1"}).status, 1);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

TEST_F(ReleaseServers, AreAskedWithABarOnATerminalAndAnInterruptLeavesNothing) {
    misbehave("HEAD:" + path() + " * silent\n");
    for (const int signal : {SIGINT, SIGTERM}) {
        PseudoTerminal terminal({bench, "servers", folder}, 70);
        ASSERT_TRUE(terminal.shows("asking  "));
        terminal.send(signal);
        EXPECT_EQ(terminal.end(), 128 + signal);
    }
    EXPECT_EQ(shell("ls /tmp | grep -c '^releasebench-' || true"), "0\n");
}

TEST_F(ReleaseServers, CannotBeAskedWithoutARelease) {
    fs::remove(folder + "/packages/full/suite.pkg");
    EXPECT_EQ(servers().status, 2);
    fs::remove(folder + "/release.json");
    EXPECT_EQ(servers().status, 2);
    EXPECT_EQ(servers({"--format", "xml"}).status, 2);
}

} // namespace
