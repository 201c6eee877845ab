// Servers whose certificates or handshakes are not to be trusted: the service's, the catalogs' and the
// packages', one after the other.

#include <filesystem>

#include <gtest/gtest.h>

#include "ExpectedTrace.h"
#include "Fault.h"
#include "Observed.h"
#include "Paths.h"
#include "Program.h"
#include "TextFile.h"

namespace {

const std::string service = "update.brovik.example";
constexpr const char *catalogs = "catalogs.brovik.example";
constexpr const char *packages = "packages.brovik.example";

constexpr Job update = {"Update", Task::update, "https", catalogs, packages};
constexpr Job freshInstall = {"FreshInstall", Task::freshInstall, "https", catalogs, packages};

enum class Kind { certificate, handshake };

struct TlsFault {
    const char *name;
    Kind kind;
    std::string what;        // see rehearsal/README.md
    std::string transferred; // traced of a file's transfer
    std::string asked = "";  // traced of the request to the service
};

void make(const TlsFault &fault, const std::string &host) {
    if (fault.kind == Kind::certificate)
        static_cast<void>(shell(std::string(REHEARSAL) + "/bad-certificate " + host + " " + fault.what));
    else
        writeText("/srv/rehearsal/service/handshakes", host + " " + fault.what + "\n");
}

void mend(const std::string &host) {
    std::filesystem::remove("/srv/rehearsal/service/handshakes");
    std::filesystem::remove("/srv/rehearsal/tls/hosts/" + host + ".pem");
}

// What each host's failure leaves in the trace, and on the disk.
void expectNoService(const Job &job, const TlsFault &fault) {
    EXPECT_EQ(tracedSinceFirst(">INFO :Tolvane Handler - sendTolvaneRequest\n"),
              fault.asked + tracedNoReply(job));
    EXPECT_FALSE(std::filesystem::exists(keyCoreDownloadCache));
}

void expectNoCatalog(const Job &job, const TlsFault &fault) {
    EXPECT_EQ(tracedSinceFirst(tracedDownloads),
              Lines::thread + filledIn(ofCatalog(Lines::started + fault.transferred), job) + tracedDownloads +
                  tracedWithoutCatalog(job));
    EXPECT_EQ(readText(filledIn("{catalogFile}", job)), "");
    EXPECT_FALSE(std::filesystem::exists(packageDirectory()));
}

void expectNoPackage(const Job &job, const TlsFault &fault) {
    if (job.task == Task::update) {
        EXPECT_EQ(tracedSinceLast(">INFO: Creating Download thread\n"),
                  Lines::thread + filledIn(Lines::started + fault.transferred, job) +
                      tracedOutcome(job, false));
        EXPECT_TRUE(sameFiles({{"1.0.1.0/One.pkg", ""}}, filesBelow(packageDirectory())));
        return;
    }
    EXPECT_EQ(tracedSinceLast(">INFO: Getting downloaded package URLS\n"),
              filledIn(">ERROR: {url} Package Missing\n>ERROR: Package Missing\n", job));
    EXPECT_FALSE(std::filesystem::exists(packageDirectory()));
}

void expectTlsFault(const Job &job, const TlsFault &fault) {
    offerPackages(job, onePackage);
    const InstalledFiles installed;
    const std::map<std::string, void (*)(const Job &, const TlsFault &)> seenAt = {
        {service, expectNoService}, {catalogs, expectNoCatalog}, {packages, expectNoPackage}};
    for (const std::string &host : {service, std::string(catalogs), std::string(packages)}) {
        SCOPED_TRACE(host);
        make(fault, host);
        const Ended ended = runJob(job);
        EXPECT_EQ(ended.status, job.task == Task::update ? 0 : 1);
        seenAt.at(host)(job, fault);
        EXPECT_TRUE(isRefused(job, ended));
        EXPECT_TRUE(installed.areUnchanged());
        mend(host);
        std::filesystem::remove(traceLogPath); // the next one's is told alone
    }
    expectCompleteOnceItIsGone(job);
}

std::vector<TlsFault> table() {
    const std::string untrusted = Lines::failedWith(0, 60);
    const std::string noConnection = Lines::failedWith(0, 35);
    return {
        {"ExpiredCertificate", Kind::certificate, "expired", untrusted},
        {"CertificateNotYetValid", Kind::certificate, "not-yet-valid", untrusted},
        {"SelfSignedCertificate", Kind::certificate, "self-signed", untrusted},
        {"CertificateOfAnotherName", Kind::certificate, "wrong-name", untrusted},
        {"CertificateOfAnUntrustedAuthority", Kind::certificate, "untrusted", untrusted},
        {"NoCommonProtocol", Kind::handshake, "tls1.0", noConnection},
        {"PlainTextInsteadOfTls", Kind::handshake, "plain", noConnection},
        {"ClosedInTheHandshake", Kind::handshake, "drop", noConnection},
        {"ResetInTheHandshake", Kind::handshake, "reset", noConnection},
        {"StalledInTheHandshakeLong", Kind::handshake, "silent", Lines::timedOut,
         ">Tolvane Handler : Error : Velbrin Request Time out\n"},
    };
}

const bool registered = [] {
    for (const TlsFault &fault : table())
        registerFault("TlsFault", fault.name, {update, freshInstall},
                      [fault](const Job &job) { expectTlsFault(job, fault); });
    return true;
}();

} // namespace
