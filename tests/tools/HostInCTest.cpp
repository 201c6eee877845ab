// The exported functions as a program in C uses them, in a whole installation.
#include <gtest/gtest.h>

#include "Products.h"
#include "Program.h"
#include "Release.h"

namespace {

const Product core = {"core.pkg", someBytes(307200)};
const std::string coreUrl = scriptedHost + "/core.pkg";

// The engine prints remarks of its own before.
std::string said(const Ended &ended) {
    return ended.out.substr(std::min(ended.out.find("nonsense: "), ended.out.size()));
}

TEST(HostInC, RunsAndWatchesAWholeInstallation) {
    publishRelease({core});
    misbehave("/core.pkg * slow 600000\n");
    const Ended ended = run({HOST_IN_C, coreUrl});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(said(ended), "nonsense: 0\nresult: 0\n"
                           "after: 100 % of 300 KB, failed 0, completed 1, resumable 1\n"
                           "hash: " +
                               sha1(core.content) + "\npackages: " + pathOf(core) + "!:\n");
}

TEST(HostInC, GetsAFailedDownloadByARetry) {
    publishRelease({core});
    misbehave("/core.pkg 1 reset 153600\n");
    const Ended ended = run({HOST_IN_C, coreUrl, "retry"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(said(ended), "nonsense: 0\nresult: 0\n"
                           "after: 50 % of 300 KB, failed 1, completed 0, resumable 1\n"
                           "after retry: 100 % of 300 KB, failed 0, completed 1, resumable 1\n"
                           "hash: " +
                               sha1(core.content) + "\npackages: " + pathOf(core) + "!:\n");
}

TEST(HostInC, SeesAFailureBeforeTheDownloads) {
    publishRelease({core});
    misbehave("/velbrin/1.0.0.0/?reqtype=mac_web * drop\n");
    const Ended ended = run({HOST_IN_C, coreUrl});
    EXPECT_EQ(said(ended), "nonsense: 0\nresult: -1\n"
                           "after: 0 % of 0 KB, failed 1, completed 0, resumable 1\n"
                           "hash: \npackages: \n");
}

} // namespace
