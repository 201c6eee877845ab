// Networks that refuse, lose, delay and cut connections. What waits for the engine's own limits of time is
// left to the long run.

#include <filesystem>
#include <memory>

#include <gtest/gtest.h>

#include "Background.h"
#include "JobTrace.h"
#include "Network.h"
#include "Paths.h"
#include "Recovery.h"
#include "Release.h"
#include "TextFile.h"

namespace {

class NetworkFault : public testing::TestWithParam<Job> {
protected:
    // The fault, or none, and the test counts as skipped.
    template <class Fault, class... Words>
    std::unique_ptr<Fault> have(const Words &...words) {
        try {
            return std::make_unique<Fault>(words...);
        } catch (const Unavailable &reason) {
            [&reason] { GTEST_SKIP() << reason.what(); }();
            return nullptr;
        }
    }

    bool isUpdate() const { return job.task == Task::update; }

    std::string tracedUnreachable() const {
        return tracedUntilPackage(job) + ">ERROR: " + url + " Package Missing\n>ERROR: Package Missing\n";
    }
    // The service took too long.
    std::string tracedServiceTimeout() const {
        return tracedAsking(job) + ">Tolvane Handler : Error : Velbrin Request Time out\n" +
               tracedNoReply(job);
    }

    // A fresh installation has asked for it before.
    std::string connectionsFromThePackage() const {
        return PacketFilter::connectionsFrom(isUpdate() ? 2 : 3);
    }

    // On the disk.
    static void expectNothingLeft() { EXPECT_TRUE(sameFiles({}, filesBelow(keyCoreDownloadCache))); }
    void expectEmptyCatalogLeft() const {
        EXPECT_TRUE(std::filesystem::is_empty(catalogPathOf(job)));
        EXPECT_TRUE(sameFiles({}, filesBelow(packageDirectory())));
    }
    void expectEmptyPackageLeft() const {
        EXPECT_TRUE(sameFiles({{"1.0.1.0/One.pkg", ""}}, filesBelow(packageDirectory())));
    }
    void expectPartOfThePackageLeft() const {
        const std::string part = readText(pathIn(job, "One.pkg"));
        const std::string &whole = plainPackage.at("One.pkg");
        EXPECT_GT(part.size(), 0U);
        EXPECT_LT(part.size(), whole.size());
        EXPECT_TRUE(whole.compare(0, part.size(), part) == 0);
    }

    const Job &job = GetParam();
    const std::string url = urlOf(job, "One.pkg");
    const Recovery recovery{job};
};

// The catalogs and the package come by plain HTTP as well.
class TransferFault : public NetworkFault {};

// A fresh installation asks for every package before it fetches any.
class ReachabilityFault : public NetworkFault {};

// --- nobody there

TEST_P(NetworkFault, PortClosedAtTheService) {
    auto filter = have<PacketFilter>(PacketFilter::connectionsFrom(0) + "reject with tcp reset");
    if (!filter)
        return;
    recovery.expectRefused(tracedAsking(job) + tracedNoReply(job), 1);
    expectNothingLeft();
    filter.reset();
    recovery.expectCompleteNow();
}

TEST_P(NetworkFault, PortClosedAtTheCatalogs) {
    auto filter = have<PacketFilter>(PacketFilter::connectionsFrom(1) + "reject with tcp reset");
    if (!filter)
        return;
    recovery.expectRefused(tracedEmptyCatalog(job, tracedFailure(catalogUrlOf(job), 0, 7)), 1);
    expectEmptyCatalogLeft();
    filter.reset();
    recovery.expectCompleteNow();
}

TEST_P(NetworkFault, PortClosedAtThePackages) {
    auto filter = have<PacketFilter>(connectionsFromThePackage() + "reject with tcp reset");
    if (!filter)
        return;
    recovery.expectRefused(tracedNoPackage(job, tracedFailure(url, 0, 7)), 2);
    expectEmptyPackageLeft();
    filter.reset();
    recovery.expectCompleteNow();
}

TEST_P(ReachabilityFault, PortClosed) {
    auto filter = have<PacketFilter>(PacketFilter::connectionsFrom(2) + "reject with tcp reset");
    if (!filter)
        return;
    recovery.expectRefused(tracedUnreachable(), 1);
    EXPECT_TRUE(sameFiles({}, filesBelow(packageDirectory())));
    filter.reset();
    recovery.expectCompleteNow();
}

TEST_P(NetworkFault, ServiceUnknown) {
    auto names = std::make_unique<HostNames>();
    auto resolver = have<Resolver>(Resolver::Kind::none);
    if (!resolver)
        return;
    HostNames::forget("update.brovik.example");
    recovery.expectRefused(tracedAsking(job) + tracedNoReply(job), 1);
    expectNothingLeft();
    names.reset();
    recovery.expectCompleteNow();
}

TEST_P(NetworkFault, CatalogsHostUnknown) {
    auto names = std::make_unique<HostNames>();
    auto resolver = have<Resolver>(Resolver::Kind::none);
    if (!resolver)
        return;
    HostNames::forget("scripted.brovik.example");
    recovery.expectRefused(tracedEmptyCatalog(job, tracedFailure(catalogUrlOf(job), 0, 6)), 1);
    expectEmptyCatalogLeft();
    names.reset();
    recovery.expectCompleteNow();
}

TEST_P(NetworkFault, NameServerSilent) {
    auto names = std::make_unique<HostNames>();
    auto resolver = have<Resolver>(Resolver::Kind::silent);
    if (!resolver)
        return;
    HostNames::forget("update.brovik.example");
    HostNames::forget("scripted.brovik.example");
    recovery.expectRefused(tracedAsking(job) + tracedNoReply(job), 1);
    expectNothingLeft();
    names.reset();
    recovery.expectCompleteNow();
}

TEST_P(NetworkFault, LinkDownAtTheStart) {
    auto servers = have<FarServers>();
    if (!servers)
        return;
    FarServers::setLink(false);
    recovery.expectRefused(tracedAsking(job) + tracedNoReply(job), 1);
    expectNothingLeft();
    FarServers::setLink(true);
    recovery.expectCompleteNow();
}

// --- connections that end

TEST_P(NetworkFault, ResetInTheHandshakeWithTheService) {
    auto filter = have<PacketFilter>("tcp dport 443 ct reply bytes > 500 counter reject with tcp reset");
    if (!filter)
        return;
    recovery.expectRefused(tracedAsking(job) + tracedNoReply(job), 1);
    expectNothingLeft();
    EXPECT_TRUE(filter->wasMet());
    filter.reset();
    recovery.expectCompleteNow();
}

TEST_P(TransferFault, ResetInMidPackage) {
    auto filter =
        have<PacketFilter>("tcp dport { 80, 443 } ct reply bytes > 100000 counter reject with tcp reset");
    if (!filter)
        return;
    recovery.expectRefused(tracedNoPackage(job, tracedFailure(url, 200, 56)), 2);
    expectPartOfThePackageLeft();
    EXPECT_TRUE(filter->wasMet());
    filter.reset();
    recovery.expectCompleteNow();
}

// --- connections that last

TEST_P(NetworkFault, LinkDownForAMoment) {
    auto servers = have<FarServers>();
    if (!servers)
        return;
    misbehave("/One.pkg 1 slow 150000\n");
    Background background;
    background.run([this] {
        EXPECT_TRUE(comesTrue([this] { return !readText(pathIn(job, "One.pkg")).empty(); }));
        const long before = FarServers::segmentsSentAgain();
        FarServers::setLink(false);
        EXPECT_TRUE(comesTrue([before] { return FarServers::segmentsSentAgain() > before; }));
        FarServers::setLink(true);
    });
    recovery.expectComplete(tracedComplete(job));
}

TEST_P(TransferFault, EveryTwentiethPacketLost) {
    auto filter = have<PacketFilter>("tcp sport { 80, 443 } numgen inc mod 20 3 counter drop");
    if (!filter)
        return;
    auto link = have<NarrowLink>("20mbit", "200kb"); // for packets of a usual size
    recovery.expectComplete(tracedComplete(job));
    if (!link)
        return;
    EXPECT_TRUE(filter->wasMet());
}

TEST_P(NetworkFault, NarrowLinkWithAShortQueue) {
    auto link = have<NarrowLink>("3mbit", "6kb");
    if (!link)
        return;
    recovery.expectComplete(tracedComplete(job));
}

// --- the engine's own limits of time: 60 seconds for the service, 45 for a connection, 30 below 10,000 bytes
// a second

TEST_P(NetworkFault, SwallowedAtTheServiceLong) {
    auto filter = have<PacketFilter>(PacketFilter::connectionsFrom(0) + "drop");
    if (!filter)
        return;
    recovery.expectRefused(tracedServiceTimeout(), 1);
    expectNothingLeft();
    filter.reset();
    recovery.expectCompleteNow();
}

TEST_P(NetworkFault, SwallowedAtTheCatalogsLong) {
    auto filter = have<PacketFilter>(PacketFilter::connectionsFrom(1) + "drop");
    if (!filter)
        return;
    recovery.expectRefused(tracedEmptyCatalog(job, tracedTimeout(catalogUrlOf(job))), 1);
    expectEmptyCatalogLeft();
    filter.reset();
    recovery.expectCompleteNow();
}

TEST_P(NetworkFault, SwallowedAtThePackagesLong) {
    auto filter = have<PacketFilter>(connectionsFromThePackage() + "drop");
    if (!filter)
        return;
    recovery.expectRefused(tracedNoPackage(job, tracedTimeout(url)), 2);
    expectEmptyPackageLeft();
    filter.reset();
    recovery.expectCompleteNow();
}

// Has no limit but the system's and libcurl's: two minutes or five.
TEST_P(ReachabilityFault, SwallowedLong) {
    auto filter = have<PacketFilter>(PacketFilter::connectionsFrom(2) + "drop");
    if (!filter)
        return;
    recovery.expectRefused(tracedUnreachable(), 1);
    EXPECT_TRUE(sameFiles({}, filesBelow(packageDirectory())));
    filter.reset();
    recovery.expectCompleteNow();
}

// What a router does whose link takes smaller packets only and that does not say so: all that is small comes,
// as the certificates of a handshake are.
TEST_P(NetworkFault, LargePacketsSwallowedLong) {
    auto filter = have<PacketFilter>("tcp sport 443 meta length > 4000 counter drop");
    if (!filter)
        return;
    recovery.expectRefused(tracedNoPackage(job, tracedTimeout(url)), 2);
    expectEmptyPackageLeft();
    EXPECT_TRUE(filter->wasMet());
    filter.reset();
    recovery.expectCompleteNow();
}

TEST_P(NetworkFault, LinkDownForGoodLong) {
    auto servers = have<FarServers>();
    if (!servers)
        return;
    misbehave("/One.pkg 1 slow 100000\n");
    Background background;
    background.run([this] {
        EXPECT_TRUE(comesTrue([this] { return !readText(pathIn(job, "One.pkg")).empty(); }));
        FarServers::setLink(false);
    });
    recovery.expectRefused(tracedNoPackage(job, tracedTimeout(url)), 2);
    expectPartOfThePackageLeft();
    background.join();
    FarServers::setLink(true);
    recovery.expectCompleteNow();
}

TEST_P(NetworkFault, RateTooLowLong) {
    auto link = have<NarrowLink>("40kbit", "60kb");
    if (!link)
        return;
    recovery.expectRefused(tracedNoPackage(job, tracedTimeout(url)), 2);
    expectPartOfThePackageLeft();
    link.reset();
    recovery.expectCompleteNow();
}

INSTANTIATE_TEST_SUITE_P(Job, NetworkFault, testing::Values(updateByHttps, freshInstallByHttps), caseName);
INSTANTIATE_TEST_SUITE_P(Job, TransferFault,
                         testing::Values(updateByHttps, freshInstallByHttps, updateByHttp,
                                         freshInstallByHttp),
                         caseName);
INSTANTIATE_TEST_SUITE_P(Job, ReachabilityFault, testing::Values(freshInstallByHttps), caseName);

} // namespace
