// The exchange with the real service of the sealed machine, over TLS.

#include "TolvaneHandler.h"

#include <chrono>
#include <filesystem>

#include <curl/curl.h>
#include <gmock/gmock.h>

#include "TextFile.h"
#include "Trace.h"
#include "TraceFile.h"

namespace {

using testing::Contains;
using testing::ElementsAre;

const std::string requests = "/srv/rehearsal/log/requests/";

void serviceReplies(const std::string &text) {
    writeText("/srv/rehearsal/service/reply.xml", text);
}

void serviceMisbehaves(const std::string &rules) {
    writeText("/srv/rehearsal/service/script", rules);
}

class TolvaneExchange : public testing::Test {
protected:
    TolvaneExchange() { openTrace(); }

    TolvaneHandler handler;
};

const std::string available = "<productresponse status=\"0\"><pkglist/></productresponse>";

TEST_F(TolvaneExchange, PostsTheFreshInstallRequestByteForByte) {
    serviceReplies(available);
    EXPECT_EQ(handler.sendTolvaneFreshInstallRequest(), available);
    EXPECT_EQ(readText(requests + "0001"),
              "POST /velbrin/1.0.0.0/?reqtype=mac_web HTTP/1.1\r\n"
              "Host: update.brovik.example\r\n"
              "Content-Type: text/xml; charset=utf-8\r\n"
              "Content-Length: 383\r\n"
              "Accept: text/xml\r\n"
              "\r\n"
              "<?xml  version=\"1.0\" encoding=\"utf-8\"?><productrequest><shared/><pkglist><package "
              "class=\"macdefault\"><metadata><affid>105</affid><langid>en-us</langid><macos><version>10.8.5"
              "</version></macos></metadata><products relname=\"basicmac3.3\" relver=\"\"><product "
              "appid=\"quaformac\"/></products><partner affid=\"105\" relname=\"basicmac3.3\" "
              "relver=\"\"></partner></package></pkglist></productrequest>");
    EXPECT_FALSE(std::filesystem::exists(requests + "0002"));
}

TEST_F(TolvaneExchange, PostsTheUpdateRequestByteForByte) {
    serviceReplies(available);
    EXPECT_EQ(handler.sendTolvaneUpdateRequest("1.0.0.5", "105-1", "7"), available);
    EXPECT_EQ(
        readText(requests + "0001"),
        "POST /velbrin/1.0.0.0/?reqtype=mac_update HTTP/1.1\r\n"
        "Host: update.brovik.example\r\n"
        "Content-Type: text/xml; charset=utf-8\r\n"
        "Content-Length: 389\r\n"
        "Accept: text/xml\r\n"
        "\r\n"
        "<?xml  version=\"1.0\" encoding=\"utf-8\"?><productrequest><shared/><pkglist><package "
        "class=\"macdefault\"><metadata><affid>105-1</affid><langid>en-us</langid><macos><version>10.8.5"
        "</version></macos></metadata><products relname=\"basicmac3.3\" relver=\"1\"><product "
        "appid=\"quaformac\"/></products><partner affid=\"105-1\" relname=\"basicmac3.3\" "
        "relver=\"1\"></partner></package></pkglist></productrequest>");
    EXPECT_FALSE(std::filesystem::exists(requests + "0002"));
}

TEST_F(TolvaneExchange, WritesNoCopyOfTheReply) {
    serviceReplies(available);
    handler.sendTolvaneFreshInstallRequest();
    handler.sendTolvaneUpdateRequest("1.0.0.5", "105-1", "7");
    EXPECT_FALSE(std::filesystem::exists(freshInstallTolvaneResponseCachePath));
    EXPECT_FALSE(std::filesystem::exists(updateTolvaneResponseCachePath));
}

TEST_F(TolvaneExchange, TracesTheHttpCode) {
    serviceReplies(available);
    EXPECT_EQ(handler.sendTolvaneRequest("<productrequest/>", updateRequestURL), 0);
    EXPECT_THAT(traceMessages(), ElementsAre("INFO :Tolvane Handler - sendTolvaneRequest\n",
                                             "Tolvane Handler : INFO Velbrim http code = 200\n"));
}

TEST_F(TolvaneExchange, LetsTheDocumentDecideAndNotTheHttpStatus) {
    const std::string reply = "<productresponse status=\"0\"/>";
    serviceMisbehaves("* * status 500 " + reply + "\n");
    EXPECT_EQ(handler.sendTolvaneUpdateRequest("1.0.0.5", "105-1", "7"), reply);
    EXPECT_TRUE(handler.isTolvaneSucceed());
    EXPECT_THAT(traceMessages(), Contains("Tolvane Handler : INFO Velbrim http code = 500\n"));
}

TEST_F(TolvaneExchange, DoesNotFollowRedirections) {
    serviceMisbehaves("* * redirect https://update.brovik.example/elsewhere\n");
    EXPECT_EQ(handler.sendTolvaneRequest("<productrequest/>", updateRequestURL), 0);
    EXPECT_FALSE(std::filesystem::exists(requests + "0002"));
    EXPECT_THAT(traceMessages(), Contains("Tolvane Handler : INFO Velbrim http code = 302\n"));
}

TEST_F(TolvaneExchange, GivesTheCodeOfAReplyThatIsCut) {
    serviceReplies(available);
    serviceMisbehaves("* * cut 20\n");
    EXPECT_NE(handler.sendTolvaneRequest("<productrequest/>", updateRequestURL), 0);
    EXPECT_THAT(traceMessages(), ElementsAre("INFO :Tolvane Handler - sendTolvaneRequest\n"));
}

TEST_F(TolvaneExchange, TakesACutReplyForASuccess) {
    serviceReplies(available);
    serviceMisbehaves("* * cut 20\n");
    EXPECT_EQ(handler.sendTolvaneFreshInstallRequest(), available.substr(0, 20));
    EXPECT_TRUE(handler.isTolvaneSucceed());
}

TEST_F(TolvaneExchange, TakesADroppedConnectionForAnEmptySuccess) {
    serviceMisbehaves("* * drop\n");
    EXPECT_EQ(handler.sendTolvaneFreshInstallRequest(), "");
    EXPECT_TRUE(handler.isTolvaneSucceed());
}

TEST_F(TolvaneExchange, RefusesACertificateOfAnotherHost) {
    serviceReplies(available);
    EXPECT_EQ(handler.sendTolvaneRequest("<productrequest/>", "https://127.0.0.2/"),
              CURLE_PEER_FAILED_VERIFICATION);
    EXPECT_FALSE(std::filesystem::exists(requests + "0001"));
}

TEST_F(TolvaneExchange, ReadsAReplyInChunks) {
    serviceReplies(available);
    serviceMisbehaves("* * chunked\n");
    EXPECT_EQ(handler.sendTolvaneFreshInstallRequest(), available);
}

TEST_F(TolvaneExchange, ReadsAReplyOf40Megabytes) {
    std::string reply = "<productresponse status=\"0\">";
    while (reply.size() < 40U << 20U)
        reply += "<pkglist><package>some text of some length</package></pkglist>\n";
    reply += "</productresponse>";
    serviceReplies(reply);
    EXPECT_TRUE(handler.sendTolvaneFreshInstallRequest() == reply);
}

// Takes its minute: the limit is compiled in.
TEST_F(TolvaneExchange, EndsATransferAfterAMinute) {
    serviceReplies(available);
    serviceMisbehaves("* * stall 20\n");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(handler.sendTolvaneRequest("<productrequest/>", updateRequestURL), 28);
    const auto duration = std::chrono::steady_clock::now() - start;
    EXPECT_GE(duration, std::chrono::seconds(60));
    EXPECT_LT(duration, std::chrono::seconds(75));
    EXPECT_THAT(traceMessages(), ElementsAre("INFO :Tolvane Handler - sendTolvaneRequest\n",
                                             "Tolvane Handler : Error : Velbrin Request Time out\n"));
}

} // namespace
