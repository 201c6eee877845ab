#include "Shell.h"

#include <gtest/gtest.h>

namespace {

// Of each host: the file, and curl's exit status and what it says. Only a host that keeps silent uses up the
// time.
const std::string ask = R"sh(
    cd /tmp
    echo here >/srv/rehearsal/scripted/file
    ask() {
        for host in catalogs packages; do
            curl -s --max-time ${limit:-60} -w ' %{exitcode} %{errormsg}\n' "https://$host.brovik.example/file"
        done
    }
    handshakes() { printf '%s\n' "$@" >/srv/rehearsal/service/handshakes; }
)sh";

TEST(BadCertificate, isShownToTheClientsOfOneHostUntilItIsRemoved) {
    const Outcome outcome = insideWithServers(ask + R"sh(
        for kind in expired not-yet-valid self-signed wrong-name untrusted --remove; do
            "$rehearsal/bad-certificate" packages.brovik.example $kind
            ask
        done
        "$rehearsal/bad-certificate" packages.brovik.example other; echo $?)sh");
    EXPECT_EQ(outcome.output,
              "here\n 0 \n 60 SSL certificate problem: certificate has expired\n"
              "here\n 0 \n 60 SSL certificate problem: certificate is not yet valid\n"
              "here\n 0 \n 60 SSL certificate problem: self-signed certificate\n"
              "here\n 0 \n 60 SSL: no alternative certificate subject name matches target host name "
              "'packages.brovik.example'\n"
              "here\n 0 \n 60 SSL certificate problem: unable to get local issuer certificate\n"
              "here\n 0 \nhere\n 0 \n"
              "bad-certificate: no such kind: other\n64\n");
}

TEST(Handshakes, failForOneHostAsTheirFileSays) {
    const Outcome outcome = insideWithServers(ask + R"sh(
        for how in tls1.0 plain drop reset; do
            handshakes "packages.brovik.example $how"
            ask | cut -d ' ' -f 1-2
        done
        handshakes 'packages.brovik.example silent'
        limit=5 ask | cut -d ' ' -f 1-2
        handshakes 'packages.brovik.example other'
        ask | cut -d ' ' -f 1-2
        rm /srv/rehearsal/service/handshakes
        ask)sh");
    EXPECT_EQ(outcome.output, "here\n 0\n 35\nhere\n 0\n 35\nhere\n 0\n 35\nhere\n 0\n 35\nhere\n 0\n 28\n"
                              " 35\n 35\nhere\n 0 \nhere\n 0 \n");
}

} // namespace
