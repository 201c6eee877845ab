#include "Shell.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

// $update posts a productrequest for affiliate $1 and the application ids after it.
const std::string ask = R"sh(
    update=https://update.brovik.example/velbrin/1.0.0.0/?reqtype=mac_update
    post() { curl -s -w '%{http_code}\n' -H 'Content-Type: text/xml; charset=utf-8' -d "$1" "$update"; }
    request() {
        local products
        products=$(printf '<product appid="%s"/>' "${@:2}")
        post "<?xml version=\"1.0\"?><productrequest><pkglist><package><metadata><affid>$1</affid></metadata><products>$products</products></package></pkglist></productrequest>"
    }
    cat >/srv/rehearsal/service/releases.xml <<'XML'
<releases>
  <release affid="105" relname="basic &amp; more" relver="2" partnerrelver="7">
    <product appid="quaformac">
      <catalog root="https://download.brovik.example/a" name="first" version="1.1"/>
      <catalog root="https://download.brovik.example/b" name="second" version="1.2"/>
    </product>
    <product appid="qusformac"><catalog root="r" name="third" version="3"/></product>
    <partner appid="quaformac"><catalog root="r" name="partner" version="4"/></partner>
  </release>
  <release affid="106" status="-1" errorcode="5" errordetail="not &lt;known&gt;"/>
  <release affid="107" status="1"/>
</releases>
XML
)sh";

std::string noLineBreaks(std::string text) {
    std::string packed;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        const std::size_t first = std::min(text.find_first_not_of(' ', begin), end);
        packed.append(text, first, end - first);
        begin = end + 1;
    }
    return packed;
}

TEST(UpdateService, answersWhatTheDataCallsFor) {
    EXPECT_EQ(noLineBreaks(insideWithServers(ask + "request 105 quaformac unknown").output),
              "<?xml version=\"1.0\" encoding=\"utf-8\"?><productresponse "
              "status=\"0\"><error><errorcode>0</errorcode>"
              "<errordetail></errordetail></error><pkglist><package class=\"macdefault\">"
              "<products relname=\"basic &amp; more\" relver=\"2\"><product appid=\"quaformac\"><catlist>"
              "<catalog><caturlroot>https://download.brovik.example/a</caturlroot><name>first</name>"
              "<version>1.1</version></catalog>"
              "<catalog><caturlroot>https://download.brovik.example/b</caturlroot><name>second</name>"
              "<version>1.2</version></catalog></catlist></product></products>"
              "<partner affid=\"105\" relname=\"basic &amp; more\" relver=\"7\"><product "
              "appid=\"quaformac\"><catlist>"
              "<catalog><caturlroot>r</caturlroot><name>partner</name><version>4</version></catalog>"
              "</catlist></product></partner></package></pkglist></productresponse>200");
}

TEST(UpdateService, answersStatusAndErrorFromTheData) {
    const Outcome outcome = insideWithServers(
        ask + "for id in 106 107 999; do request $id quaformac; done | grep -e status -e code -e detail;"
              "request 105 unknown | grep status");
    EXPECT_EQ(
        noLineBreaks(outcome.output),
        "<productresponse status=\"-1\"><errorcode>5</errorcode><errordetail>not &lt;known&gt;</errordetail>"
        "<productresponse status=\"1\"><errorcode>0</errorcode><errordetail></errordetail>"
        "<productresponse status=\"1\"><errorcode>0</errorcode><errordetail></errordetail>"
        "<productresponse status=\"1\">");
}

TEST(UpdateService, refusesWhatIsNoProductRequest) {
    const Outcome outcome = insideWithServers(ask + R"sh(
        post '<productrequest>'
        post '<other/>'
        curl -s -w '%{http_code}\n' -d '<x/>' "$update"
        curl -s -w '%{http_code}\n' "$update"
        curl -s -w '%{http_code}\n' -H 'Content-Type: text/xml' -d '<x/>' https://update.brovik.example/velbrin/2
        curl -sk -w '%{http_code}\n' https://127.0.0.2/
        printf 'no HTTP at all\r\n\r\n' | openssl s_client -quiet -connect 127.0.0.2:443 2>/dev/null | sed -n 1p)sh");
    EXPECT_EQ(outcome.output,
              "the request is not well-formed XML\n400\nthe request is not a productrequest\n400\n"
              "a productrequest is text/xml, not application/x-www-form-urlencoded\n400\n"
              "a productrequest is posted, not asked for by GET\n400\nno service at /velbrin/2\n400\n"
              "no such host here: 127.0.0.2\n400\nHTTP/1.1 400 Bad Request\r\n");
}

TEST(UpdateService, servesAFixedReplyByteForByte) {
    const Outcome outcome = insideWithServers(ask + R"sh(
        head -c 3000000 /dev/urandom >/srv/rehearsal/service/reply.xml
        request 105 quaformac | head -c 3000000 | cmp - /srv/rehearsal/service/reply.xml && echo same)sh");
    EXPECT_EQ(outcome.output, "same\n");
}

TEST(UpdateService, recordsRequestsByteForByteInOrderOfArrival) {
    const Outcome outcome = insideWithServers(R"sh(
        cd /srv/rehearsal/log/requests
        printf 'POST /velbrin/1.0.0.0/?reqtype=mac_web HTTP/1.1\r\nx-Odd:  two  blanks\r\nHost: update.brovik.example\r\nContent-Type: text/xml\r\nContent-Length: 11\r\n\r\n<a>\t\n\r\n</a>' >/tmp/first
        printf 'HEAD /file HTTP/1.1\r\nHost: scripted.brovik.example\r\nConnection: close\r\n\r\n' >/tmp/second
        cat /tmp/first /tmp/second | openssl s_client -quiet -connect 127.0.0.2:443 >/dev/null 2>&1
        curl -sr 5- https://scripted.brovik.example/file >/dev/null
        cmp /tmp/first 0001 && cmp /tmp/second 0002 && ls -A && cat ../service-requests.log)sh");
    EXPECT_EQ(outcome.output,
              "0001\n0002\n0003\n"
              "0001 | update.brovik.example | POST | /velbrin/1.0.0.0/?reqtype=mac_web |  | 1 | ok | 400\n"
              "0002 | scripted.brovik.example | HEAD | /file |  | 1 | ok | 404\n"
              "0003 | scripted.brovik.example | GET | /file | bytes=5- | 1 | ok | 404\n");
}

const std::string file = R"sh(
    cd /tmp
    original=/srv/rehearsal/scripted/file
    yes 0123456789 | head -c 200000 >$original
    fetch() {
        rm -f got
        curl -s -o got -w '%{exitcode} %{http_code} %{size_download} ' "$@" https://scripted.brovik.example/file
        echo "$(cmp got $original 2>&1 | cut -d , -f 1)"
    }
    printf 'HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n0123' >/srv/rehearsal/service/raw/cut
    printf 'HTTP/1.1 200 OK\r\n' >/srv/rehearsal/service/raw/status
    printf 'Header: field\r\n' >/srv/rehearsal/service/raw/header
    head -c 5 $original >/srv/rehearsal/scripted/five
    script() { printf '%s\n' "$@" >/srv/rehearsal/service/script; }
)sh";

struct ActionCase {
    const char *name;
    const char *rule;
    const char *options;
    const char *expected; // curl's exit status, HTTP status, bytes received, comparison with the file
};

// CTest shows it beside the test's name.
void PrintTo(const ActionCase &shown, std::ostream *stream) {
    *stream << shown.name;
}

class ScriptAction : public testing::TestWithParam<ActionCase> {};

// Long enough for a busy machine to send what comes.
constexpr const char *stalling = "-m 2";

TEST_P(ScriptAction, doesWhatItSays) {
    const ActionCase &given = GetParam();
    const Outcome outcome =
        insideWithServers(file + "script '/file 1 " + given.rule + "'; fetch " + given.options);
    EXPECT_EQ(outcome.output, std::string(given.expected) + "\n");
}

INSTANTIATE_TEST_SUITE_P(
    Script, ScriptAction,
    testing::Values(
        ActionCase{"ok", "ok", "", "0 200 200000 "},
        ActionCase{"wrongFirstByte", "wrong", "",
                   "0 200 200000 got /srv/rehearsal/scripted/file differ: char 1"},
        ActionCase{"wrongLaterByte", "wrong 150000", "",
                   "0 200 200000 got /srv/rehearsal/scripted/file differ: char 150001"},
        ActionCase{"cut", "cut 100000", "", "18 200 100000 cmp: EOF on got after byte 100000"},
        ActionCase{"cutInARange", "cut 10", "-r 5-",
                   "18 206 10 got /srv/rehearsal/scripted/file differ: char 1"},
        ActionCase{"cutBeforeTheFirstByte", "cut 0", "", "18 200 0 cmp: got: No such file or directory"},
        ActionCase{"reset", "reset 100000", "", "56 200 100000 cmp: EOF on got after byte 100000"},
        ActionCase{"stall", "stall 1000", stalling, "28 200 1000 cmp: EOF on got after byte 1000"},
        ActionCase{"silent", "silent", stalling, "28 000 0 cmp: got: No such file or directory"},
        ActionCase{"drop", "drop", "", "52 000 0 cmp: got: No such file or directory"},
        ActionCase{"statusWithText", "status 503 go  away", "",
                   "0 503 8 got /srv/rehearsal/scripted/file differ: char 1"},
        ActionCase{"statusWithoutText", "status 404", "", "0 404 0 cmp: EOF on got which is empty"},
        ActionCase{"noLength", "no-length", "", "0 200 200000 "},
        ActionCase{"chunked", "chunked", "", "0 200 200000 "},
        ActionCase{"noRanges", "no-ranges", "-r 5-", "0 200 200000 "},
        ActionCase{"noRangesResume", "no-ranges", "-C 5", "33 200 0 cmp: EOF on got which is empty"},
        ActionCase{"as", "as /five", "-r 1-", "0 206 4 got /srv/rehearsal/scripted/file differ: char 1"},
        ActionCase{"moved", "moved 308 https://scripted.brovik.example/file", "-L", "0 200 200000 "},
        ActionCase{"raw", "raw cut", "", "18 200 4 cmp: EOF on got after byte 4"},
        ActionCase{"rawWithReset", "raw cut reset", "", "56 200 4 cmp: EOF on got after byte 4"},
        ActionCase{"rawAndStall", "raw cut stall", stalling, "28 200 4 cmp: EOF on got after byte 4"},
        ActionCase{"rawForEver", "raw status repeat header", "",
                   "56 200 0 cmp: got: No such file or directory"},
        ActionCase{"redirect", "redirect https://scripted.brovik.example/file", "-L", "0 200 200000 "}),
    [](const auto &one) { return one.param.name; });

TEST(Script, holdsForPlainHttpToo) {
    const Outcome outcome = insideWithServers(file + R"sh(
        fetch() {
            curl -s -o got -w '%{exitcode} %{http_code} %{size_download} ' "$@" http://scripted.brovik.example/file
            echo "$(cmp got $original 2>&1 | cut -d , -f 1)"
        }
        script '/file 1 ok' '/file 2 cut 100000' '/file 3 reset 100000' '/file 4 stall 1000' '/file 5 drop' \
            '/file 6 no-length' '/file 7 silent' '/file 8 no-ranges'
        fetch && fetch && fetch && fetch -m 2 && fetch && fetch && fetch -m 2 && fetch -r 5-
        cut -d ' ' -f 3,5,7,11- /srv/rehearsal/log/service-requests.log | tail -n 1)sh");
    EXPECT_EQ(outcome.output, "0 200 200000 \n"
                              "18 200 100000 cmp: EOF on got after byte 100000\n"
                              "56 200 100000 cmp: EOF on got after byte 100000\n"
                              "28 200 1000 cmp: EOF on got after byte 1000\n"
                              "52 000 0 cmp: EOF on got after byte 1000\n"
                              "0 200 200000 \n"
                              "28 000 0 \n"
                              "0 200 200000 \n"
                              "scripted.brovik.example GET /file 8 | no-ranges | 200\n");
}

TEST(Script, leavesOutWhatItSaysInTheHeaders) {
    const Outcome outcome = insideWithServers(file + R"sh(
        script '/file 1 no-length' '/file 2 chunked' '/file 3 no-ranges'
        for i in 1 2 3 4; do
            curl -s -D - -o /dev/null https://scripted.brovik.example/file | tr -d '\r' | grep -v Content-Type
        done)sh");
    EXPECT_EQ(outcome.output, "HTTP/1.1 200 OK\nAccept-Ranges: bytes\nConnection: close\n\n"
                              "HTTP/1.1 200 OK\nAccept-Ranges: bytes\nTransfer-Encoding: chunked\n\n"
                              "HTTP/1.1 200 OK\nContent-Length: 200000\n\n"
                              "HTTP/1.1 200 OK\nAccept-Ranges: bytes\nContent-Length: 200000\n\n");
}

TEST(Script, sendsNoFasterThanItSays) {
    const Outcome outcome = insideWithServers(file + R"sh(
        script '/file * slow 100000'
        took=$(curl -s -o got -w '%{time_total}' https://scripted.brovik.example/file)
        cmp got $original && ((${took%.*} >= 1)) && echo slow)sh");
    EXPECT_EQ(outcome.output, "slow\n");
}

TEST(Script, takesTheFirstRuleForThePathAndTheAttempt) {
    const Outcome outcome = insideWithServers(file + R"sh(
        script '# a remark' '' '/file 2 ok' 'HEAD:/file 2 status 502' '/file * status 501' 'HEAD:* * status 503' '* * status 504'
        url=https://scripted.brovik.example
        for i in 1 2 3; do
            curl -s -o /dev/null -w '%{http_code} ' "$url/file"
            curl -s -I -o /dev/null -w '%{http_code} ' "$url/file"
        done
        curl -s -o /dev/null -w '%{http_code} ' "$url/other"
        script '/file 5 status 505' # the count goes on when the script changes
        curl -s -o /dev/null -w '%{http_code} ' "$url/file" "$url/file")sh");
    EXPECT_EQ(outcome.output, "501 503 200 502 501 503 504 200 505 ");
}

TEST(Script, appliesToTheUpdateService) {
    const Outcome outcome = insideWithServers(ask + R"sh(
        echo '/velbrin/1.0.0.0/?reqtype=mac_update 1 status 500 <productresponse status="0"/>' >/srv/rehearsal/service/script
        request 105 quaformac)sh");
    EXPECT_EQ(outcome.output, "<productresponse status=\"0\"/>500\n");
}

TEST(Script, withAnErrorInItFailsEveryRequest) {
    const Outcome outcome = insideWithServers(file + R"sh(
        for rule in '/other 1 cat 5' '/other x ok' '/other 1 cut' '/other 1 cut x' '/other 1 ok 5' '/other 1 redirect' '/other' \
            '/other 1 raw' '/other 1 raw cut off' '/other 1 raw cut repeat' '/file * raw none'; do
            script "$rule"
            curl -s -w '%{http_code}\n' https://scripted.brovik.example/file
        done)sh");
    EXPECT_EQ(outcome.output,
              "not a rule: /other 1 cat 5\n500\nnot a rule: /other x ok\n500\n"
              "a number is missing: /other 1 cut\n500\na number is missing: /other 1 cut x\n500\n"
              "wrong arguments: /other 1 ok 5\n500\nwrong arguments: /other 1 redirect\n500\n"
              "not a rule: /other\n500\nwrong arguments: /other 1 raw\n500\n"
              "wrong arguments: /other 1 raw cut off\n500\nwrong arguments: /other 1 raw cut repeat\n500\n"
              "no file none\n500\n");
}

TEST(ScriptedHost, servesRanges) {
    const Outcome outcome = insideWithServers(R"sh(
        printf 0123456789 >/srv/rehearsal/scripted/file
        for range in 0- 3- 3-5 -4 9-20 10- 5-4; do
            curl -s -r "$range" -D /tmp/head -w ' %{http_code} ' https://scripted.brovik.example/file
            grep -i content-range /tmp/head
        done | tr -d '\r'
        curl -sI https://scripted.brovik.example/file | grep -c 'Content-Length: 10')sh");
    EXPECT_EQ(outcome.output,
              "0123456789 206 Content-Range: bytes 0-9/10\n3456789 206 Content-Range: bytes 3-9/10\n"
              "345 206 Content-Range: bytes 3-5/10\n6789 206 Content-Range: bytes 6-9/10\n"
              "9 206 Content-Range: bytes 9-9/10\nno such range\n 416 Content-Range: bytes */10\n"
              "no such range\n 416 Content-Range: bytes */10\n1\n");
}

TEST(ScriptedHost, servesManyAtOnceEvenWhileSomeStall) {
    const Outcome outcome = insideWithServers(file + R"sh(
        script '/file 1 stall 0' '/file 2 silent'
        curl -s https://scripted.brovik.example/file &
        curl -s https://scripted.brovik.example/file &
        until [[ -e /srv/rehearsal/log/requests/0002 ]]; do :; done
        for i in {1..20}; do
            curl -s -o /dev/null -w '%{http_code} %{size_download}\n' https://scripted.brovik.example/file &
        done | sort | uniq -c | tr -s ' ')sh");
    EXPECT_EQ(outcome.output, " 20 200 200000\n");
}

TEST(DownloadHost, servesFilesAndRecordsRequests) {
    const Outcome outcome = insideWithServers(R"sh(
        url=https://download.brovik.example
        printf 0123456789 >/srv/rehearsal/download/file
        curl -s $url/file; echo; curl -s -r 4- $url/file; echo; curl -sI $url/file | sed -n 1p | tr -d '\r'
        curl -s -o /dev/null -w '%{http_code} %{content_type}\n' $url/missing
        curl -s $url/log-is-written
        cat /srv/rehearsal/log/download.log)sh");
    EXPECT_EQ(outcome.output.substr(0, outcome.output.find("GET /missing")),
              "0123456789\n456789\nHTTP/1.1 200 OK\n404 text/html\n"
              "GET /file HTTP/1.1 | 200 | - | 10\nGET /file HTTP/1.1 | 206 | bytes=4- | 6\n"
              "HEAD /file HTTP/1.1 | 200 | - | 0\n");
    EXPECT_NE(outcome.output.find("GET /missing HTTP/1.1 | 404 | - | "), std::string::npos) << outcome;
}

TEST(Servers, areTrustedByTheSystemsStoreOnly) {
    const Outcome outcome = insideWithServers(R"sh(
        awk '/BEGIN/ { count++ } count == 1' /etc/ssl/certs/ca-certificates.crt >/tmp/other.pem
        for host in update download scripted; do
            for trust in '' '--cacert /tmp/other.pem --capath /tmp' '--cacert /tmp/other.pem --capath /etc/ssl/certs'; do
                curl -s -o /dev/null -w '%{exitcode} ' $trust "https://$host.brovik.example/"
            done
        done)sh");
    EXPECT_EQ(outcome.output, "0 60 0 0 60 0 0 60 0 ");
}

TEST(Servers, areTrustedAlone) {
    const std::string script = R"sh(
        curl -s -o /dev/null -w '%{exitcode}\n' https://update.brovik.example/
        grep -c BEGIN /etc/ssl/certs/ca-certificates.crt)sh";
    EXPECT_EQ(inside(script, "--own-authority --servers --service \"$service\"").output, "0\n1\n");
    EXPECT_NE(insideWithServers(script).output, "0\n1\n");
}

} // namespace
