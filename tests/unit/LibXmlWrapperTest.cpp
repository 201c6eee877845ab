#include "LibXmlWrapper.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xpath.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FullDisk.h"
#include "TextFile.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// The processor time of the test alone: a loaded machine does not make linear work slow.
struct Clock {
    static std::chrono::seconds now() { return std::chrono::seconds(std::clock() / CLOCKS_PER_SEC); }
};

// Far above what linear work takes, also under a sanitizer, and far below what quadratic work takes.
constexpr auto linearTime = std::chrono::seconds(60);

// The parser's limit for one text, which is also what one query takes from entities.
constexpr std::size_t textLimit = 10'000'000;

LibXmlWrapper parse(const std::string &xml) {
    return LibXmlWrapper(xml.data(), xml.size());
}

template <class Action>
std::string standardErrorOf(Action action) {
    testing::internal::CaptureStderr();
    action();
    return testing::internal::GetCapturedStderr();
}

template <class Action>
std::string standardOutputOf(Action action) {
    testing::internal::CaptureStdout();
    action();
    return testing::internal::GetCapturedStdout();
}

std::string repeated(std::size_t count, const std::string &text) {
    std::string result;
    result.reserve(count * text.size());
    for (std::size_t i = 0; i < count; ++i)
        result += text;
    return result;
}

std::string parseError(const std::string &path) {
    return "Error: unable to parse file \"" + path + "\"\n";
}

std::string evaluationError(const std::string &xpath) {
    return "Error: unable to evaluate xpath expression \"" + xpath + "\"\n";
}

std::string memoryImage(LibXmlWrapper &document) {
    std::string image;
    EXPECT_TRUE(document.SaveToMemory(image));
    return image;
}

constexpr auto declaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

class XmlFile : public testing::Test {
protected:
    void SetUp() override {
        char name[] = "/tmp/LibXmlWrapperTest.XXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        m_directory = name;
    }
    void TearDown() override { std::filesystem::remove_all(m_directory); }

    std::string path(const std::string &name = "document.xml") const { return m_directory + "/" + name; }

    std::string fileWith(const std::string &xml) const {
        writeText(path(), xml);
        return path();
    }

private:
    std::string m_directory;
};

// Building a document

using LibXmlWrapperConstruction = XmlFile;

TEST_F(LibXmlWrapperConstruction, ParsesAFileSilently) {
    const std::string name = fileWith("<r><a>text</a></r>");
    EXPECT_EQ(standardErrorOf([&] { EXPECT_EQ(LibXmlWrapper(name).getXPathElement("/r/a"), "text"); }), "");
}

TEST_F(LibXmlWrapperConstruction, ParsesABufferThatIsNotNeededAfterwards) {
    auto buffer = std::make_unique<std::string>("<r><a>text</a></r>");
    const LibXmlWrapper document(buffer->data(), buffer->size());
    buffer->assign(buffer->size(), 'x');
    buffer.reset();
    EXPECT_EQ(document.getXPathElement("/r/a"), "text");
}

TEST_F(LibXmlWrapperConstruction, ReadsNoMoreOfABufferThanItsSize) {
    EXPECT_TRUE(LibXmlWrapper("<r/><!-- not", 4).isXPathElementExists("/r"));
}

TEST_F(LibXmlWrapperConstruction, TellsAMissingFileOnceAndAnswersNothing) {
    const std::string name = path("missing.xml");
    const std::string told = standardErrorOf([&] {
        const LibXmlWrapper document(name);
        EXPECT_EQ(document.getXPathElement("/r/a"), "");
        EXPECT_EQ(document.getXPathStringValue("/r/a"), "");
        EXPECT_EQ(document.getXPathElementAttribute("/r/a", "k"), "");
        EXPECT_FALSE(document.isXPathElementExists("/r"));
        EXPECT_THAT(document.getXPathAllElement("/r/a"), IsEmpty());
        EXPECT_THAT(document.getXPathAllOptionalElement("/r/a", "b", "default"), IsEmpty());
        EXPECT_THAT(document.getPropertyValue("/r/a", "k"), IsEmpty());
    });
    EXPECT_EQ(told, parseError(name));
}

TEST_F(LibXmlWrapperConstruction, TellsADirectoryAsUnparsable) {
    EXPECT_EQ(standardErrorOf([] { const LibXmlWrapper document("/tmp"); }), parseError("/tmp"));
}

TEST_F(LibXmlWrapperConstruction, TellsAMalformedFileInItsOwnWordsOnly) {
    const std::string name = fileWith("<r><a></r>");
    EXPECT_EQ(standardErrorOf([&] { const LibXmlWrapper document(name); }), parseError(name));
}

TEST_F(LibXmlWrapperConstruction, KeepsSilentAboutAMalformedBuffer) {
    EXPECT_EQ(standardErrorOf([] { EXPECT_FALSE(parse("<r><a></r>").isXPathElementExists("/r")); }), "");
}

TEST_F(LibXmlWrapperConstruction, TakesABufferAboveTheParsersSizesAsUnparsable) {
    // The lower half of this size is that of the text.
    const auto size = static_cast<unsigned long>(4294967296ULL + 4);
    EXPECT_EQ(standardErrorOf([&] { EXPECT_FALSE(LibXmlWrapper("<r/>", size).isXPathElementExists("/r")); }),
              "");
}

TEST_F(LibXmlWrapperConstruction, TakesANullBufferAsUnparsable) {
    EXPECT_FALSE(LibXmlWrapper(nullptr, 0).isXPathElementExists("/*"));
}

TEST_F(LibXmlWrapperConstruction, ReadsTheNamedFileAndNotTheOneThatItsPercentSignsWouldName) {
    writeText(path("a b.xml"), "<unescaped/>");
    EXPECT_EQ(standardErrorOf([&] { const LibXmlWrapper document(path("a%20b.xml")); }),
              parseError(path("a%20b.xml")));
}

TEST_F(LibXmlWrapperConstruction, ReadsNoUrl) {
    const std::string url = "file://" + fileWith("<r/>");
    EXPECT_EQ(standardErrorOf([&] { const LibXmlWrapper document(url); }), parseError(url));
}

TEST_F(LibXmlWrapperConstruction, PutsTheLibrarysMessageHandlerBack) {
    int context = 0;
    const xmlGenericErrorFunc handler = xmlGenericError;
    xmlSetGenericErrorFunc(&context, handler);
    parse("<r").getXPathElement("/r[");
    EXPECT_EQ(xmlGenericError, handler);
    EXPECT_EQ(xmlGenericErrorContext, &context);
    xmlSetGenericErrorFunc(nullptr, nullptr);
}

// Input that is no document

struct NamedText {
    const char *name;
    std::string text;
};

std::string nestedEntities() {
    std::string xml = "<!DOCTYPE r [<!ENTITY e0 'laughter'>";
    for (int level = 1; level < 10; ++level)
        xml += "<!ENTITY e" + std::to_string(level) + " '" +
               repeated(10, "&e" + std::to_string(level - 1) + ";") + "'>";
    return xml + "]>";
}

class UnparsableInput : public XmlFile, public testing::WithParamInterface<NamedText> {};

TEST_P(UnparsableInput, GivesAnEmptyDocumentFromAFile) {
    const std::string name = fileWith(GetParam().text);
    const std::string told =
        standardErrorOf([&] { EXPECT_FALSE(LibXmlWrapper(name).isXPathElementExists("/*")); });
    EXPECT_EQ(told, parseError(name));
}

TEST_P(UnparsableInput, GivesAnEmptyDocumentFromABufferSilently) {
    EXPECT_EQ(standardErrorOf([] { EXPECT_FALSE(parse(GetParam().text).isXPathElementExists("/*")); }), "");
}

TEST_P(UnparsableInput, IsNotOverwrittenByAnUpdate) {
    const std::string name = fileWith(GetParam().text);
    EXPECT_EQ(
        standardErrorOf([&] { EXPECT_EQ(LibXmlWrapper::UpdateNodeWithValue(name.c_str(), "/*", "v"), -1); }),
        parseError(name));
    EXPECT_TRUE(readText(name) == GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, UnparsableInput,
    testing::Values(NamedText{"Empty", ""}, NamedText{"Blank", " \n"}, NamedText{"NotXml", "Not Found"},
                    NamedText{"Cut", "<r><a>text</a><a>te"}, NamedText{"CutInATag", "<r><a"},
                    NamedText{"DeclarationOnly", declaration}, NamedText{"TwoRoots", "<r/><r/>"},
                    NamedText{"Html", "<html><br><p>Bad gateway</html>"},
                    NamedText{"Binary", std::string("\x7f"
                                                    "ELF\0\1\2\xff\xfe<r/>",
                                                    12)},
                    NamedText{"EmbeddedNul", std::string("<r>\0</r>", 8)},
                    NamedText{"NotUtf8", "<r>\xff\xfe</r>"},
                    NamedText{"UnknownEncoding", "<?xml version='1.0' encoding='none-such'?><r>\xe4</r>"},
                    NamedText{"UndeclaredEntity", "<r>&none;</r>"},
                    NamedText{"NestedEntitiesInText", nestedEntities() + "<r><a>&e9;</a></r>"},
                    NamedText{"NestedEntitiesInAnAttribute", nestedEntities() + "<r a='&e9;'/>"},
                    NamedText{"EntityOfItself",
                              "<!DOCTYPE r [<!ENTITY a '&b;'><!ENTITY b '&a;'>]><r>&a;</r>"},
                    NamedText{"DefaultAttributeOfItself", "<!DOCTYPE r [<!ENTITY a '&b;'><!ENTITY b '&a;'>"
                                                          "<!ATTLIST r k CDATA '&a;'>]><r/>"},
                    NamedText{"HundredThousandLevels", repeated(100'000, "<a>") + repeated(100'000, "</a>")},
                    NamedText{"HundredThousandLevelsCut", repeated(100'000, "<a>")}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

// Big and hostile documents

int externalLoads = 0;

xmlParserInputPtr countExternalLoad(const char *, const char *, xmlParserCtxtPtr) {
    ++externalLoads;
    return nullptr;
}

class ExternalReference : public XmlFile, public testing::WithParamInterface<NamedText> {};

// The case's text names the secret file by "SECRET".
TEST_P(ExternalReference, IsNeverRead) {
    writeText(path("secret"), "<!ENTITY inner 'secret text'>");
    std::string xml = GetParam().text;
    xml.replace(xml.find("SECRET"), 6, path("secret"));
    const std::string name = fileWith(xml);

    externalLoads = 0;
    const xmlExternalEntityLoader loader = xmlGetExternalEntityLoader();
    xmlSetExternalEntityLoader(countExternalLoad);
    for (const bool fromFile : {true, false}) {
        LibXmlWrapper document = fromFile ? LibXmlWrapper(name) : parse(xml);
        EXPECT_TRUE(document.isXPathElementExists("/r"));
        EXPECT_THAT(document.getXPathAllElement("//node()"),
                    Not(testing::Contains(HasSubstr("secret text"))));
        EXPECT_THAT(document.getXPathAllOptionalElement("/r", "a", "default"), ElementsAre("default"));
        EXPECT_THAT(memoryImage(document), Not(HasSubstr("secret text")));
    }
    EXPECT_EQ(LibXmlWrapper::UpdateNodeWithValue(name.c_str(), "/r/b", "v"), 0);
    xmlSetExternalEntityLoader(loader);

    EXPECT_EQ(externalLoads, 0);
    EXPECT_THAT(readText(name), Not(HasSubstr("secret text")));
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, ExternalReference,
    testing::Values(
        NamedText{"FileEntity", "<!DOCTYPE r [<!ENTITY e SYSTEM 'file://SECRET'>]><r><a>&e;</a></r>"},
        NamedText{"PathEntity", "<!DOCTYPE r [<!ENTITY e SYSTEM 'SECRET'>]><r><a>&e;</a></r>"},
        NamedText{"NetworkEntity",
                  "<!DOCTYPE r [<!ENTITY e SYSTEM 'http://127.0.0.1/SECRET'>]><r><a>&e;</a></r>"},
        NamedText{"DocumentType", "<!DOCTYPE r SYSTEM 'SECRET'><r><a>&inner;</a></r>"},
        NamedText{"ParameterEntity", "<!DOCTYPE r [<!ENTITY % p SYSTEM 'SECRET'> %p;]><r><a/></r>"},
        NamedText{"Inclusion", "<r xmlns:xi='http://www.w3.org/2001/XInclude'>"
                               "<a><xi:include href='SECRET' parse='text'/></a></r>"}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

struct EntityFlood {
    const char *name;
    std::string before;
    std::string after;
};

class FloodOfReferences : public testing::TestWithParam<EntityFlood> {};

TEST_P(FloodOfReferences, GivesAQueryNoMoreThanTheParsersLimitForOneText) {
    const std::string declared = "<!DOCTYPE r [<!ENTITY e '" + repeated(4'900'000, "x") + "'>]>";
    const LibXmlWrapper document =
        parse(declared + GetParam().before + repeated(300'000, "&e;") + GetParam().after);
    const auto start = Clock::now();
    std::size_t taken = 0;
    for (const std::string &text : document.getXPathAllOptionalElement("/r/h", "a", ""))
        taken += text.size();
    for (const std::string &text : document.getPropertyValue("/r/h", "k"))
        taken += text.size();
    EXPECT_LE(taken, textLimit);
    EXPECT_GE(taken, textLimit / 2);
    EXPECT_LT(Clock::now() - start, linearTime);
}

INSTANTIATE_TEST_SUITE_P(Places, FloodOfReferences,
                         testing::Values(EntityFlood{"Text", "<r><h><a>", "</a></h></r>"},
                                         EntityFlood{"Attribute", "<r><h k='", "'/></r>"}),
                         [](const auto &caseInfo) { return caseInfo.param.name; });

// Many lines, and letters that are no ASCII: the parser takes it in pieces.
TEST(LibXmlWrapperBigDocument, IsReadFromABufferWithOneTextOfAnyLength) {
    std::string text;
    while (text.size() <= textLimit)
        text += "a line of it \xc3\xbc\n";
    EXPECT_EQ(parse("<r><a>" + text + "</a></r>").getXPathElement("/r/a"), text);
}

TEST(LibXmlWrapperBigDocument, IsNoDocumentInAFileWithATextBeyondTheLimit) {
    const std::string text(textLimit + 1, 'x');
    for (const std::string &xml : {"<r><a>" + text + "</a></r>", "<r k='&lt;" + text + "'><a>b</a></r>"}) {
        writeText("/tmp/big.xml", xml);
        const std::string told = standardErrorOf([] {
            const LibXmlWrapper document("/tmp/big.xml");
            EXPECT_EQ(document.getXPathElement("/r/a"), "");
            EXPECT_TRUE(document.isWhole());
        });
        EXPECT_EQ(told.substr(0, told.find('\n') + 1), "Error: unable to parse file \"/tmp/big.xml\"\n");
    }
}

// On such a document libxml2 spends the square of its length, or more: minutes, or for ever.

struct Explosion {
    const char *name;
    std::string (*text)();
};

// One piece for each number.
template <typename Piece>
std::string numbered(int count, Piece piece) {
    std::string text;
    for (int i = 0; i < count; ++i)
        text += piece(std::to_string(i));
    return text;
}

std::string withSubset(const std::string &subset, const std::string &root = "<r/>") {
    return "<!DOCTYPE r [" + subset + "]>" + root;
}

// Each refers ten times to the one before it.
std::string nestedParameterEntities(int levels) {
    return "<!ENTITY % p0 ' '>" + numbered(levels, [](const std::string &number) {
               return "<!ENTITY % p" + std::to_string(std::stoi(number) + 1) + " '" +
                      repeated(10, "&#37;p" + number + ";") + "'>";
           });
}

std::string encoded(const std::string &ascii, std::size_t bytesBefore, std::size_t bytesAfter) {
    std::string text = bytesBefore == 0 ? "\xff\xfe" : "\xfe\xff";
    for (const char character : ascii)
        text += std::string(bytesBefore, '\0') + character + std::string(bytesAfter, '\0');
    return text;
}

std::string attributes(int count) {
    return "<r" + numbered(count, [](const auto &n) { return " a" + n + "=''"; }) + "/>";
}

std::string namespaces(int count, const std::string &content = "") {
    return "<r" + numbered(count, [](const auto &n) { return " xmlns:a" + n + "='u'"; }) + ">" + content +
           "</r>";
}

class ExplosiveDocument : public XmlFile, public testing::WithParamInterface<Explosion> {};

TEST_P(ExplosiveDocument, IsRefusedLikeAMalformedOne) {
    const std::string text = GetParam().text();
    const std::string name = fileWith(text);
    const auto start = Clock::now();
    EXPECT_EQ(standardErrorOf([&] { EXPECT_FALSE(parse(text).isXPathElementExists("/*")); }), "");
    EXPECT_EQ(standardErrorOf([&] { EXPECT_FALSE(LibXmlWrapper(name).isXPathElementExists("/*")); }),
              parseError(name));
    EXPECT_LT(Clock::now() - start, linearTime);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, ExplosiveDocument,
    testing::Values(
        Explosion{"Attributes", [] { return attributes(200'000); }},
        Explosion{"AttributesInUtf16", [] { return encoded(attributes(200'000), 0, 1); }},
        Explosion{"AttributesInUtf16BigEndian", [] { return encoded(attributes(200'000), 1, 0); }},
        Explosion{"AttributesInAnEntity",
                  [] {
                      std::string element = attributes(100'000);
                      std::replace(element.begin(), element.end(), '\'', '"');
                      return withSubset("<!ENTITY e '" + element + "'>", "<r>&e;</r>");
                  }},
        Explosion{"Namespaces", [] { return namespaces(100'000); }},
        Explosion{"NamespacesInScope", [] { return namespaces(5'000, repeated(1'000'000, "<a/>")); }},
        Explosion{"Names",
                  [] {
                      return "<r>" + numbered(1'000'000, [](const auto &n) { return "<e" + n + "/>"; }) +
                             "</r>";
                  }},
        Explosion{"Identifiers",
                  [] {
                      return "<r>" +
                             numbered(500'000, [](const auto &n) { return "<e xml:id='i" + n + "'/>"; }) +
                             "</r>";
                  }},
        Explosion{"DeclaredAttributes",
                  [] {
                      return withSubset(
                          "<!ATTLIST b " +
                              numbered(5'000, [](const auto &n) { return "a" + n + " CDATA '' "; }) + ">",
                          "<r>" + repeated(100'000, "<b/>") + "</r>");
                  }},
        Explosion{"ListOfValues",
                  [] {
                      return withSubset("<!ATTLIST r a (v" +
                                        numbered(300'000, [](const auto &n) { return "|v" + n; }) +
                                        ") #IMPLIED>");
                  }},
        Explosion{"ListOfNotations",
                  [] {
                      return withSubset("<!ATTLIST r a NOTATION (v" +
                                        numbered(300'000, [](const auto &n) { return "|v" + n; }) +
                                        ") #IMPLIED>");
                  }},
        Explosion{"ContentModel",
                  [] {
                      return withSubset("<!ELEMENT r (v" +
                                        numbered(1'000'000, [](const auto &n) { return "|v" + n; }) + ")>");
                  }},
        Explosion{"NestedParameterEntities",
                  [] { return withSubset(nestedParameterEntities(38) + "%p38;"); }},
        Explosion{"LongParameterEntity",
                  [] {
                      return withSubset("<!ENTITY % p '" + std::string(1'000'000, ' ') + "'>" +
                                        repeated(300'000, "%p;"));
                  }},
        Explosion{"ListOfValuesInAParameterEntity",
                  [] {
                      return withSubset("<!ENTITY % p '<!ATTLIST r a (v" +
                                        numbered(300'000, [](const auto &n) { return "|v" + n; }) +
                                        ") #IMPLIED>'>%p;");
                  }},
        Explosion{
            "MoreThanAReplyMayHave",
            [] { return "<r>" + repeated(33, "<!--" + std::string(4'200'000, 'x') + "-->") + "</r>"; }}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

class DocumentWithinTheBounds : public XmlFile, public testing::WithParamInterface<Explosion> {};

TEST_P(DocumentWithinTheBounds, IsRead) {
    const std::string text = GetParam().text();
    EXPECT_TRUE(parse(text).isXPathElementExists("/r"));
    EXPECT_TRUE(LibXmlWrapper(fileWith(text)).isXPathElementExists("/r"));
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, DocumentWithinTheBounds,
    testing::Values(
        Explosion{"Attributes", [] { return "<r>" + repeated(1'000, attributes(90)) + "</r>"; }},
        Explosion{"AttributesInUtf16", [] { return encoded(attributes(90), 0, 1); }},
        Explosion{"Namespaces", [] { return namespaces(250, repeated(1'000, "<a/>")); }},
        Explosion{
            "Names",
            [] { return "<r>" + numbered(120'000, [](const auto &n) { return "<e" + n + "/>"; }) + "</r>"; }},
        Explosion{"Identifiers",
                  [] {
                      return "<r>" +
                             numbered(120'000, [](const auto &n) { return "<e xml:id='i" + n + "'/>"; }) +
                             "</r>";
                  }},
        Explosion{"DeclaredAttributes",
                  [] {
                      return withSubset("<!ATTLIST r " +
                                        numbered(32, [](const auto &n) { return "a" + n + " CDATA '' "; }) +
                                        ">");
                  }},
        Explosion{"ListOfValues",
                  [] {
                      return withSubset("<!ATTLIST r a (v" +
                                        numbered(5'000, [](const auto &n) { return "|v" + n; }) +
                                        ") #IMPLIED>");
                  }},
        Explosion{
            "ParameterEntities",
            [] { return withSubset(nestedParameterEntities(2) + "<!ENTITY % q '<!ELEMENT r ANY>'>%q;"); }},
        Explosion{"MarkupInAnEntity",
                  [] { return withSubset("<!ENTITY e '" + repeated(5'000, "<a/>") + "'>", "<r>&e;</r>"); }},
        Explosion{"BigElementBehindSmallOnes",
                  [] {
                      return "<r>" + repeated(100'000, "<a b='c'/>") + "<a b='" +
                             std::string(9'000'000, 'x') + "'/></r>";
                  }}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

TEST(LibXmlWrapperBigDocument, LimitsEntitiesPerQueryAndKeepsOneEntryPerNode) {
    const std::string entity(9'000, 'x');
    const LibXmlWrapper document = parse("<!DOCTYPE r [<!ENTITY e '" + entity + "'>]><r>" +
                                         repeated(2'000, "<h><a>v&e;w</a></h>") + "</r>");
    const std::vector<std::string> first = document.getXPathAllOptionalElement("/r/h", "a", "default");
    ASSERT_EQ(first.size(), 2'000U);
    EXPECT_EQ(first.front(), "v" + entity + "w");
    EXPECT_EQ(first.back(), "vw");
    EXPECT_EQ(document.getXPathAllOptionalElement("/r/h", "a", "default"), first);
    const auto several = document.getXPathAllOptionalElements("/r/h", {"a", "a"}, "default");
    ASSERT_EQ(several.size(), first.size());
    for (std::size_t i = 0; i < first.size(); ++i)
        ASSERT_THAT(several[i], ElementsAre(first[i], first[i]));
}

TEST(LibXmlWrapperBigDocument, JoinsMillionsOfTextsInLinearTime) {
    const LibXmlWrapper document = parse("<r><h><a>" + repeated(3'000'000, "x<!---->") + "</a></h></r>");
    const auto start = Clock::now();
    const std::vector<std::string> texts = document.getXPathAllOptionalElement("/r/h", "a", "");
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(10));
    ASSERT_EQ(texts.size(), 1U);
    EXPECT_TRUE(texts.front() == std::string(3'000'000, 'x'));
}

TEST(LibXmlWrapperBigDocument, WalksNoListOfEntitiesForAReferenceOfTheChildsName) {
    std::string xml = "<!DOCTYPE r [<!ENTITY a 'v'>";
    for (int i = 0; i < 50'000; ++i)
        xml += "<!ENTITY e" + std::to_string(i) + " ''>";
    const LibXmlWrapper document = parse(xml + "]><r>" + repeated(50'000, "<h>&a;</h>") + "</r>");
    const auto start = Clock::now();
    EXPECT_EQ(document.getXPathAllOptionalElement("/r/h", "a", "default"),
              std::vector<std::string>(50'000, "default"));
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));
}

TEST_F(XmlFile, AnswersForAHundredThousandNodesInLinearTime) {
    constexpr std::size_t count = 100'000;
    const std::string name = fileWith("<r>" + repeated(count, "<h k='v'><a>t</a>\n<b>u</b></h>\n") + "</r>");
    const auto start = Clock::now();
    LibXmlWrapper document(name);
    EXPECT_EQ(document.getXPathAllElement("/r/h/a"), std::vector<std::string>(count, "t"));
    EXPECT_EQ(document.getXPathAllOptionalElement("/r/h", "b", ""), std::vector<std::string>(count, "u"));
    EXPECT_EQ(document.getPropertyValue("/r/h", "k"), std::vector<std::string>(count, "v"));
    standardOutputOf([&] { EXPECT_EQ(document.getAllElements("/r/h").size(), count); });
    EXPECT_THAT(memoryImage(document), HasSubstr("<b>u</b>"));
    EXPECT_EQ(LibXmlWrapper::UpdateNodeWithValue(name.c_str(), "/r/h/a", "w"), 0);
    EXPECT_EQ(LibXmlWrapper(name).getXPathAllElement("/r/h/a"), std::vector<std::string>(count, "w"));
    EXPECT_LT(Clock::now() - start, linearTime);
}

TEST_F(XmlFile, TakesFortyMegabytes) {
    const std::string xml =
        "<r>" + repeated(10, "<a>" + std::string(4'000'000, 'x') + "</a>") + "<b>end</b></r>";
    const auto start = Clock::now();
    EXPECT_EQ(parse(xml).getXPathElement("/r/b"), "end");
    EXPECT_EQ(LibXmlWrapper(fileWith(xml)).getXPathAllElement("/r/a").size(), 10U);
    EXPECT_LT(Clock::now() - start, linearTime);
}

// The parser refuses such a text in a file and takes it in a buffer.
TEST_F(XmlFile, TakesOneTextOfFortyMegabytesWholeOrNotAtAll) {
    const std::string text = repeated(40'000'000, "x");
    const std::string xml = "<r><a>" + text + "</a></r>";
    const std::string name = fileWith(xml);
    const auto start = Clock::now();
    const auto expectWholeOrNothing = [&](const LibXmlWrapper &document) {
        const bool parsed = document.isXPathElementExists("/r/a");
        EXPECT_TRUE(document.getXPathElement("/r/a") == (parsed ? text : ""));
    };
    expectWholeOrNothing(parse(xml));
    standardErrorOf([&] { expectWholeOrNothing(LibXmlWrapper(name)); });
    EXPECT_LT(Clock::now() - start, linearTime);
}

TEST(LibXmlWrapperBigDocument, DumpsOneBigElementInLinearTime) {
    const std::string markup = "<h>" + repeated(1'000'000, "<a k=\"v\">t</a>") + "</h>";
    const LibXmlWrapper document = parse("<r>" + markup + "</r>");
    const auto start = Clock::now();
    standardOutputOf([&] {
        const std::vector<std::string> elements = document.getAllElements("/r/h");
        EXPECT_TRUE(elements == std::vector<std::string>{markup});
    });
    EXPECT_LT(Clock::now() - start, linearTime);
}

// The text of a node

struct NodeText {
    const char *name;
    std::string element;
    std::string text;
    // As a child by name, with "default" as the default.
    std::string joined;
};

class TextOfAnElement : public testing::TestWithParam<NodeText> {
protected:
    const LibXmlWrapper m_document = parse("<!DOCTYPE r [<!ENTITY v '1.0'><!ENTITY w '&v;.'><!ENTITY none ''>"
                                           "<!ENTITY markup 'x<b>y</b>z'>]><r>" +
                                           GetParam().element + "</r>");
};

TEST_P(TextOfAnElement, IsThatDirectlyAtItsStart) {
    EXPECT_EQ(m_document.getXPathElement("/r/a"), GetParam().text);
    EXPECT_EQ(m_document.getXPathStringValue("/r/a"), GetParam().text);
    EXPECT_THAT(m_document.getXPathAllElement("/r/a"), ElementsAre(GetParam().text));
}

TEST_P(TextOfAnElement, IsJoinedWithEntitiesSubstitutedWhenItIsAnOptionalChild) {
    EXPECT_THAT(m_document.getXPathAllOptionalElement("/r", "a", "default"), ElementsAre(GetParam().joined));
}

INSTANTIATE_TEST_SUITE_P(
    Elements, TextOfAnElement,
    testing::Values(NodeText{"Plain", "<a>text</a>", "text", "text"},
                    NodeText{"NotTrimmed", "<a> \n text\t</a>", " \n text\t", " \n text\t"},
                    NodeText{"Blank", "<a> </a>", " ", " "}, NodeText{"EmptyElement", "<a/>", "", "default"},
                    NodeText{"NoContent", "<a></a>", "", "default"},
                    NodeText{"Escaped", "<a>1 &lt; 2 &amp;&#38; &#x33;</a>", "1 < 2 && 3", "1 < 2 && 3"},
                    NodeText{"MarkedSection", "<a><![CDATA[<b>&]]></a>", "<b>&", "<b>&"},
                    NodeText{"EmptyMarkedSection", "<a><![CDATA[]]></a>", "", ""},
                    NodeText{"TextThenMarkedSection", "<a>x<![CDATA[y]]></a>", "x", "xy"},
                    NodeText{"TextThenElement", "<a>x<b>y</b>z</a>", "x", "xz"},
                    NodeText{"ElementFirst", "<a><b>y</b>z</a>", "", "z"},
                    NodeText{"ElementOnly", "<a><b>y</b></a>", "", "default"},
                    NodeText{"CommentFirst", "<a><!-- c -->z</a>", "", "z"},
                    NodeText{"CommentOnly", "<a><!-- c --></a>", "", "default"},
                    NodeText{"InstructionFirst", "<a><?p i?>z</a>", "", "z"},
                    NodeText{"EntityFirst", "<a>&v;z</a>", "", "1.0z"},
                    NodeText{"EntityLater", "<a>x&v;z</a>", "x", "x1.0z"},
                    NodeText{"NestedEntity", "<a>&w;&w;</a>", "", "1.0.1.0."},
                    NodeText{"EmptyEntity", "<a>&none;</a>", "", "default"},
                    NodeText{"EntityWithMarkup", "<a>&markup;</a>", "", "xz"},
                    NodeText{"Utf8", "<a>gr\xc3\xbc\xc3\x9f</a>", "gr\xc3\xbc\xc3\x9f",
                             "gr\xc3\xbc\xc3\x9f"}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

TEST(LibXmlWrapperText, IsReadInTheEncodingOfTheDocument) {
    EXPECT_EQ(parse("<?xml version='1.0' encoding='ISO-8859-1'?><a>\xfc</a>").getXPathElement("/a"),
              "\xc3\xbc");
}

TEST(LibXmlWrapperText, OfAnAttributeIsItsValue) {
    EXPECT_EQ(parse("<a k='v'/>").getXPathElement("/a/@k"), "v");
}

TEST(LibXmlWrapperText, OfNodesWithoutChildrenIsEmpty) {
    EXPECT_THAT(parse("<a>t<!--c--><?p i?></a>").getXPathAllElement("/a/node()"), ElementsAre("", "", ""));
}

TEST(LibXmlWrapperText, OfTheDocumentIsEmpty) {
    EXPECT_THAT(parse("<a>t</a>").getXPathAllElement("/"), ElementsAre(""));
}

// Queries

class Queries : public testing::Test {
protected:
    const LibXmlWrapper m_document = parse("<r xmlns:p='urn:p'>"
                                           "<a k='1'><n>first</n></a>"
                                           "<a><m>other</m></a>"
                                           "<a k=''><n>third</n><n>again</n></a>"
                                           "<one k='v &amp; w' p:q='z'>text</one>"
                                           "</r>");
};

TEST_F(Queries, GiveNoTextForNoneOrSeveralNodes) {
    EXPECT_EQ(m_document.getXPathElement("/r/none"), "");
    EXPECT_EQ(m_document.getXPathElement("/r/a/n"), "");
    EXPECT_EQ(m_document.getXPathStringValue("/r/none"), "");
    EXPECT_EQ(m_document.getXPathStringValue("/r/a/n"), "");
}

TEST_F(Queries, FindANodeToExistOnlyWhenThereIsJustOne) {
    EXPECT_TRUE(m_document.isXPathElementExists("/r/one"));
    EXPECT_TRUE(m_document.isXPathElementExists("/r/one/@k"));
    EXPECT_FALSE(m_document.isXPathElementExists("/r/none"));
    EXPECT_FALSE(m_document.isXPathElementExists("/r/a[n]"));
    EXPECT_FALSE(m_document.isXPathElementExists("/r/a"));
}

TEST_F(Queries, GiveAnAttributeOfTheOneElementThatHasIt) {
    EXPECT_EQ(m_document.getXPathElementAttribute("/r/one", "k"), "v & w");
    EXPECT_EQ(m_document.getXPathElementAttribute("/r/one", "q"), "z");
    EXPECT_EQ(m_document.getXPathElementAttribute("/r/one", "none"), "");
    EXPECT_EQ(m_document.getXPathElementAttribute("/r/none", "k"), "");
    EXPECT_EQ(m_document.getXPathElementAttribute("/r/a[@k]", "k"), "");
}

TEST_F(Queries, GiveNoAttributeOfANodeThatIsNoElement) {
    EXPECT_EQ(m_document.getXPathElementAttribute("/r/one/text()", "k"), "");
    EXPECT_EQ(m_document.getXPathElementAttribute("/r/one/@k", "k"), "");
    EXPECT_EQ(m_document.getXPathElementAttribute("/", "k"), "");
    EXPECT_THAT(m_document.getPropertyValue("/ | /r/one/text() | /r/one/@k", "k"), IsEmpty());
}

TEST_F(Queries, GiveTheTextsOfAllNodesInDocumentOrder) {
    EXPECT_THAT(m_document.getXPathAllElement("/r/a/n"), ElementsAre("first", "third", "again"));
    EXPECT_THAT(m_document.getXPathAllElement("/r/one | /r/a/n"),
                ElementsAre("first", "third", "again", "text"));
    EXPECT_THAT(m_document.getXPathAllElement("/r/one/preceding-sibling::a/n"),
                ElementsAre("first", "third", "again"));
    EXPECT_THAT(m_document.getXPathAllElement("/r/none"), IsEmpty());
}

TEST_F(Queries, GiveTheFirstOptionalChildOfEveryNodeOrTheDefault) {
    EXPECT_THAT(m_document.getXPathAllOptionalElement("/r/a", "n", "default"),
                ElementsAre("first", "default", "third"));
    EXPECT_THAT(m_document.getXPathAllOptionalElement("/r/none", "n", "default"), IsEmpty());
}

TEST_F(Queries, GiveSeveralOptionalChildrenOfEveryNode) {
    EXPECT_THAT(m_document.getXPathAllOptionalElements("/r/a", {"n", "none", "n"}, "default"),
                ElementsAre(ElementsAre("first", "default", "first"),
                            ElementsAre("default", "default", "default"),
                            ElementsAre("third", "default", "third")));
    EXPECT_THAT(m_document.getXPathAllOptionalElements("/r/a", {}, "default"),
                ElementsAre(IsEmpty(), IsEmpty(), IsEmpty()));
    EXPECT_THAT(m_document.getXPathAllOptionalElements("/r/none", {"n"}, "default"), IsEmpty());
}

TEST_F(Queries, TakeNoGrandchildForAnOptionalChild) {
    EXPECT_THAT(m_document.getXPathAllOptionalElement("/r", "n", "default"), ElementsAre("default"));
}

TEST_F(Queries, GiveTheDefaultForNodesThatHaveNoElementsBelow) {
    EXPECT_THAT(m_document.getXPathAllOptionalElement("/r/one/@k | /r/one/text()", "text", "default"),
                ElementsAre("default", "default"));
}

TEST_F(Queries, SkipElementsWithoutTheProperty) {
    EXPECT_THAT(m_document.getPropertyValue("/r/a", "k"), ElementsAre("1", ""));
    EXPECT_THAT(m_document.getPropertyValue("/r/none", "k"), IsEmpty());
}

TEST_F(Queries, GiveTheMarkupOfEveryNodeAndPrintIt) {
    std::vector<std::string> elements;
    const std::string printed =
        standardOutputOf([&] { elements = m_document.getAllElements("/r/a[n] | /r/one/text()"); });
    EXPECT_THAT(elements,
                ElementsAre("<a k=\"1\"><n>first</n></a>", "<a k=\"\"><n>third</n><n>again</n></a>", "text"));
    EXPECT_EQ(printed, "value is === >>> <a k=\"1\"><n>first</n></a>\n"
                       "value is === >>> <a k=\"\"><n>third</n><n>again</n></a>\n"
                       "value is === >>> text\n");
}

TEST_F(Queries, PrintPercentSignsInMarkupAsTheyAre) {
    EXPECT_EQ(standardOutputOf([] { parse("<a>100%s</a>").getAllElements("/a"); }),
              "value is === >>> <a>100%s</a>\n");
}

TEST_F(Queries, GiveMarkupAsItStandsAndUnformatted) {
    const LibXmlWrapper document = parse("<r>\n <a>\n  <b/>&lt;&amp;<c></c></a></r>");
    standardOutputOf([&] {
        EXPECT_THAT(document.getAllElements("/r/a"), ElementsAre("<a>\n  <b/>&lt;&amp;<c/></a>"));
        EXPECT_THAT(parse("<r><a><b/></a></r>").getAllElements("/r/a"), ElementsAre("<a><b/></a>"));
    });
}

TEST_F(Queries, GiveMarkupThatParsesAsADocumentOfItsOwn) {
    standardOutputOf([&] {
        const std::vector<std::string> elements = m_document.getAllElements("/r/a[1]");
        ASSERT_EQ(elements.size(), 1U);
        EXPECT_EQ(parse(elements.front()).getXPathElement("/a/n"), "first");
    });
}

TEST_F(Queries, SubstituteEntitiesInAttributes) {
    const LibXmlWrapper document =
        parse("<!DOCTYPE r [<!ENTITY v '1.0'><!ENTITY none ''>]><r k='a&v;b' e='&none;'/>");
    EXPECT_EQ(document.getXPathElementAttribute("/r", "k"), "a1.0b");
    EXPECT_THAT(document.getPropertyValue("/r", "k"), ElementsAre("a1.0b"));
    EXPECT_THAT(document.getPropertyValue("/r", "e"), ElementsAre(""));
}

TEST_F(Queries, GiveTheDefaultThatTheDocumentTypeDeclares) {
    LibXmlWrapper document = parse("<!DOCTYPE r [<!ATTLIST a k CDATA 'declared'>]><r><a/></r>");
    ASSERT_TRUE(document.AddNewElementNode("/r", "a", "added"));
    EXPECT_THAT(document.getPropertyValue("/r/a", "k"), ElementsAre("declared", "declared"));
}

TEST_F(Queries, DoNotTouchStandardOutput) {
    EXPECT_EQ(standardOutputOf([&] {
                  m_document.getXPathElement("/r/one");
                  m_document.getXPathAllElement("/r/a");
                  m_document.getPropertyValue("/r/a", "k");
              }),
              "");
}

TEST_F(Queries, TakeNamespaceNodesAsNodesWithoutContent) {
    const std::string xpath = "/r/one/namespace::*";
    EXPECT_THAT(m_document.getXPathAllElement(xpath), ElementsAre("", ""));
    EXPECT_THAT(m_document.getXPathAllOptionalElement(xpath, "n", "default"),
                ElementsAre("default", "default"));
    EXPECT_THAT(m_document.getPropertyValue(xpath, "k"), IsEmpty());
    EXPECT_TRUE(m_document.isXPathElementExists("/r/one/namespace::p"));
    EXPECT_EQ(m_document.getXPathElement("/r/one/namespace::p"), "");
    EXPECT_EQ(m_document.getXPathElementAttribute("/r/one/namespace::p", "k"), "");
    standardOutputOf([&] { EXPECT_THAT(m_document.getAllElements(xpath), ElementsAre("", "")); });
}

// Flags and numbers

struct FlagText {
    const char *name;
    const char *text;
    bool value;
};

class Flag : public testing::TestWithParam<FlagText> {};

TEST_P(Flag, IsTrueForTwoSpellingsOnly) {
    EXPECT_EQ(parse("<r>" + std::string(GetParam().text) + "</r>").getXPathBoolValue("/r"), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(Texts, Flag,
                         testing::Values(FlagText{"LowerCase", "true", true},
                                         FlagText{"UpperCase", "TRUE", true},
                                         FlagText{"Capitalised", "True", false}, FlagText{"One", "1", false},
                                         FlagText{"False", "false", false}, FlagText{"Yes", "YES", false},
                                         FlagText{"LeadingBlank", " true", false},
                                         FlagText{"TrailingBlank", "true ", false},
                                         FlagText{"Prefix", "trues", false}, FlagText{"Blank", " ", false}),
                         [](const auto &caseInfo) { return caseInfo.param.name; });

struct NumberText {
    const char *name;
    const char *text;
    unsigned long value;
};

class Number : public testing::TestWithParam<NumberText> {};

TEST_P(Number, IsTheDecimalOneAtTheStart) {
    errno = ENOENT;
    EXPECT_EQ(parse("<r>" + std::string(GetParam().text) + "</r>").getXPathUnsignedLongValue("/r"),
              GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, Number,
    testing::Values(NumberText{"Digits", "42", 42}, NumberText{"TrailingText", "42abc", 42},
                    NumberText{"LeadingBlank", " \n7", 7}, NumberText{"LeadingZeroIsNotOctal", "010", 10},
                    NumberText{"HexadecimalEndsAfterZero", "0x10", 0}, NumberText{"NoDigits", "abc", 0},
                    NumberText{"Fraction", "3.9", 3}, NumberText{"Highest", "18446744073709551615", ~0UL}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

TEST(NumberThatDoesNotFit, ThrowsTheStandardException) {
    for (const char *text : {"99999999999999999999", "18446744073709551616", "-99999999999999999999"})
        EXPECT_THROW(parse("<r>" + std::string(text) + "</r>").getXPathUnsignedLongValue("/r"),
                     std::exception)
            << text;
}

struct Document {
    const char *name;
    const char *xml;
};

class MissingValue : public testing::TestWithParam<Document> {};

TEST_P(MissingValue, ThrowsTheStandardException) {
    const LibXmlWrapper document = parse(GetParam().xml);
    EXPECT_THROW(document.getXPathBoolValue("/r/a"), std::exception);
    EXPECT_THROW(document.getXPathUnsignedLongValue("/r/a"), std::exception);
}

INSTANTIATE_TEST_SUITE_P(Documents, MissingValue,
                         testing::Values(Document{"NoElement", "<r/>"},
                                         Document{"EmptyElement", "<r><a/></r>"},
                                         Document{"TwoElements", "<r><a>1</a><a>1</a></r>"},
                                         Document{"NoDocument", ""}),
                         [](const auto &caseInfo) { return caseInfo.param.name; });

// Messages of queries

struct Evaluation {
    const char *name;
    const char *xpath;
    bool toldByQueries;
    const char *toldByGetAllElements;
};

class Diagnostics : public testing::TestWithParam<Evaluation> {
protected:
    static void expectOn(LibXmlWrapper &document) {
        const std::string xpath = GetParam().xpath;
        const std::string told = GetParam().toldByQueries ? evaluationError(xpath) : "";
        EXPECT_EQ(standardErrorOf([&] { EXPECT_EQ(document.getXPathElement(xpath), ""); }), told);
        EXPECT_EQ(standardErrorOf([&] { EXPECT_EQ(document.getXPathStringValue(xpath), ""); }), told);
        EXPECT_EQ(standardErrorOf([&] { EXPECT_FALSE(document.isXPathElementExists(xpath)); }), told);
        EXPECT_EQ(standardErrorOf([&] { EXPECT_EQ(document.getXPathElementAttribute(xpath, "k"), ""); }),
                  told);
        EXPECT_EQ(standardErrorOf([&] { EXPECT_THROW(document.getXPathBoolValue(xpath), std::exception); }),
                  told);
        EXPECT_EQ(
            standardErrorOf([&] { EXPECT_THROW(document.getXPathUnsignedLongValue(xpath), std::exception); }),
            told);
        EXPECT_EQ(standardErrorOf([&] { EXPECT_THAT(document.getXPathAllElement(xpath), IsEmpty()); }), told);
        EXPECT_EQ(standardErrorOf(
                      [&] { EXPECT_THAT(document.getXPathAllOptionalElement(xpath, "a", "d"), IsEmpty()); }),
                  told);
        EXPECT_EQ(standardErrorOf([&] { EXPECT_THAT(document.getPropertyValue(xpath, "k"), IsEmpty()); }),
                  told);
        EXPECT_EQ(standardErrorOf([&] { EXPECT_FALSE(document.AddNewElementNode(xpath, "n", "c")); }), told);
        EXPECT_EQ(standardErrorOf([&] { EXPECT_FALSE(document.setXPathElementAttribute(xpath, "k", "v")); }),
                  told);
        EXPECT_EQ(standardErrorOf([&] {
                      EXPECT_EQ(
                          standardOutputOf([&] { EXPECT_THAT(document.getAllElements(xpath), IsEmpty()); }),
                          "");
                  }),
                  GetParam().toldByGetAllElements);
    }
};

TEST_P(Diagnostics, AreTheSameForADocument) {
    LibXmlWrapper document = parse("<r><a>text</a></r>");
    const std::string before = memoryImage(document);
    expectOn(document);
    EXPECT_EQ(memoryImage(document), before);
}

TEST_P(Diagnostics, AreTheSameForNoDocument) {
    LibXmlWrapper document = parse("not XML");
    expectOn(document);
    EXPECT_EQ(memoryImage(document), "");
}

constexpr auto noResult = "No result\n";
constexpr auto noEvaluation = "Error in xmlXPathEvalExpression\n";

INSTANTIATE_TEST_SUITE_P(
    Expressions, Diagnostics,
    testing::Values(Evaluation{"NothingSelected", "/r/none", false, noResult},
                    Evaluation{"NothingSelectedDeep", "/x/y/z", false, noResult},
                    Evaluation{"NothingSelectedAnywhere", "//none", false, noResult},
                    Evaluation{"NothingSelectedByAPredicate", "/r/none[1]/b[@k='v']", false, noResult},
                    Evaluation{"NothingAboveTheDocument", "/..", false, noResult},
                    Evaluation{"NoAttributeOfNothing", "/none/@k", false, noResult},
                    Evaluation{"NoNamespaceOfNothing", "/none/namespace::*", false, noResult},
                    Evaluation{"NoSiblingOfNothing", "/none/following-sibling::a", false, noResult},
                    Evaluation{"NoUnion", "/r/none | /none/@k", false, noResult},
                    Evaluation{"NoSuchIdentifier", "id('none')", false, noResult},
                    Evaluation{"Number", "1 + 1", true, noResult},
                    Evaluation{"Count", "count(/r/a)", true, noResult},
                    Evaluation{"Text", "'text'", true, noResult},
                    Evaluation{"TextOfANode", "string(/r/a)", true, noResult},
                    Evaluation{"Boolean", "boolean(/r/a)", true, noResult},
                    Evaluation{"Language", "lang('en')", true, noResult},
                    Evaluation{"PercentSign", "'%s%n'", true, noResult},
                    Evaluation{"Malformed", "/r/a[", false, noEvaluation},
                    Evaluation{"TrailingSlash", "/r/", false, noEvaluation},
                    Evaluation{"Empty", "", false, noEvaluation},
                    Evaluation{"UnknownFunction", "unknown(/r)", false, noEvaluation},
                    Evaluation{"UnknownVariable", "$unknown", false, noEvaluation},
                    Evaluation{"UnknownPrefix", "unknown:a", false, noEvaluation},
                    Evaluation{"NotUtf8", "/r/\xff\xfe", false, noEvaluation}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

// libxml2's memory, of which one XPath context cannot be had.
xmlMallocFunc realMalloc = nullptr;

void *mallocWithoutContexts(std::size_t size) {
    return size == sizeof(xmlXPathContext) ? nullptr : realMalloc(size);
}

class NoContext : public XmlFile {
protected:
    void SetUp() override {
        XmlFile::SetUp();
        xmlMemGet(&m_free, &realMalloc, &m_realloc, &m_duplicate);
        xmlMemSetup(m_free, mallocWithoutContexts, m_realloc, m_duplicate);
    }
    void TearDown() override {
        xmlMemSetup(m_free, realMalloc, m_realloc, m_duplicate);
        XmlFile::TearDown();
    }

    static constexpr auto message = "Error: unable to create new XPath context\n";

private:
    xmlFreeFunc m_free = nullptr;
    xmlReallocFunc m_realloc = nullptr;
    xmlStrdupFunc m_duplicate = nullptr;
};

TEST_F(NoContext, IsToldByQueriesThatGiveNothing) {
    const LibXmlWrapper document = parse("<r>text</r>");
    EXPECT_EQ(standardErrorOf([&] { EXPECT_EQ(document.getXPathElement("/r"), ""); }), message);
    EXPECT_EQ(standardErrorOf([&] { EXPECT_THAT(document.getXPathAllElement("/r"), IsEmpty()); }), message);
    EXPECT_EQ(standardErrorOf([&] { EXPECT_THAT(document.getAllElements("/r"), IsEmpty()); }), message);
}

TEST_F(NoContext, FailsAnUpdateAndLeavesTheFile) {
    const std::string name = fileWith("<r>text</r>");
    EXPECT_EQ(
        standardErrorOf([&] { EXPECT_EQ(LibXmlWrapper::UpdateNodeWithValue(name.c_str(), "/r", "v"), -1); }),
        message);
    EXPECT_EQ(readText(name), "<r>text</r>");
}

// Edits and saving

using Edits = XmlFile;

TEST_F(Edits, AppendAChildToTheRootAndSaveAtOnce) {
    LibXmlWrapper document(fileWith("<r><a>1</a></r>"));
    const std::string saved = std::string(declaration) + "<r>\n  <a>1</a>\n  <b>text</b>\n</r>\n";
    EXPECT_EQ(document.AddNewNode("b", "text"), static_cast<int>(saved.size()));
    EXPECT_EQ(readText(path()), saved);
    EXPECT_EQ(document.getXPathElement("/r/b"), "text");
}

TEST_F(Edits, AppendAnotherChildOfTheSameName) {
    LibXmlWrapper document(fileWith("<r><a>1</a><a>2</a></r>"));
    EXPECT_GT(document.AddNewNode("a", "3"), 0);
    EXPECT_THAT(LibXmlWrapper(path()).getXPathAllElement("/r/a"), ElementsAre("1", "2", "3"));
}

TEST_F(Edits, AppendAnEmptyElementForAnEmptyText) {
    LibXmlWrapper document(fileWith("<r/>"));
    EXPECT_GT(document.AddNewNode("b", ""), 0);
    EXPECT_TRUE(document.AddNewElementNode("/r", "c", ""));
    EXPECT_EQ(memoryImage(document), std::string(declaration) + "<r>\n  <b/>\n  <c/>\n</r>\n");
}

TEST_F(Edits, SaveEarlierEditsTogetherWithANewNode) {
    LibXmlWrapper document(fileWith("<r><a/></r>"));
    EXPECT_TRUE(document.setXPathElementAttribute("/r/a", "k", "v"));
    EXPECT_GT(document.AddNewNode("b", "text"), 0);
    EXPECT_EQ(LibXmlWrapper(path()).getXPathElementAttribute("/r/a", "k"), "v");
}

TEST_F(Edits, GiveMinusOneWhenTheNewNodeCannotBeSaved) {
    LibXmlWrapper document(fileWith("<r/>"));
    std::filesystem::remove(path());
    std::filesystem::create_directory(path());
    EXPECT_EQ(standardErrorOf([&] { EXPECT_EQ(document.AddNewNode("b", "text"), -1); }), "");
    EXPECT_EQ(document.getXPathElement("/r/b"), "text");
}

TEST_F(Edits, GiveMinusOneAndLeaveTheFileWhenTheDiskIsFull) {
    const std::string text = "<r>" + std::string(100'000, 'x') + "</r>";
    LibXmlWrapper document(fileWith(text));
    {
        const FullDisk full(4096);
        EXPECT_EQ(document.AddNewNode("b", "text"), -1);
        EXPECT_TRUE(document.SaveToFile(path()));
    }
    EXPECT_TRUE(readText(path()) == text);
}

TEST_F(Edits, GiveMinusOneForADocumentThatCameFromNoFile) {
    LibXmlWrapper document = parse("<r/>");
    EXPECT_EQ(standardErrorOf([&] { EXPECT_EQ(document.AddNewNode("b", "text"), -1); }), "");
    EXPECT_EQ(document.getXPathElement("/r/b"), "text");
}

TEST_F(Edits, LeaveTheFileOfNoDocumentAlone) {
    const std::string broken = "<r><a>1</a>";
    LibXmlWrapper document(fileWith(broken));
    EXPECT_EQ(standardErrorOf([&] {
                  EXPECT_EQ(document.AddNewNode("b", "text"), -1);
                  EXPECT_FALSE(document.AddNewElementNode("/r", "b", "text"));
                  EXPECT_FALSE(document.setXPathElementAttribute("/r", "k", "v"));
                  EXPECT_TRUE(document.SaveToFile(path()));
              }),
              "");
    EXPECT_EQ(readText(path()), broken);
}

TEST_F(Edits, DoNotCreateTheFileOfNoDocument) {
    LibXmlWrapper document(path("missing.xml"));
    EXPECT_EQ(document.AddNewNode("b", "text"), -1);
    EXPECT_TRUE(document.SaveToFile(path("missing.xml")));
    EXPECT_FALSE(std::filesystem::exists(path("missing.xml")));
}

TEST_F(Edits, AppendAChildToTheOneElementWithoutSaving) {
    LibXmlWrapper document(fileWith("<r><a/><b/><b/></r>"));
    EXPECT_TRUE(document.AddNewElementNode("/r/a", "n", "text"));
    EXPECT_FALSE(document.AddNewElementNode("/r/b", "n", "text"));
    EXPECT_FALSE(document.AddNewElementNode("/r/none", "n", "text"));
    EXPECT_EQ(document.getXPathElement("/r/a/n"), "text");
    EXPECT_THAT(document.getXPathAllElement("//n"), ElementsAre("text"));
    EXPECT_EQ(readText(path()), "<r><a/><b/><b/></r>");
}

TEST_F(Edits, SetAnAttributeOfTheOneElementWithoutSaving) {
    LibXmlWrapper document(fileWith("<r><a k='1'/><b/><b/></r>"));
    EXPECT_TRUE(document.setXPathElementAttribute("/r/a", "k", "2"));
    EXPECT_TRUE(document.setXPathElementAttribute("/r/a", "l", "3"));
    EXPECT_FALSE(document.setXPathElementAttribute("/r/b", "k", "v"));
    EXPECT_FALSE(document.setXPathElementAttribute("/r/none", "k", "v"));
    EXPECT_EQ(document.getXPathElementAttribute("/r/a", "k"), "2");
    EXPECT_EQ(document.getXPathElementAttribute("/r/a", "l"), "3");
    EXPECT_THAT(document.getPropertyValue("//b", "k"), IsEmpty());
    EXPECT_EQ(readText(path()), "<r><a k='1'/><b/><b/></r>");
}

TEST_F(Edits, SetAttributesWithAPrefixThatIsDeclared) {
    LibXmlWrapper document = parse("<r xmlns:p='urn:p'/>");
    EXPECT_TRUE(document.setXPathElementAttribute("/r", "p:k", "v"));
    EXPECT_EQ(document.getXPathElement("/r/@*[namespace-uri()='urn:p']"), "v");
}

TEST_F(Edits, RefuseNodesThatAreNoElements) {
    LibXmlWrapper document = parse("<r xmlns:p='urn:p' k='v'>text</r>");
    const std::string before = memoryImage(document);
    for (const char *xpath : {"/", "/r/@k", "/r/text()", "/r/namespace::p"}) {
        ASSERT_TRUE(document.isXPathElementExists(xpath)) << xpath;
        EXPECT_FALSE(document.AddNewElementNode(xpath, "n", "text")) << xpath;
        EXPECT_FALSE(document.setXPathElementAttribute(xpath, "k", "w")) << xpath;
    }
    EXPECT_EQ(memoryImage(document), before);
}

TEST_F(Edits, KeepSilentAboutTextThatIsNotUtf8) {
    LibXmlWrapper document = parse("<r/>");
    EXPECT_EQ(standardErrorOf([&] {
                  document.setXPathElementAttribute("/r", "k", "\xff");
                  document.AddNewElementNode("/r", "n", "\xff");
                  memoryImage(document);
                  document.SaveToFile(path());
              }),
              "");
}

TEST_F(Edits, SaveIndentedInUtf8) {
    LibXmlWrapper document = parse("<?xml version='1.0' encoding='ISO-8859-1'?><r><a>\xfc</a><b/></r>");
    const std::string saved = std::string(declaration) + "<r>\n  <a>\xc3\xbc</a>\n  <b/>\n</r>\n";
    std::string image = "what was there before";
    EXPECT_TRUE(document.SaveToMemory(image));
    EXPECT_EQ(image, saved);
    EXPECT_TRUE(document.SaveToFile(path()));
    EXPECT_EQ(readText(path()), saved);
}

TEST_F(Edits, SaveOverALongerFile) {
    writeText(path(), std::string(1'000, 'x'));
    LibXmlWrapper document = parse("<r/>");
    EXPECT_TRUE(document.SaveToFile(path()));
    EXPECT_EQ(readText(path()), std::string(declaration) + "<r/>\n");
}

TEST_F(Edits, SaveToAnUnwritablePathGivesTrueSilently) {
    LibXmlWrapper document = parse("<r/>");
    EXPECT_EQ(standardErrorOf([&] {
                  EXPECT_TRUE(document.SaveToFile(path("missing/document.xml")));
                  EXPECT_TRUE(document.SaveToFile(""));
                  EXPECT_TRUE(document.SaveToFile("/dev/full"));
              }),
              "");
}

TEST_F(Edits, SaveToTheNamedFileAndNotTheOneThatItsPercentSignsWouldName) {
    LibXmlWrapper document = parse("<r/>");
    EXPECT_TRUE(document.SaveToFile(path("a%20b.xml")));
    EXPECT_EQ(readText(path("a%20b.xml")), std::string(declaration) + "<r/>\n");
    EXPECT_FALSE(std::filesystem::exists(path("a b.xml")));
}

TEST_F(Edits, SaveNoDocumentToAnEmptyImage) {
    LibXmlWrapper document = parse("not XML");
    std::string image = "what was there before";
    EXPECT_TRUE(document.SaveToMemory(image));
    EXPECT_EQ(image, "");
}

// Text that is set comes back as given

class TextThatIsSet : public XmlFile, public testing::WithParamInterface<NamedText> {};

TEST_P(TextThatIsSet, ComesBackFromANewNode) {
    EXPECT_GT(LibXmlWrapper(fileWith("<r/>")).AddNewNode("a", GetParam().text), 0);
    EXPECT_EQ(LibXmlWrapper(path()).getXPathElement("/r/a"), GetParam().text);
}

TEST_P(TextThatIsSet, ComesBackFromANewElement) {
    LibXmlWrapper document = parse("<r/>");
    EXPECT_TRUE(document.AddNewElementNode("/r", "a", GetParam().text));
    EXPECT_EQ(document.getXPathElement("/r/a"), GetParam().text);
    EXPECT_EQ(parse(memoryImage(document)).getXPathElement("/r/a"), GetParam().text);
}

TEST_P(TextThatIsSet, ComesBackFromAnAttribute) {
    LibXmlWrapper document = parse("<r/>");
    EXPECT_TRUE(document.setXPathElementAttribute("/r", "k", GetParam().text));
    EXPECT_EQ(document.getXPathElementAttribute("/r", "k"), GetParam().text);
    EXPECT_EQ(parse(memoryImage(document)).getXPathElementAttribute("/r", "k"), GetParam().text);
}

TEST_P(TextThatIsSet, ComesBackFromAnUpdatedElement) {
    const std::string name = fileWith("<r><a>old</a></r>");
    EXPECT_EQ(LibXmlWrapper::UpdateNodeWithValue(name.c_str(), "/r/a", GetParam().text.c_str()), 0);
    EXPECT_EQ(LibXmlWrapper(name).getXPathElement("/r/a"), GetParam().text);
}

TEST_P(TextThatIsSet, ComesBackFromAnUpdatedAttribute) {
    const std::string name = fileWith("<r k='old'/>");
    EXPECT_EQ(LibXmlWrapper::UpdateNodeWithValue(name.c_str(), "/r/@k", GetParam().text.c_str()), 0);
    EXPECT_EQ(LibXmlWrapper(name).getXPathElementAttribute("/r", "k"), GetParam().text);
}

TEST_P(TextThatIsSet, ComesBackFromAnUpdatedText) {
    const std::string name = fileWith("<r><a>old</a></r>");
    EXPECT_EQ(LibXmlWrapper::UpdateNodeWithValue(name.c_str(), "/r/a/text()", GetParam().text.c_str()), 0);
    EXPECT_EQ(LibXmlWrapper(name).getXPathElement("/r/a"), GetParam().text);
}

TEST_P(TextThatIsSet, ComesBackFromAnUpdatedMarkedSection) {
    const std::string name = fileWith("<r><a><![CDATA[old]]></a></r>");
    EXPECT_EQ(LibXmlWrapper::UpdateNodeWithValue(name.c_str(), "/r/a/text()", GetParam().text.c_str()), 0);
    EXPECT_EQ(LibXmlWrapper(name).getXPathElement("/r/a"), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Texts, TextThatIsSet,
                         testing::Values(NamedText{"Plain", "1.0.0.5"}, NamedText{"Empty", ""},
                                         NamedText{"Ampersand", "a & b &"}, NamedText{"Tags", "<b>bold</b>"},
                                         NamedText{"Escapes", "&amp; &lt; &#65; &none;"},
                                         NamedText{"Quotes", "\"double\" and 'single'"},
                                         NamedText{"Blanks", "  a \n\t b  "},
                                         NamedText{"PercentSigns", "100%s%n"},
                                         NamedText{"Utf8", "gr\xc3\xbc\xc3\x9f \xf0\x9f\x8d\x8f"},
                                         NamedText{"Long", std::string(1'000'000, 'x')}),
                         [](const auto &caseInfo) { return caseInfo.param.name; });

// Updating a file

class Update : public XmlFile {
protected:
    static int update(const std::string &name, const std::string &xpath, const std::string &value) {
        return LibXmlWrapper::UpdateNodeWithValue(name.c_str(), xpath.c_str(), value.c_str());
    }
};

TEST_F(Update, SetsTheTextOfEverySelectedNodeAndKeepsTheRest) {
    const std::string name =
        fileWith("<?xml version='1.0'?>\n<!-- c -->\n<r k='1'><a>1</a>\n  <b>2</b><a><c/></a></r>\n");
    EXPECT_EQ(standardErrorOf([&] { EXPECT_EQ(update(name, "/r/a", "new"), 0); }), "");
    EXPECT_EQ(readText(name), "<?xml version=\"1.0\"?>\n<!-- c -->\n"
                              "<r k=\"1\"><a>new</a>\n  <b>2</b><a>new</a></r>\n");
}

TEST_F(Update, WritesUnformatted) {
    const std::string name = fileWith("<r><a>1</a><b><c/></b></r>");
    EXPECT_EQ(update(name, "/r/a", "2"), 0);
    EXPECT_EQ(readText(name), "<?xml version=\"1.0\"?>\n<r><a>2</a><b><c/></b></r>\n");
}

TEST_F(Update, WritesInTheEncodingOfTheDocument) {
    const std::string name = fileWith("<?xml version='1.0' encoding='ISO-8859-1'?><r><a/>\xfc</r>");
    EXPECT_EQ(update(name, "/r/a", "\xc3\xa4"), 0);
    EXPECT_EQ(readText(name), "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<r><a>\xe4</a>\xfc</r>\n");
}

TEST_F(Update, RewritesTheFileWhenNothingIsSelected) {
    const std::string name = fileWith("<r><a  k='1' ></a></r>");
    EXPECT_EQ(standardErrorOf([&] { EXPECT_EQ(update(name, "/r/none", "v"), 0); }), "");
    EXPECT_EQ(readText(name), "<?xml version=\"1.0\"?>\n<r><a k=\"1\"/></r>\n");
}

TEST_F(Update, RewritesTheFileWhenTheExpressionGivesNoNodes) {
    const std::string name = fileWith("<r><a>1</a></r>");
    EXPECT_EQ(standardErrorOf([&] { EXPECT_EQ(update(name, "count(/r/a)", "v"), 0); }), "");
    EXPECT_EQ(readText(name), "<?xml version=\"1.0\"?>\n<r><a>1</a></r>\n");
}

TEST_F(Update, RemovesTheTextForAnEmptyValue) {
    const std::string name = fileWith("<r><a>1</a></r>");
    EXPECT_EQ(update(name, "/r/a", ""), 0);
    EXPECT_EQ(readText(name), "<?xml version=\"1.0\"?>\n<r><a/></r>\n");
}

TEST_F(Update, KeepsModeOwnerAndTheFileThatALinkNames) {
    const std::string name = fileWith("<r><a>a text that is longer than the next one</a></r>");
    std::filesystem::create_symlink("document.xml", path("link"));
    ASSERT_EQ(chown(name.c_str(), 1, 2), 0);
    ASSERT_EQ(chmod(name.c_str(), 0640), 0);
    EXPECT_EQ(update(path("link"), "/r/a", "2"), 0);
    EXPECT_EQ(readText(name), "<?xml version=\"1.0\"?>\n<r><a>2</a></r>\n");
    struct stat status {};
    ASSERT_EQ(lstat(name.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, S_IFREG | 0640U);
    EXPECT_EQ(status.st_uid, 1U);
    EXPECT_EQ(status.st_gid, 2U);
    EXPECT_TRUE(std::filesystem::is_symlink(path("link")));
}

TEST_F(Update, LeavesTheOldFileWhenTheDiskIsFull) {
    const std::string text = "<r><a>1</a>" + std::string(100'000, 'x') + "</r>";
    const std::string name = fileWith(text);
    {
        const FullDisk full(4096);
        EXPECT_EQ(update(name, "/r/a", "2"), 0) << "not reported (kept as shipped)";
    }
    EXPECT_TRUE(readText(name) == text);
}

TEST_F(Update, LeavesAFileThatCannotBeOpenedForWriting) {
    const std::string text = "<r><a>1</a></r>";
    const int sealed = memfd_create("document", MFD_ALLOW_SEALING);
    ASSERT_GE(sealed, 0);
    ASSERT_EQ(write(sealed, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    ASSERT_EQ(fcntl(sealed, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE), 0);
    const std::string name = "/proc/self/fd/" + std::to_string(sealed);
    ASSERT_EQ(std::fopen(name.c_str(), "w+"), nullptr);
    EXPECT_EQ(standardErrorOf([&] { EXPECT_EQ(update(name, "/r/a", "2"), 0); }), "");
    EXPECT_EQ(readText(name), text);
    close(sealed);
}

TEST_F(Update, FailsForAMissingFile) {
    const std::string name = path("missing.xml");
    EXPECT_EQ(standardErrorOf([&] { EXPECT_EQ(update(name, "/r", "v"), -1); }), parseError(name));
    EXPECT_FALSE(std::filesystem::exists(name));
}

TEST_F(Update, FailsForAnExpressionThatCannotBeEvaluatedAndLeavesTheFile) {
    const std::string name = fileWith("<r  />");
    for (const char *xpath : {"/r[", "", "unknown(/r)", "unknown:r"})
        EXPECT_EQ(standardErrorOf([&] { EXPECT_EQ(update(name, xpath, "v"), -1); }), evaluationError(xpath));
    EXPECT_EQ(readText(name), "<r  />");
}

TEST_F(Update, SetsNestedNodesOfOneSelection) {
    const std::string name = fileWith("<r><a k='1'>x<a k='2'><a k='3'>y</a>z</a></a></r>");
    EXPECT_EQ(update(name, "//a | //a/@k | //a/text()", "v"), 0);
    EXPECT_EQ(readText(name), "<?xml version=\"1.0\"?>\n<r><a k=\"v\">v</a></r>\n");
}

TEST_F(Update, PassesOverNamespaceNodesAlsoOfElementsThatGo) {
    const std::string name = fileWith("<r xmlns:p='urn:p'><a><b xmlns:q='urn:q'>1</b></a></r>");
    EXPECT_EQ(update(name, "/r/a | //namespace::*", "v"), 0);
    EXPECT_EQ(readText(name), "<?xml version=\"1.0\"?>\n<r xmlns:p=\"urn:p\"><a>v</a></r>\n");
}

TEST_F(Update, SetsCommentsAndInstructionsAndPassesOverTheDocument) {
    const std::string name = fileWith("<r><!--c--><?p i?></r>");
    EXPECT_EQ(update(name, "/ | /r/comment() | /r/processing-instruction()", "a & <b>"), 0);
    EXPECT_EQ(readText(name), "<?xml version=\"1.0\"?>\n<r><!--a & <b>--><?p a & <b>?></r>\n");
}

TEST_F(Update, SetsAHundredThousandNestedAndFlatNodesInLinearTime) {
    const std::string name = fileWith("<r>" + repeated(100'000, "<a><a>1</a></a>") + "</r>");
    const auto start = Clock::now();
    EXPECT_EQ(update(name, "//a", "v"), 0);
    EXPECT_LT(Clock::now() - start, linearTime);
    EXPECT_EQ(LibXmlWrapper(name).getXPathAllElement("//a"), std::vector<std::string>(100'000, "v"));
}

// The editing step alone

class UpdateStep : public testing::Test {
protected:
    xmlNode *add(const char *name) {
        xmlNode *root = xmlDocGetRootElement(m_document.get());
        return xmlNewTextChild(root, nullptr, reinterpret_cast<const xmlChar *>(name), nullptr);
    }

    const XmlDoc m_document{xmlReadMemory("<r/>", 4, nullptr, nullptr, 0)};
};

TEST_F(UpdateStep, HasNothingToDoForNoSet) {
    LibXmlWrapper::update_xpath_nodes(nullptr, "v");
}

TEST_F(UpdateStep, ClearsTheEntriesOfNodes) {
    xmlNode *entries[] = {add("a"), add("b")};
    xmlNodeSet nodes{2, 2, entries};
    LibXmlWrapper::update_xpath_nodes(&nodes, "v");
    EXPECT_EQ(entries[0], nullptr);
    EXPECT_EQ(entries[1], nullptr);
}

// What the walk had set when the process was aborted.
xmlNode *lastEntry = nullptr;

void tellLastEntry(int) {
    static_cast<void>(
        std::fprintf(stderr, "last entry: %s\n", lastEntry->children ? "already set" : "not yet set"));
}

TEST_F(UpdateStep, GoesFromTheLastEntryToTheFirst) {
    xmlNode *entries[] = {nullptr, add("a")};
    xmlNodeSet nodes{2, 2, entries};
    lastEntry = entries[1];
    EXPECT_DEATH(
        {
            static_cast<void>(std::signal(SIGABRT, tellLastEntry));
            LibXmlWrapper::update_xpath_nodes(&nodes, "v");
        },
        "last entry: already set");
}

TEST_F(UpdateStep, AbortsForAnEntryThatIsNull) {
    xmlNode *entries[] = {nullptr};
    xmlNodeSet nodes{1, 1, entries};
    EXPECT_DEATH(LibXmlWrapper::update_xpath_nodes(&nodes, "v"), "nodes->nodeTab\\[i\\]");
}

TEST_F(UpdateStep, AbortsForANullValue) {
    EXPECT_DEATH(LibXmlWrapper::update_xpath_nodes(nullptr, nullptr), "Assertion `value' failed");
}

TEST_F(Update, AbortsForNullArgumentsAndNamesThem) {
    const std::string name = fileWith("<r  />");
    EXPECT_DEATH(LibXmlWrapper::UpdateNodeWithValue(nullptr, "/r", "v"), "Assertion `filename' failed");
    EXPECT_DEATH(LibXmlWrapper::UpdateNodeWithValue(name.c_str(), nullptr, "v"),
                 "Assertion `xpathExpr' failed");
    EXPECT_DEATH(LibXmlWrapper::UpdateNodeWithValue(name.c_str(), "/r", nullptr), "Assertion `value' failed");
    EXPECT_DEATH(LibXmlWrapper::UpdateNodeWithValue("missing.xml", "/r", nullptr),
                 "Assertion `value' failed");
    EXPECT_DEATH(LibXmlWrapper::UpdateNodeWithValue(nullptr, nullptr, nullptr),
                 "Assertion `filename' failed");
    EXPECT_EQ(readText(name), "<r  />");
}

// Debugging hooks

TEST(LibXmlWrapperHooks, GiveTheRootElementSilently) {
    const LibXmlWrapper document = parse("<!-- c --><r/>");
    EXPECT_EQ(standardErrorOf([&] {
                  const xmlNode *root = document.PrintRootElement();
                  ASSERT_NE(root, nullptr);
                  EXPECT_STREQ(reinterpret_cast<const char *>(root->name), "r");
              }),
              "");
}

TEST(LibXmlWrapperHooks, TellADocumentWithoutRootElement) {
    const LibXmlWrapper document = parse("");
    EXPECT_EQ(standardErrorOf([&] { EXPECT_EQ(document.PrintRootElement(), nullptr); }), "Empty Document\n");
}

TEST(LibXmlWrapperHooks, WalkChildrenAndPrintNothing) {
    LibXmlWrapper document = parse("<r><a/>text<b/></r>");
    const std::string before = memoryImage(document);
    std::string output;
    EXPECT_EQ(standardErrorOf([&] {
                  output = standardOutputOf([&] {
                      document.PrintChildrenName(nullptr);
                      document.PrintChildrenName(document.PrintRootElement());
                      document.PrintChildrenName(document.PrintRootElement()->children);
                      parse("").PrintChildrenName(nullptr);
                  });
              }),
              "");
    EXPECT_EQ(output, "");
    EXPECT_EQ(memoryImage(document), before);
}

} // namespace
