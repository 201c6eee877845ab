// The update service: its name, its certificate, and how long it takes to answer.
#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <string>

#include <curl/curl.h>

#include "CertificateCheck.h"
#include "CheckTheme.h"
#include "CurlEasy.h"
#include "ExternalLibraries.h"
#include "ProductRequest.h"
#include "TolvaneHandler.h"

namespace {

constexpr const char *nothingComes = "A run is told nothing: it ends with \"ERROR Tolvane response\".";

constexpr CheckRule nameUnknown = {"service-unknown", nothingComes,
                                   "Mend the name servers that this machine asks, or its hosts file.",
                                   CheckDocument::faults, "NetworkFault.ServiceUnknown"};
constexpr CheckRule unreachable = {
    "service-unreachable", nothingComes,
    "Let this machine reach the service at port 443: routes, packet filters, proxies.", CheckDocument::faults,
    "NetworkFault.PortClosedAtTheService"};
constexpr CheckRule proxyUnknown = {
    "proxy-unknown", nothingComes,
    "Start the engine without the proxy variables, or with those of a proxy that is there.",
    CheckDocument::faults, "StartersEnvironment.ProxyDecidesThroughWhomIsAsked"};
constexpr CheckRule certificateRefused = {
    "service-certificate", nothingComes,
    "Set this machine's clock, and bring its store of authorities up to date; else "
    "tell the maker.",
    CheckDocument::faults, "TlsFault.ExpiredCertificate"};
constexpr CheckRule handshakeFails = {
    "service-tls", nothingComes,
    "Look for what stands between this machine and the service: it speaks no TLS "
    "that this machine's libraries do.",
    CheckDocument::faults, "TlsFault.NoCommonProtocol"};
constexpr CheckRule silent = {
    "service-silent", "A run is told nothing: it ends with \"Velbrin Request Time out\" after a minute.",
    "Let this machine's packets reach the service, and the service's this machine.", CheckDocument::faults,
    "NetworkFault.SwallowedAtTheServiceLong"};
constexpr CheckRule slow = {"service-slow", "A run waits for it; beyond a minute it is told nothing.",
                            "Find out what is slow: name servers, the line, or the service.",
                            CheckDocument::faults, "ReplyFault.Slow"};
constexpr CheckRule certificateEnds = {"service-certificate-ends",
                                       "When it has ended, every run is told nothing.",
                                       "Tell the maker that the service's certificate is to be renewed.",
                                       CheckDocument::faults, "TlsFault.ExpiredCertificate"};

constexpr double slowAnswerSeconds = requestTimeoutSeconds / 6.0;

struct Meeting {
    int result = CURLE_FAILED_INIT;
    double seconds = 0;
};

// With the request of a fresh installation, which the engine makes without changing anything.
Meeting meetService() {
    const CurlEasy curl = makeCurlEasy();
    if (!curl)
        throw std::runtime_error("libcurl gives no handle");
    Meeting meeting;
    std::string reply; // does not matter here
    const std::string body = TolvaneHandler().getTolvaneRequestBody();
    meeting.result = postProductRequest(curl, body, freshInstallRequestURL, requestTimeoutSeconds, reply);
    // Stays 0 when libcurl does not tell it.
    static_cast<void>(curl_easy_getinfo(curl.get(), CURLINFO_TOTAL_TIME, &meeting.seconds));
    return meeting;
}

// "https://host"
std::string serverOf(const std::string &url) {
    return url.substr(0, url.find('/', url.find("//") + 2));
}

const CheckRule &ruleOf(int result) {
    switch (result) {
    case CURLE_COULDNT_RESOLVE_HOST:
        return nameUnknown;
    case CURLE_COULDNT_RESOLVE_PROXY:
        return proxyUnknown;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE: // the store itself cannot be read
        return certificateRefused;
    case CURLE_SSL_CONNECT_ERROR:
        return handshakeFails;
    case CURLE_OPERATION_TIMEDOUT:
        return silent;
    default:
        return unreachable;
    }
}

void lookAtCertificatesEnd(const std::string &server, const TellCheck &tell) {
    const std::chrono::seconds time(requestTimeoutSeconds);
    const ServerCheck check = checkCertificate(server, {time, std::chrono::steady_clock::now() + time});
    const auto end =
        std::find_if(check.findings.begin(), check.findings.end(),
                     [](const ServerFinding &finding) { return finding.id == "certificate-ends"; });
    if (end != check.findings.end())
        tell(certificateEnds, "the certificate of " + server + " is " + end->text);
}

void look(const TellCheck &tell) {
    initialiseExternalLibraries();
    const std::string server = serverOf(freshInstallRequestURL);
    const Meeting meeting = meetService();
    if (meeting.result != CURLE_OK) {
        tell(ruleOf(meeting.result),
             server + ": " + curl_easy_strerror(static_cast<CURLcode>(meeting.result)));
        return;
    }
    if (meeting.seconds > slowAnswerSeconds)
        tell(slow,
             server + " answered after " + std::to_string(static_cast<int>(meeting.seconds)) + " seconds");
    lookAtCertificatesEnd(server, tell);
}

} // namespace

CheckTheme checkedNetwork() {
    return {{&nameUnknown, &unreachable, &proxyUnknown, &certificateRefused, &handshakeFails, &silent, &slow,
             &certificateEnds},
            look};
}
