// The manual pages, as they are installed.
#include <regex>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "MessageCatalogue.h"
#include "Program.h"

namespace {

using testing::HasSubstr;

// As a page names what varies, without the line ends around it.
std::string withoutKinds(const std::string &text) {
    const std::string named = std::regex_replace(text, std::regex(R"(\{(\w+):\w+\})"), "{$1}");
    const std::size_t begin = named.find_first_not_of('\n');
    return named.substr(begin, named.find_last_not_of(" \n") + 1 - begin);
}

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
                         testing::Values("man1/freshinstall.1", "man1/releasebench.1", "man1/updatelog.1",
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

// However long: nothing is to be broken over two lines here.
TEST(Manual, QuotesEveryMessageWhole) {
    const Ended ended = run({"groff", "-mandoc", "-Tascii", "-P-cbou", "-ww", "-rLL=4000n",
                             manuals + "man7/downloadManager-messages.7"});
    EXPECT_EQ(ended.err, "");
    for (const Message &message : MessageCatalogue::builtIn().messages())
        EXPECT_THAT(ended.out, HasSubstr(withoutKinds(message.text) + "\n")) << message.id;
}

} // namespace
