// The tests' own faults of the network: one that is broken is not taken for one that cannot be had here.
#include "Network.h"

#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "Program.h"
#include "TextFile.h"

namespace {

enum class Had { yes, notHere, broken };

Had attempt(const std::function<void()> &have) {
    try {
        have();
        return Had::yes;
    } catch (const Unavailable &) {
        return Had::notHere;
    } catch (const std::runtime_error &) {
        return Had::broken;
    }
}

void expectBroken(const std::function<void()> &whole, const std::function<void()> &broken) {
    const Had had = attempt(whole);
    if (had == Had::notHere)
        GTEST_SKIP() << "this system has none";
    EXPECT_EQ(had, Had::yes);
    EXPECT_EQ(attempt(broken), Had::broken);
}

TEST(BrokenNetwork, IsAFilterWithARuleThatNobodyUnderstands) {
    expectBroken([] { const PacketFilter filter(PacketFilter::connectionsFrom(0) + "drop"); },
                 [] { const PacketFilter filter("tcp prt 443 drop"); });
}

TEST(BrokenNetwork, IsALinkOfARateThatNobodyUnderstands) {
    expectBroken([] { const NarrowLink link("3mbit", "6kb"); }, [] { const NarrowLink link("fast", "6kb"); });
}

TEST(BrokenNetwork, IsAMachineWhoseServiceDoesNotStart) {
    expectBroken([] { const FarServers servers; },
                 [] {
                     const Program stranger({"sleep", "60"}); // which knows none of a service's options
                     writeText("/srv/rehearsal/run/reference-service.pid", std::to_string(stranger.id()));
                     const FarServers servers;
                 });
}

} // namespace
