#include <gtest/gtest.h>

#include "Products.h"
#include "Program.h"
#include "Release.h"

namespace {

TEST(ReturningHost, LosesNothingUnderTheRunningInstallation) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "libxml2 cleans up at the exit without asking for threads, which counts as a race";
#endif
    std::vector<Product> products;
    for (const char *name : {"one.pkg", "two.pkg", "three.pkg", "four.pkg"})
        products.push_back({name, someBytes(300000)});
    publishRelease(products);
    misbehave("/one.pkg * slow 600000\n/two.pkg * slow 400000\n/three.pkg * cut 1000\n");
    // From before the request to the middle of the downloads.
    for (int milliseconds = 0; milliseconds < 600; milliseconds += 15)
        EXPECT_EQ(run({RETURNING_HOST, std::to_string(milliseconds)}).status, 0) << milliseconds;
}

} // namespace
