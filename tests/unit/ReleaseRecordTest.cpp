#include "ReleaseRecord.h"

#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "FailingAllocation.h"
#include "FailingFileCall.h"
#include "FailingXmlAllocation.h"
#include "FullDisk.h"
#include "LibXmlWrapper.h"
#include "Paths.h"
#include "PropertyList.h"
#include "TextFile.h"
#include "Trace.h"
#include "TraceFile.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

const std::string preparedFolder = "/usr/local/Brovik/TempDownload";
const std::string &installedPath = prodConfigXml;
const std::string &preparedPath = updatedProdConfigXml;

const std::string installed = "<?xml version=\"1.0\"?>\n"
                              "<ProductConfiguration>\n"
                              "  <AppID>quaformac</AppID>\n"
                              "  <ProductVersion>1.0.0.0</ProductVersion>\n"
                              "  <BuildNumber>5</BuildNumber>\n"
                              "  <ReleaseName>old</ReleaseName>\n"
                              "</ProductConfiguration>\n";

class ReleaseRecordTest : public testing::Test {
protected:
    ReleaseRecordTest() {
        std::filesystem::create_directories(preparedFolder);
        writeText(installedPath, installed);
        record.setMaxPackageVersion("1.2.3.4");
        record.setMaxBuildNo("17");
        record.setCoreReleaseVer("3.1");
        record.setPartnerReleaseVer("2.2 & more");
        record.setRelName("basicmac3.4");
        record.setCBRMSBuildNo("5");
    }

    static std::string settingsOf(const std::string &file) {
        const LibXmlWrapper configuration(file);
        std::string settings;
        for (const char *name : {"AppID", "ProductVersion", "BuildNumber", "CoreRelVer", "PartnerRelVer",
                                 "ReleaseName", "CBRMSBuildNo"}) {
            for (const std::string &text :
                 configuration.getXPathAllElement(std::string("/ProductConfiguration/") + name))
                settings += text + ";";
        }
        return settings;
    }

    ReleaseRecord record;
    const std::string newSettings = "quaformac;1.2.3.4;17;3.1;2.2 & more;basicmac3.4;5;";
};

std::size_t filesIn(const std::string &name) {
    const std::filesystem::directory_iterator entries(name);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

// --- the values

TEST(ReleaseRecordValues, AreEmptyAndZeroAtFirst) {
    const ReleaseRecord record;
    EXPECT_EQ(record.getCoreReleaseVer() + record.getPartnerReleaseVer() + record.getMaxPackageVersion() +
                  record.getMaxBuildNo() + record.getRelName(),
              "");
    EXPECT_EQ(record.getCBRMSBuildNO(), "0");
}

TEST_F(ReleaseRecordTest, GivesEachValueAsItWasSet) {
    EXPECT_EQ(record.getMaxPackageVersion(), "1.2.3.4");
    EXPECT_EQ(record.getMaxBuildNo(), "17");
    EXPECT_EQ(record.getCoreReleaseVer(), "3.1");
    EXPECT_EQ(record.getPartnerReleaseVer(), "2.2 & more");
    EXPECT_EQ(record.getRelName(), "basicmac3.4");
    EXPECT_EQ(record.getCBRMSBuildNO(), "5");
}

ProductInfo product(const std::string &version, const std::string &buildNo) {
    ProductInfo made;
    made.version = version;
    made.mainBuildNo = buildNo;
    return made;
}

TEST(ReleaseRecordMaxima, AreFoundIndependently) {
    ReleaseRecord record;
    record.setMaximaOf({product("1.9.9.9", "999"), product("1.10.0.0", "1200"), product("1.2.0.0", "x")});
    EXPECT_EQ(record.getMaxPackageVersion(), "1.10.0.0");
    EXPECT_EQ(record.getMaxBuildNo(), "1200");
    record.setMaximaOf({});
    EXPECT_EQ(record.getMaxPackageVersion(), "0.0.0.0");
    EXPECT_EQ(record.getMaxBuildNo(), "0");
}

// --- the prepared configuration

TEST_F(ReleaseRecordTest, PreparesTheInstalledConfigurationWithTheValues) {
    record.writeToProductConfiguration();
    EXPECT_EQ(settingsOf(preparedPath), newSettings);
    EXPECT_EQ(readText(installedPath), installed);
    EXPECT_EQ(filesIn(preparedFolder), 1U);
}

TEST_F(ReleaseRecordTest, AddsAThirdToASettingThatStandsTwice) {
    writeText(installedPath, "<ProductConfiguration><ReleaseName>a</ReleaseName><ReleaseName>b</ReleaseName>"
                             "</ProductConfiguration>");
    record.writeToProductConfiguration();
    EXPECT_THAT(LibXmlWrapper(preparedPath).getXPathAllElement("/ProductConfiguration/ReleaseName"),
                ElementsAre("a", "b", "basicmac3.4"));
}

// What was no configuration gets the values too (kept as shipped).
TEST_F(ReleaseRecordTest, PreparesADocumentOfAnotherKind) {
    for (const char *text : {"<Other><ProductVersion>1</ProductVersion></Other>",
                             "<ProductConfiguration xmlns='urn:x'><A/></ProductConfiguration>"}) {
        writeText(installedPath, text);
        record.writeToProductConfiguration();
        EXPECT_THAT(readText(preparedPath), HasSubstr("<ProductVersion>1.2.3.4</ProductVersion>")) << text;
    }
}

TEST_F(ReleaseRecordTest, CopiesWhatIsNoDocumentAsItIs) {
    for (const std::string &text : {std::string("<ProductConfiguration><A>"), std::string("\0\1", 2)}) {
        writeText(installedPath, text);
        testing::internal::CaptureStderr();
        record.writeToProductConfiguration();
        testing::internal::GetCapturedStderr();
        EXPECT_EQ(readText(preparedPath), text);
    }
}

TEST_F(ReleaseRecordTest, PreparesAnEmptyOneWithoutAnInstalledOne) {
    std::filesystem::remove(installedPath);
    writeText(preparedPath, "left by an earlier run");
    testing::internal::CaptureStderr();
    record.writeToProductConfiguration();
    std::string told;
    for (int i = 0; i < 6; ++i)
        told += "Error: unable to parse file \"" + preparedPath + "\"\n";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), told);
    EXPECT_TRUE(std::filesystem::exists(preparedPath));
    EXPECT_EQ(readText(preparedPath), "");
}

TEST_F(ReleaseRecordTest, LeavesNoPreparedConfigurationOnAFullDisk) {
    const std::string big =
        "<ProductConfiguration><A>" + std::string(10'000, 'x') + "</A></ProductConfiguration>";
    writeText(installedPath, big);
    writeText(preparedPath, "<ProductConfiguration>left by an earlier run</ProductConfiguration>");
    testing::internal::CaptureStderr();
    {
        const FullDisk full(4096);
        record.writeToProductConfiguration();
    }
    testing::internal::GetCapturedStderr();
    EXPECT_FALSE(std::filesystem::exists(preparedPath));
    EXPECT_EQ(filesIn(preparedFolder), 0U);
}

// There is room for the copy, but not for the values.
TEST_F(ReleaseRecordTest, LeavesNoPreparedConfigurationThatLacksValues) {
    const std::string big = "<ProductConfiguration>" + std::string(4000, 'x') + "</ProductConfiguration>";
    writeText(installedPath, big);
    {
        const FullDisk full(big.size() + 40);
        record.writeToProductConfiguration();
    }
    EXPECT_FALSE(std::filesystem::exists(preparedPath));
}

TEST_F(ReleaseRecordTest, LeavesNoPreparedConfigurationThatCouldNotBeReadAgain) {
    record.setRelName("a\x01z");
    testing::internal::CaptureStderr();
    record.writeToProductConfiguration();
    testing::internal::GetCapturedStderr();
    EXPECT_FALSE(std::filesystem::exists(preparedPath));
}

TEST_F(ReleaseRecordTest, PreparesTheWholeConfigurationOrNoneWhicheverCallFails) {
    std::size_t call = 0;
    testing::internal::CaptureStderr();
    for (bool reached = true; reached; ++call) {
        writeText(preparedPath, "<ProductConfiguration>left by an earlier run</ProductConfiguration>");
        {
            const FailingFileCall failing(call);
            record.writeToProductConfiguration();
            reached = failing.happened();
        }
        if (std::filesystem::exists(preparedPath)) {
            EXPECT_EQ(settingsOf(preparedPath), newSettings) << call;
        }
        EXPECT_EQ(readText(installedPath), installed);
    }
    testing::internal::GetCapturedStderr();
    EXPECT_GT(call, 50U);
}

TEST_F(ReleaseRecordTest, PreparesTheWholeConfigurationOrNoneWithoutMemory) {
    std::size_t allocation = 0;
    testing::internal::CaptureStderr();
    for (bool reached = true; reached; ++allocation) {
        std::filesystem::remove(preparedPath);
        {
            const FailingAllocation failing(allocation);
            try {
                record.writeToProductConfiguration();
                reached = failing.happened();
            } catch (const std::bad_alloc &) {
                reached = true;
            }
        }
        if (std::filesystem::exists(preparedPath)) {
            EXPECT_EQ(settingsOf(preparedPath), newSettings) << allocation;
        }
    }
    testing::internal::GetCapturedStderr();
    EXPECT_GT(allocation, 50U);
}

TEST_F(ReleaseRecordTest, PreparesTheWholeConfigurationOrNoneWithoutMemoryForItsDocuments) {
    std::size_t allocation = 0;
    testing::internal::CaptureStderr();
    for (bool reached = true; reached; ++allocation) {
        std::filesystem::remove(preparedPath);
        {
            const FailingXmlAllocation failing(allocation);
            try {
                record.writeToProductConfiguration();
            } catch (const std::bad_alloc &) {
                EXPECT_FALSE(std::filesystem::exists(preparedPath)) << allocation;
            }
            reached = failing.happened();
        }
        if (std::filesystem::exists(preparedPath)) {
            EXPECT_EQ(settingsOf(preparedPath), newSettings) << allocation;
        }
    }
    testing::internal::GetCapturedStderr();
    EXPECT_GT(allocation, 500U);
}

TEST_F(ReleaseRecordTest, PreparesNothingWhenTheInstalledOneCannotBeReadForAMoment) {
    testing::internal::CaptureStderr();
    {
        const FailingFileCall failing(0);
        record.writeToProductConfiguration();
    }
    testing::internal::GetCapturedStderr();
    EXPECT_FALSE(std::filesystem::exists(preparedPath));
    record.writeToProductConfiguration();
    EXPECT_EQ(settingsOf(preparedPath), newSettings);
}

TEST_F(ReleaseRecordTest, GivesTheTargetOfALinkTheNewContent) {
    writeText("/tmp/kept.xml", "");
    std::filesystem::create_symlink("/tmp/kept.xml", preparedPath);
    record.writeToProductConfiguration();
    EXPECT_TRUE(std::filesystem::is_symlink(preparedPath));
    EXPECT_EQ(settingsOf("/tmp/kept.xml"), newSettings);
}

// --- the property list

TEST_F(ReleaseRecordTest, SetsTheMaximaOfAFreshInstallationOnceTheListWasRead) {
    record.writeToPropertyList({{product("2.0.0.0", "40")}});
    EXPECT_EQ(record.getMaxPackageVersion(), "2.0.0.0");
    EXPECT_THAT(readText(configurationPlistPath), HasSubstr("<string>2.0.0.0</string>"));
    record.setMaxPackageVersion("1.2.3.4");
    record.writeToPropertyList(std::nullopt);
    EXPECT_EQ(record.getMaxPackageVersion(), "1.2.3.4");
    EXPECT_THAT(readText(configurationPlistPath), HasSubstr("<string>1.2.3.4</string>"));
}

// Whatever fails: the installer's entries are there, and the record is whole or as it was.
TEST_F(ReleaseRecordTest, KeepsTheInstallersEntriesWhateverFails) {
    const std::string before = readText(configurationPlistPath);
    record.writeToPropertyList(std::nullopt);
    const std::string after = readText(configurationPlistPath);
    ASSERT_THAT(after, HasSubstr("<key>AffID</key>"));
    const auto expectOldOrNew = [&](const auto &failure) {
        writeText(configurationPlistPath, before);
        try {
            record.writeToPropertyList(std::nullopt);
        } catch (const std::bad_alloc &) {
            EXPECT_EQ(readText(configurationPlistPath), before);
        }
        const bool happened = failure.happened();
        EXPECT_THAT(readText(configurationPlistPath), testing::AnyOf(before, after));
        return happened;
    };
    std::size_t tries = 0;
    for (bool reached = true; reached; ++tries)
        reached = expectOldOrNew(FailingFileCall(tries));
    EXPECT_GT(tries, 5U);
    tries = 0;
    for (bool reached = true; reached; ++tries)
        reached = expectOldOrNew(FailingXmlAllocation(tries));
    EXPECT_GT(tries, 20U);
}

TEST_F(ReleaseRecordTest, KeepsTheInstallersEntriesWithoutMemory) {
    const std::string before = readText(configurationPlistPath);
    std::size_t allocation = 0;
    for (bool reached = true; reached; ++allocation) {
        writeText(configurationPlistPath, before);
        {
            const FailingAllocation failing(allocation);
            try {
                record.writeToPropertyList(std::nullopt);
                reached = failing.happened();
            } catch (const std::bad_alloc &) {
                reached = true;
            }
        }
        EXPECT_NE(readText(configurationPlistPath).find("<key>AffID</key>"), std::string::npos) << allocation;
    }
    EXPECT_GT(allocation, 10U);
}

TEST_F(ReleaseRecordTest, TellsAListThatCannotBeReadForAMomentAndLeavesIt) {
    openTrace();
    const std::string before = readText(configurationPlistPath);
    {
        const FailingFileCall failing(0);
        record.writeToPropertyList(std::nullopt);
    }
    EXPECT_EQ(readText(configurationPlistPath), before);
    EXPECT_EQ(traceMessages().back(), "ERROR: Version and Build no Updated to plist Failed !\n");
}

TEST_F(ReleaseRecordTest, NeitherReadsNorWritesThroughALinkToAnothersList) {
    std::filesystem::rename(configurationPlistPath, "/private/tmp/secret.plist");
    const std::string secret = readText("/private/tmp/secret.plist");
    std::filesystem::create_symlink("/private/tmp/secret.plist", configurationPlistPath);
    record.writeToPropertyList(std::nullopt);
    EXPECT_EQ(readText("/private/tmp/secret.plist"), secret);
    EXPECT_FALSE(std::filesystem::is_symlink(configurationPlistPath));
    EXPECT_EQ(readText(configurationPlistPath).find("AffID"), std::string::npos);
}

// Hosts ask for the progress again and again; what others do to the list meanwhile is mended each time.
TEST_F(ReleaseRecordTest, LeavesAListThatHoldsTheRecordUnwrittenAndMendsAnyOther) {
    openTrace();
    record.setRelName("basicmac4.0");
    record.writeToPropertyList(std::nullopt);
    const std::string recorded = readText(configurationPlistPath);
    struct stat before {};
    ASSERT_EQ(stat(configurationPlistPath, &before), 0);
    record.writeToPropertyList(std::nullopt);
    struct stat after {};
    ASSERT_EQ(stat(configurationPlistPath, &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);

    writeText(configurationPlistPath, recorded + " ");
    record.writeToPropertyList(std::nullopt);
    EXPECT_EQ(readText(configurationPlistPath), recorded);
    std::filesystem::remove(configurationPlistPath);
    record.writeToPropertyList(std::nullopt);
    EXPECT_THAT(readText(configurationPlistPath), HasSubstr("<string>basicmac4.0</string>"));

    const std::string begins = "INFO: Updating /tmp/configuratiob.plist : buildno and version \n";
    const std::string done = "INFO: Version and Build no Updated to plist successfully\n";
    EXPECT_THAT(traceMessages(), ElementsAre(begins, done, begins, done, begins, done, begins, done));
}

TEST_F(ReleaseRecordTest, TellsItsStepsInTheTrace) {
    openTrace();
    record.writeToPropertyList(std::nullopt);
    std::filesystem::remove_all("/private/tmp");
    record.writeToPropertyList(std::nullopt);
    const std::string begins = "INFO: Updating /tmp/configuratiob.plist : buildno and version \n";
    EXPECT_THAT(traceMessages(),
                ElementsAre(begins, "INFO: Version and Build no Updated to plist successfully\n", begins,
                            "ERROR: Version and Build no Updated to plist Failed !\n"));
}

} // namespace
