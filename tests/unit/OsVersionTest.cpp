#include "OsVersion.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <ostream>
#include <string>

#include <gtest/gtest.h>
#include <sys/utsname.h>

#include "FailingFileCall.h"
#include "TextFile.h"

bool operator==(const OsVersion &left, const OsVersion &right);
bool operator==(const OsVersion &left, const OsVersion &right) {
    return left.major == right.major && left.minor == right.minor && left.bugFix == right.bugFix;
}

void PrintTo(const OsVersion &version, std::ostream *stream);
void PrintTo(const OsVersion &version, std::ostream *stream) {
    *stream << version.major << '.' << version.minor << '.' << version.bugFix;
}

namespace {

bool kernelIsSilent = false;

} // namespace

// The linker leads the engine's call here.
// NOLINTBEGIN(bugprone-reserved-identifier): the names that the linker's --wrap asks for
extern "C" {
int __real_uname(utsname *system);
int __wrap_uname(utsname *system);
int __wrap_uname(utsname *system) {
    return kernelIsSilent ? -1 : __real_uname(system);
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

const std::string systemVersionPlist = "/System/Library/CoreServices/SystemVersion.plist";

void writeProductVersion(const std::string &value) {
    writeText(systemVersionPlist, "<plist version=\"1.0\"><dict><key>ProductName</key><string>9.9.9</string>"
                                  "<key>ProductVersion</key>" +
                                      value + "</dict></plist>");
}

OsVersion kernelVersion() {
    utsname system{};
    EXPECT_EQ(uname(&system), 0);
    OsVersion version{};
    EXPECT_GE(std::sscanf(system.release, "%d.%d.%d", &version.major, &version.minor, &version.bugFix), 2);
    return version;
}

struct Reading {
    const char *name;
    const char *text;
    OsVersion version;
};

class OsVersionText : public testing::TestWithParam<Reading> {};

TEST_P(OsVersionText, IsReadAsThreeNumbers) {
    writeProductVersion("<string>" + std::string(GetParam().text) + "</string>");
    EXPECT_EQ(readOsVersion(), GetParam().version);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, OsVersionText,
    testing::Values(Reading{"ThreeNumbers", "10.7.5", {10, 7, 5}}, Reading{"zeros", "10.8.0", {10, 8, 0}},
                    Reading{"WithoutBugFix", "10.9", {10, 9, 0}}, Reading{"majorAlone", "11", {11, 0, 0}},
                    Reading{"FourNumbers", "10.7.5.3", {10, 7, 5}}, Reading{"noNumber", "Lion", {0, 0, 0}},
                    Reading{"Empty", "", {0, 0, 0}}),
    [](const auto &instance) { return instance.param.name; });

TEST(OsVersion, IsTheOneOfTheSealedMachine) {
    EXPECT_EQ(readOsVersion(), (OsVersion{10, 8, 5}));
}

TEST(OsVersion, IsTheKernelsWithoutTheSystemsList) {
    std::filesystem::remove(systemVersionPlist);
    EXPECT_EQ(readOsVersion(), kernelVersion());
}

// The kernel's numbers would be taken for those of a far later system.
TEST(OsVersion, IsUnknownWhenTheListIsCut) {
    writeText(systemVersionPlist, "<plist><dict><key>ProductVersion</key><string>10.7");
    EXPECT_EQ(readOsVersion(), (OsVersion{0, 0, 0}));
}

TEST(OsVersion, IsUnknownWhenTheVersionIsNoText) {
    writeProductVersion("<real>10.7</real>");
    EXPECT_EQ(readOsVersion(), (OsVersion{0, 0, 0}));
}

TEST(OsVersion, IsUnknownWhenTheListDoesNotTellIt) {
    writeText(systemVersionPlist, "<plist><dict><key>ProductName</key><string>Mac</string></dict></plist>");
    EXPECT_EQ(readOsVersion(), (OsVersion{0, 0, 0}));
}

TEST(OsVersion, IsUnknownWhenTheListCannotBeReadForAMoment) {
    const FailingFileCall failing(0);
    EXPECT_EQ(readOsVersion(), (OsVersion{0, 0, 0}));
}

TEST(OsVersion, IsUnknownWhenTheKernelDoesNotTellItself) {
    std::filesystem::remove(systemVersionPlist);
    kernelIsSilent = true;
    EXPECT_EQ(readOsVersion(), (OsVersion{0, 0, 0}));
    kernelIsSilent = false;
}

TEST(OsVersion, IsReadFromTheFileThatALinkNames) {
    std::filesystem::rename(systemVersionPlist, systemVersionPlist + ".other");
    std::filesystem::create_symlink(systemVersionPlist + ".other", systemVersionPlist);
    EXPECT_EQ(readOsVersion(), (OsVersion{10, 8, 5}));
}

} // namespace
