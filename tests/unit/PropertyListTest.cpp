#include "PropertyList.h"

#include <csignal>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <new>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "FailingAllocation.h"
#include "FailingFileCall.h"
#include "FailingXmlAllocation.h"
#include "NoMoreFiles.h"
#include "OtherUsers.h"
#include "TextFile.h"

// The linker leads libplist's call here, which without memory leaves out a value and does not tell.
namespace {
int listsToWrite = -1; // until that happens once
}
extern "C" {
void __real_plist_to_xml(void *list, char **xml, std::uint32_t *size);
void __wrap_plist_to_xml(void *list, char **xml, std::uint32_t *size);
void __wrap_plist_to_xml(void *list, char **xml, std::uint32_t *size) {
    __real_plist_to_xml(list, xml, size);
    char *value = listsToWrite-- == 0 ? std::strstr(*xml, "105") : nullptr;
    if (value != nullptr)
        std::memset(value, ' ', 3);
}
}

namespace {

using testing::ElementsAre;
using testing::Optional;

const std::string path = "/private/tmp/list.plist";

const std::string opening = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                            "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                            "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                            "<plist version=\"1.0\">\n";

std::string plist(const std::string &root) {
    return opening + root + "</plist>\n";
}

std::optional<PropertyList> readList(const std::string &text) {
    writeText(path, text);
    return PropertyList::read(path);
}

std::optional<std::string> textOfKey(const std::string &value) {
    const auto list = readList(plist("<dict><key>Key</key>" + value + "</dict>"));
    return list ? list->string("Key") : std::nullopt;
}

std::size_t filesIn(const std::string &directory) {
    const std::filesystem::directory_iterator entries(directory);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

// --- texts

TEST(PropertyList, GivesTheTextOfAKey) {
    EXPECT_THAT(textOfKey("<string>105-1</string>"), Optional(std::string("105-1")));
}

TEST(PropertyList, IsNotWrittenInPart) {
    const std::string whole = plist("<dict><key>Key</key><string>105</string></dict>");
    for (const int call : {0, 1}) {
        const auto list = readList(whole);
        ASSERT_TRUE(list);
        listsToWrite = call;
        EXPECT_FALSE(list->write(path)) << call;
        EXPECT_EQ(readText(path), whole) << call;
    }
}

TEST(PropertyList, GivesNoTextForAMissingKey) {
    const auto list = readList(plist("<dict><key>Other</key><string>x</string></dict>"));
    ASSERT_TRUE(list);
    EXPECT_EQ(list->string("Key"), std::nullopt);
}

TEST(PropertyList, TellsAnEmptyTextFromAMissingOne) {
    EXPECT_THAT(textOfKey("<string></string>"), Optional(std::string()));
    EXPECT_THAT(textOfKey("<string/>"), Optional(std::string()));
}

TEST(PropertyList, DecodesWhatXmlEscapes) {
    EXPECT_THAT(textOfKey("<string>a &amp; b &lt;c&gt; &#233;\xC3\xA9 <![CDATA[<raw>]]></string>"),
                Optional(std::string("a & b <c> \xC3\xA9\xC3\xA9 <raw>")));
}

TEST(PropertyList, KeepsBlanksOfAText) {
    EXPECT_THAT(textOfKey("<string> a\tb\n </string>"), Optional(std::string(" a\tb\n ")));
}

TEST(PropertyList, ReadsOtherEncodingsAsUtf8) {
    const auto list = readList("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>"
                               "<plist><dict><key>Key</key><string>\xE9</string></dict></plist>");
    ASSERT_TRUE(list);
    EXPECT_THAT(list->string("Key"), Optional(std::string("\xC3\xA9")));
}

class PropertyListOtherType : public testing::TestWithParam<const char *> {};

TEST_P(PropertyListOtherType, IsNoText) {
    const auto list = readList(plist("<dict><key>Key</key>" + std::string(GetParam()) + "</dict>"));
    ASSERT_TRUE(list);
    EXPECT_EQ(list->string("Key"), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(Values, PropertyListOtherType,
                         testing::Values("<integer>5</integer>", "<real>1.5</real>", "<true/>",
                                         "<date>2013-09-14T08:30:00Z</date>", "<data>AAEC</data>", "<array/>",
                                         "<dict><key>Key</key><string>inner</string></dict>"));

// --- arrays

TEST(PropertyList, GivesTheStringsOfAnArrayInOrder) {
    const auto list = readList(plist("<dict><key>Order</key><array><string>b</string><string>a</string>"
                                     "<string/><string>b</string></array></dict>"));
    ASSERT_TRUE(list);
    EXPECT_THAT(list->strings("Order"), Optional(ElementsAre("b", "a", "", "b")));
}

TEST(PropertyList, SkipsWhatIsNoStringInAnArray) {
    const auto list = readList(plist("<dict><key>Order</key><array><integer>1</integer><string>a</string>"
                                     "<array><string>inner</string></array><true/><string>b</string>"
                                     "<dict/></array></dict>"));
    ASSERT_TRUE(list);
    EXPECT_THAT(list->strings("Order"), Optional(ElementsAre("a", "b")));
}

TEST(PropertyList, GivesNoStringsForWhatIsNoArray) {
    const auto list = readList(plist("<dict><key>Order</key><string>a</string></dict>"));
    ASSERT_TRUE(list);
    EXPECT_EQ(list->strings("Order"), std::nullopt);
    EXPECT_EQ(list->strings("Missing"), std::nullopt);
}

TEST(PropertyList, ReadsAnArrayOfAHundredThousandStrings) {
    std::string array;
    for (int i = 0; i < 100000; ++i)
        array += "<string>package</string>\n";
    const auto list = readList(plist("<dict><key>Order</key><array>" + array + "</array></dict>"));
    ASSERT_TRUE(list);
    ASSERT_TRUE(list->strings("Order"));
    EXPECT_EQ(list->strings("Order")->size(), 100000U);
}

// --- what cannot be read

std::string nested(std::size_t depth) {
    std::string text;
    for (std::size_t i = 0; i < depth; ++i)
        text += "<array>";
    for (std::size_t i = 0; i < depth; ++i)
        text += "</array>";
    return plist("<dict><key>Key</key><string>x</string><key>Deep</key>" + text + "</dict>");
}

std::string entityBomb() {
    std::string entities = "<!ENTITY e0 \"ha\">";
    for (int i = 1; i < 30; ++i)
        entities += "<!ENTITY e" + std::to_string(i) + " \"&e" + std::to_string(i - 1) + ";&e" +
                    std::to_string(i - 1) + ";\">";
    return "<?xml version=\"1.0\"?><!DOCTYPE plist [" + entities +
           "]><plist><dict><key>Key</key><string>&e29;</string></dict></plist>";
}

const std::string good = plist("<dict><key>Key</key><string>x</string></dict>");

struct Unreadable {
    const char *name;
    std::string (*text)();
};

class PropertyListUnreadable : public testing::TestWithParam<Unreadable> {};

TEST_P(PropertyListUnreadable, IsNoList) {
    EXPECT_FALSE(readList(GetParam().text()));
}

INSTANTIATE_TEST_SUITE_P(
    Texts, PropertyListUnreadable,
    testing::Values(
        Unreadable{"Empty", [] { return std::string(); }},
        Unreadable{"Blank", [] { return std::string(" \n"); }},
        Unreadable{"NotXml", [] { return std::string("AffID=105\n"); }},
        Unreadable{"BinaryJunk", [] { return std::string("\x00\x01\xFF\xFE junk \x80", 11); }},
        Unreadable{"BinaryPlist", [] { return std::string("bplist00\xD1\x01\x02"); }},
        Unreadable{"CutInTheText", [] { return good.substr(0, good.find("x</string>") + 1); }},
        Unreadable{"CutBeforeTheEnd", [] { return good.substr(0, good.find("</plist>")); }},
        Unreadable{"MismatchedTags", [] { return plist("<dict><key>Key</key><string>x</dict></string>"); }},
        Unreadable{"TwoRoots", [] { return good + good; }},
        Unreadable{"BadUtf8", [] { return plist("<dict><key>Key</key><string>\xFF</string></dict>"); }},
        Unreadable{"OtherXml", [] { return std::string("<html><body>Key</body></html>"); }},
        Unreadable{"UnknownElement", [] { return plist("<dict><key>Key</key><bogus>x</bogus></dict>"); }},
        Unreadable{"EmptyPlist", [] { return plist(""); }},
        Unreadable{"ArrayAsRoot", [] { return plist("<array><string>Key</string></array>"); }},
        Unreadable{"StringAsRoot", [] { return plist("<string>Key</string>"); }},
        Unreadable{"NestedBeyondTheLimit", [] { return nested(300); }},
        Unreadable{"NestedAMillionTimes", [] { return nested(1000000); }},
        Unreadable{"EntityBomb", [] { return entityBomb(); }},
        Unreadable{"FloodOfReferences",
                   [] {
                       std::string flood;
                       while (flood.size() < 3'900'000)
                           flood += "&amp;";
                       return plist("<dict><key>Key</key><string>" + flood + "</string></dict>");
                   }},
        Unreadable{"FloodOfAttributes",
                   [] {
                       std::string flood;
                       for (int i = 0; flood.size() < 3'900'000; ++i)
                           flood += " a" + std::to_string(i) + "=''";
                       return plist("<dict><key>Key</key><string" + flood + ">x</string></dict>");
                   }},
        Unreadable{"ExternalEntity",
                   [] {
                       return std::string(
                           "<?xml version=\"1.0\"?>"
                           "<!DOCTYPE plist [<!ENTITY file SYSTEM \"file:///etc/passwd\">]>"
                           "<plist><dict><key>Key</key><string>&file;</string></dict></plist>");
                   }}),
    [](const auto &instance) { return instance.param.name; });

TEST(PropertyList, ReadsWhatTheBadListsAreMadeFrom) {
    EXPECT_TRUE(readList(good));
    EXPECT_TRUE(readList(nested(200)));
}

TEST(PropertyList, IsNoneWithoutAFile) {
    EXPECT_FALSE(PropertyList::read("/private/tmp/missing.plist"));
    EXPECT_FALSE(PropertyList::read("/private/missing/list.plist"));
    EXPECT_FALSE(PropertyList::read(""));
}

TEST(PropertyList, IsNoneForADirectory) {
    EXPECT_FALSE(PropertyList::read("/private/tmp"));
}

TEST(PropertyList, IsNoneForALinkInAnOpenFolderOnly) {
    writeText("/private/tmp/other.plist", good);
    std::filesystem::create_symlink("other.plist", path);
    EXPECT_FALSE(PropertyList::readFromOpenFolder(path));
    EXPECT_TRUE(PropertyList::read(path));
    EXPECT_TRUE(PropertyList::readFromOpenFolder("/private/tmp/other.plist"));
}

TEST(PropertyList, IsNoneForWhatIsNoFileAndWaitsForNobody) {
    ASSERT_EQ(mkfifo(path.c_str(), 0666), 0);
    EXPECT_FALSE(PropertyList::read(path));
    EXPECT_FALSE(PropertyList::readFromOpenFolder(path));
    EXPECT_FALSE(PropertyList::read("/dev/zero"));
}

TEST(PropertyList, IsNoneForAFileLongerThanAnyList) {
    writeText(path, good);
    std::filesystem::resize_file(path, 5ULL << 30U);
    EXPECT_FALSE(PropertyList::read(path));
    writeText(path, plist("<dict><key>Key</key><string>x</string></dict>") + std::string(4U << 20U, ' '));
    EXPECT_FALSE(PropertyList::read(path));
}

// Anybody may leave one for root to read, whose memory is others' too.
TEST(PropertyList, TakesLittleMemoryForTheWorstOfTheLongest) {
    std::string text = plist("<dict><key>Key</key><array>");
    while (text.size() < (4U << 20U) - 100)
        text += "<a/>";
    writeText(path, text + "</array></dict></plist>");
    const auto peakKilobytes = [] {
        rusage usage{};
        EXPECT_EQ(getrusage(RUSAGE_SELF, &usage), 0);
        return usage.ru_maxrss;
    };
    const long before = peakKilobytes();
    static_cast<void>(PropertyList::read(path));
    EXPECT_LT(peakKilobytes() - before, 400'000);
}

// A list that cannot be read for a moment is not an unreadable one, which would be replaced.
TEST(PropertyList, IsNeverNoneWhenTheSystemFails) {
    writeText(path, good);
    std::size_t call = 0;
    for (bool reached = true; reached; ++call) {
        const FailingFileCall failing(call);
        try {
            EXPECT_TRUE(PropertyList::read(path)) << call;
            reached = failing.happened();
        } catch (const std::system_error &) {
            reached = true;
        }
    }
    EXPECT_GT(call, 2U);
    const NoMoreFiles noMoreFiles;
    EXPECT_THROW(PropertyList::readFromOpenFolder(path), std::system_error);
}

TEST(PropertyList, IsNeverNoneWithoutMemory) {
    writeText(path, good);
    std::size_t allocation = 0;
    for (bool reached = true; reached; ++allocation) {
        const FailingAllocation failing(allocation);
        try {
            EXPECT_TRUE(PropertyList::read(path)) << allocation;
            reached = failing.happened();
        } catch (const std::bad_alloc &) {
            reached = true;
        }
    }
    EXPECT_GT(allocation, 2U);
    allocation = 0;
    for (bool reached = true; reached; ++allocation) {
        const FailingXmlAllocation failing(allocation);
        try {
            EXPECT_TRUE(PropertyList::read(path)) << allocation;
        } catch (const std::bad_alloc &) {
        }
        reached = failing.happened();
    }
    EXPECT_GT(allocation, 20U);
}

TEST(PropertyList, ReadsAListOf3Megabytes) {
    std::string entries;
    const std::string text(1000, 'x');
    for (int i = 0; i < 3000; ++i)
        entries += "<key>k" + std::to_string(i) + "</key><string>" + text + "</string>\n";
    const auto list = readList(plist("<dict>" + entries + "</dict>"));
    ASSERT_TRUE(list);
    EXPECT_THAT(list->string("k2999"), Optional(text));
}

TEST(PropertyList, GivesATextOf3MegabytesWhole) {
    const std::string text(3U << 20U, 'x');
    const auto list = readList(plist("<dict><key>Key</key><string>" + text + "</string></dict>"));
    ASSERT_TRUE(list);
    EXPECT_TRUE(list->string("Key") == text);
}

// --- a rewrite

// In the form in which it is written, so that a rewrite without a change gives the same bytes.
const std::string foreignValues = "\t<key>Zeta &amp; &lt;co&gt;</key>\n"
                                  "\t<string>a &amp; b &lt;c&gt; \"q\" 'x' \xF0\x9F\x98\x80</string>\n"
                                  "\t<key>Blanks</key>\n"
                                  "\t<string>  two\n lines\t</string>\n"
                                  "\t<key>Empty</key>\n"
                                  "\t<string></string>\n"
                                  "\t<key>Negative</key>\n"
                                  "\t<integer>-9223372036854775808</integer>\n"
                                  "\t<key>Big</key>\n"
                                  "\t<integer>18446744073709551615</integer>\n"
                                  "\t<key>Real</key>\n"
                                  "\t<real>0.30000000000000004</real>\n"
                                  "\t<key>HugeReal</key>\n"
                                  "\t<real>-1.7976931348623157e+308</real>\n"
                                  "\t<key>Yes</key>\n"
                                  "\t<true/>\n"
                                  "\t<key>No</key>\n"
                                  "\t<false/>\n"
                                  "\t<key>Installed</key>\n"
                                  "\t<date>2013-09-14T08:30:00Z</date>\n"
                                  "\t<key>LongAgo</key>\n"
                                  "\t<date>1850-01-02T03:04:05Z</date>\n"
                                  "\t<key>FarAway</key>\n"
                                  "\t<date>9999-12-31T23:59:59Z</date>\n"
                                  "\t<key>Signature</key>\n"
                                  "\t<data>\n"
                                  "\tAAEC/3NlYWxlZCBtYWNoaW5l\n"
                                  "\t</data>\n"
                                  "\t<key>NoItems</key>\n"
                                  "\t<array/>\n"
                                  "\t<key>NoEntries</key>\n"
                                  "\t<dict/>\n"
                                  "\t<key>Alpha</key>\n"
                                  "\t<array>\n"
                                  "\t\t<dict>\n"
                                  "\t\t\t<key>b</key>\n"
                                  "\t\t\t<array>\n"
                                  "\t\t\t\t<integer>1</integer>\n"
                                  "\t\t\t\t<string>x</string>\n"
                                  "\t\t\t</array>\n"
                                  "\t\t\t<key>a</key>\n"
                                  "\t\t\t<date>2001-01-01T00:00:00Z</date>\n"
                                  "\t\t</dict>\n"
                                  "\t</array>\n";

const std::string buildInfo = "\t<key>BuildInfo</key>\n"
                              "\t<dict>\n"
                              "\t\t<key>Version</key>\n"
                              "\t\t<string>1.0.0.9</string>\n"
                              "\t\t<key>BuildNo</key>\n"
                              "\t\t<string>a &amp; &lt;b&gt;</string>\n"
                              "\t\t<key>CoreRelVer</key>\n"
                              "\t\t<string></string>\n"
                              "\t</dict>\n";

void setBuildInfo(PropertyList &list) {
    list.setDictionary("BuildInfo", {{"Version", "1.0.0.9"}, {"BuildNo", "a & <b>"}, {"CoreRelVer", ""}});
}

TEST(PropertyListWrite, KeepsEveryForeignValueAndTheOrderOfKeys) {
    auto list = readList(plist("<dict>\n" + foreignValues + "</dict>\n"));
    ASSERT_TRUE(list);
    setBuildInfo(*list);
    ASSERT_TRUE(list->write(path));
    EXPECT_EQ(readText(path), plist("<dict>\n" + foreignValues + buildInfo + "</dict>\n"));
}

// By fuzzing: a bare one is a line end to whoever reads it.
TEST(PropertyListWrite, KeepsCarriageReturns) {
    const std::string foreign = "\t<key>a&#13;</key>\n"
                                "\t<string>b&#13;\n&#13;c</string>\n";
    const auto list = readList(plist("<dict>\n" + foreign + "</dict>\n"));
    ASSERT_TRUE(list);
    EXPECT_EQ(list->string("a\r"), "b\r\n\rc");
    ASSERT_TRUE(list->write(path));
    EXPECT_EQ(readText(path), plist("<dict>\n" + foreign + "</dict>\n"));
}

TEST(PropertyListWrite, ReplacesAnExistingValueAsAWhole) {
    const std::string old = "\t<key>BuildInfo</key>\n"
                            "\t<dict>\n"
                            "\t\t<key>Obsolete</key>\n"
                            "\t\t<string>x</string>\n"
                            "\t</dict>\n";
    auto list = readList(plist("<dict>\n" + old + foreignValues + "</dict>\n"));
    ASSERT_TRUE(list);
    setBuildInfo(*list);
    ASSERT_TRUE(list->write(path));
    EXPECT_EQ(readText(path), plist("<dict>\n" + buildInfo + foreignValues + "</dict>\n"));
}

TEST(PropertyListWrite, ReplacesAValueOfAnotherType) {
    auto list = readList(plist("<dict><key>BuildInfo</key><string>x</string></dict>"));
    ASSERT_TRUE(list);
    setBuildInfo(*list);
    ASSERT_TRUE(list->write(path));
    EXPECT_EQ(readText(path), plist("<dict>\n" + buildInfo + "</dict>\n"));
}

TEST(PropertyListWrite, StartsFromAnEmptyDictionary) {
    PropertyList list;
    setBuildInfo(list);
    ASSERT_TRUE(list.write(path));
    EXPECT_EQ(readText(path), plist("<dict>\n" + buildInfo + "</dict>\n"));
}

TEST(PropertyListWrite, GivesTheSameBytesEveryTime) {
    PropertyList list;
    setBuildInfo(list);
    ASSERT_TRUE(list.write(path));
    const std::string first = readText(path);
    auto again = PropertyList::read(path);
    ASSERT_TRUE(again);
    setBuildInfo(*again);
    ASSERT_TRUE(again->write(path));
    EXPECT_EQ(readText(path), first);
}

TEST(PropertyListWrite, LosesNothingOfAListOf3Megabytes) {
    std::string entries;
    const std::string text(1000, 'x');
    for (int i = 0; i < 3000; ++i)
        entries += "\t<key>k" + std::to_string(i) + "</key>\n\t<string>" + text + "</string>\n";
    const auto list = readList(plist("<dict>\n" + entries + "</dict>\n"));
    ASSERT_TRUE(list);
    ASSERT_TRUE(list->write(path));
    EXPECT_TRUE(readText(path) == plist("<dict>\n" + entries + "</dict>\n"));
}

// --- the file

struct stat statusOf(const std::string &file) {
    struct stat status {};
    EXPECT_EQ(lstat(file.c_str(), &status), 0) << file;
    return status;
}

TEST(PropertyListWrite, MakesANewFileWithTheOrdinaryMode) {
    const mode_t callersMask = umask(027);
    EXPECT_TRUE(PropertyList().write(path));
    umask(callersMask);
    EXPECT_EQ(statusOf(path).st_mode & 07777U, 0640U);
}

TEST(PropertyListWrite, MakesANewFileThatNobodyElseMayWriteWhateverTheMask) {
    const mode_t callersMask = umask(0);
    EXPECT_TRUE(PropertyList().write(path));
    umask(callersMask);
    EXPECT_EQ(statusOf(path).st_mode & 07777U, 0644U);
}

TEST(PropertyListWrite, KeepsModeAndOwnerOfAnExistingFile) {
    if (!hasOtherUsers())
        GTEST_SKIP() << noOtherUsers;
    writeText(path, "old");
    ASSERT_EQ(chown(path.c_str(), 1, 2), 0);
    ASSERT_EQ(chmod(path.c_str(), 0606), 0);
    EXPECT_TRUE(PropertyList().write(path));
    EXPECT_EQ(statusOf(path).st_mode & 07777U, 0606U);
    EXPECT_EQ(statusOf(path).st_uid, 1U);
    EXPECT_EQ(statusOf(path).st_gid, 2U);
}

TEST(PropertyListWrite, LeavesWhoeverReadsTheOldContentUndisturbed) {
    writeText(path, "old content");
    std::ifstream reader(path);
    EXPECT_TRUE(PropertyList().write(path));
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), "old content");
    EXPECT_EQ(readText(path), plist("<dict/>\n"));
}

TEST(PropertyListWrite, LeavesAFileThatHoldsItAlreadyAsItIs) {
    PropertyList list;
    list.setDictionary("Key", {{"Text", "of\rtwo lines"}});
    ASSERT_TRUE(list.write(path));
    const ino_t file = statusOf(path).st_ino;
    ASSERT_TRUE(list.write(path));
    EXPECT_EQ(statusOf(path).st_ino, file);
}

TEST(PropertyListWrite, ReplacesAFileThatDiffersByOneByte) {
    ASSERT_TRUE(PropertyList().write(path));
    const std::string written = readText(path);
    std::string changed = written;
    changed.back() = ' ';
    for (const std::string &other :
         {changed, written + "\n", written.substr(0, written.size() - 1), std::string()}) {
        writeText(path, other);
        EXPECT_TRUE(PropertyList().write(path));
        EXPECT_EQ(readText(path), written);
    }
}

TEST(PropertyListWrite, ReplacesALinkToAFileThatHoldsItAlready) {
    ASSERT_TRUE(PropertyList().write(path));
    std::filesystem::rename(path, path + ".real");
    std::filesystem::create_symlink(path + ".real", path);
    EXPECT_TRUE(PropertyList().write(path));
    EXPECT_FALSE(std::filesystem::is_symlink(path));
}

TEST(PropertyListWrite, LeavesNothingElseBehind) {
    const std::size_t before = filesIn("/private/tmp");
    EXPECT_TRUE(PropertyList().write(path));
    EXPECT_EQ(filesIn("/private/tmp"), before + 1);
}

// The folder is open to everybody: a link in it must not lead root to another file.
TEST(PropertyListWrite, ReplacesALinkAndNotTheFileThatItNames) {
    std::filesystem::create_directory("/private/elsewhere");
    writeText("/private/elsewhere/list.plist", "old");
    std::filesystem::create_symlink("../elsewhere/list.plist", path);
    EXPECT_TRUE(PropertyList().write(path));
    EXPECT_FALSE(std::filesystem::is_symlink(path));
    EXPECT_EQ(readText(path), plist("<dict/>\n"));
    EXPECT_EQ(readText("/private/elsewhere/list.plist"), "old");
    EXPECT_EQ(filesIn("/private/elsewhere"), 1U);
}

TEST(PropertyListWrite, FailsWhereThereIsNoDirectory) {
    EXPECT_FALSE(PropertyList().write("/private/missing/list.plist"));
    EXPECT_FALSE(std::filesystem::exists("/private/missing"));
}

TEST(PropertyListWrite, FailsOnADirectoryAndLeavesNothingBehind) {
    std::filesystem::create_directory(path);
    writeText(path + "/file", "x");
    const std::size_t before = filesIn("/private/tmp");
    EXPECT_FALSE(PropertyList().write(path));
    EXPECT_EQ(filesIn("/private/tmp"), before);
    EXPECT_EQ(readText(path + "/file"), "x");
}

TEST(PropertyListWrite, LeavesTheOldContentWhenTheNewOneDoesNotFit) {
    writeText(path, "old content");
    const std::size_t before = filesIn("/private/tmp");
    PropertyList list;
    list.setDictionary("Key", {{"Text", std::string(100000, 'x')}});
    ASSERT_NE(std::signal(SIGXFSZ, SIG_IGN), SIG_ERR);
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    const rlimit small{4096, limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const bool written = list.write(path);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    EXPECT_FALSE(written);
    EXPECT_EQ(readText(path), "old content");
    EXPECT_EQ(filesIn("/private/tmp"), before);
}

TEST(PropertyListWrite, FailsForAnOwnerThatCannotBeKept) {
    if (!hasOtherUsers())
        GTEST_SKIP() << noOtherUsers;
    // Only root may give files away; what an ordinary user could not do must not half happen either.
    writeText(path, "old content");
    ASSERT_EQ(chown(path.c_str(), 1, 1), 0);
    ASSERT_EQ(seteuid(2), 0);
    const bool written = PropertyList().write(path);
    ASSERT_EQ(seteuid(0), 0);
    EXPECT_FALSE(written);
    EXPECT_EQ(readText(path), "old content");
    EXPECT_EQ(statusOf(path).st_uid, 1U);
}

} // namespace
