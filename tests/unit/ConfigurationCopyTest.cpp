#include "ConfigurationCopy.h"

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "Paths.h"
#include "TextFile.h"

namespace {

const std::string before = "<ProductConfiguration><ProductVersion>1</ProductVersion></ProductConfiguration>";
const std::string prepared =
    "<ProductConfiguration><ProductVersion>2</ProductVersion></ProductConfiguration>";

struct Copied {
    const char *name;
    std::string now;   // in the end
    std::string after; // the mending
};

class ConfigurationCopyOf : public testing::TestWithParam<Copied> {};

TEST_P(ConfigurationCopyOf, IsWholeOrAsItWas) {
    std::filesystem::create_directories(keyCoreDownloadCache);
    writeText(prodConfigXml, before);
    writeText(updatedProdConfigXml, prepared);
    const ConfigurationCopy copy;
    std::filesystem::remove_all(keyCoreDownloadCache);
    writeText(prodConfigXml, GetParam().now);
    copy.mend();
    EXPECT_EQ(readText(prodConfigXml), GetParam().after);
}

INSTANTIATE_TEST_SUITE_P(
    Configuration, ConfigurationCopyOf,
    testing::Values(Copied{"NothingOfIt", "", prepared},
                    Copied{"APartOfIt", prepared.substr(0, 40), prepared},
                    Copied{"AllButItsLastByte", prepared.substr(0, prepared.size() - 1), prepared},
                    Copied{"AllOfIt", prepared, prepared}, Copied{"None", before, before},
                    Copied{"AnotherOne", "<Other/>", "<Other/>"}),
    [](const auto &parameter) { return std::string(parameter.param.name); });

TEST(ConfigurationCopy, WithoutAPreparedOneChangesNothing) {
    std::filesystem::create_directories(keyCoreDownloadCache);
    writeText(prodConfigXml, before);
    const ConfigurationCopy copy;
    writeText(prodConfigXml, "");
    copy.mend();
    EXPECT_EQ(readText(prodConfigXml), "");
}

TEST(ConfigurationCopy, OfOneThatIsGoneChangesNothing) {
    std::filesystem::create_directories(keyCoreDownloadCache);
    writeText(prodConfigXml, before);
    writeText(updatedProdConfigXml, prepared);
    const ConfigurationCopy copy;
    std::filesystem::remove(prodConfigXml);
    copy.mend();
    EXPECT_FALSE(std::filesystem::exists(prodConfigXml));
}

} // namespace
