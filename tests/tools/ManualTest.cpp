// The manual pages, as they are installed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Program.h"

namespace {

using testing::HasSubstr;

const std::string manuals = "/usr/local/Brovik/qrn/share/man/";

Ended format(const std::string &page) {
    return run({"groff", "-mandoc", "-Tascii", "-P-cbou", "-ww", manuals + page});
}

class ManualPage : public testing::TestWithParam<std::string> {};

TEST_P(ManualPage, IsInstalledAndFormattedWithoutAWarning) {
    const Ended ended = format(GetParam());
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.err, "");
    EXPECT_THAT(ended.out, HasSubstr("EXIT STATUS"));
}

INSTANTIATE_TEST_SUITE_P(Manual, ManualPage,
                         testing::Values("man1/freshinstall.1", "man1/releasebench.1",
                                         "man8/productUpdater.8"),
                         [](const auto &parameter) { return "Case" + std::to_string(parameter.index); });

// Words that the formatter takes for its own commands vanish without a warning.
TEST(Manual, QuotesTheLogsLinesWhole) {
    const std::string text = format("man8/productUpdater.8").out;
    for (const std::string line :
         {"ERROR Tolvane response", "No products found For Update", "No updates Found",
          "ERROR: Download Failed", "No Updates available", "ERROR: execl failed !"})
        EXPECT_THAT(text, HasSubstr("\"" + line + "\""));
}

} // namespace
