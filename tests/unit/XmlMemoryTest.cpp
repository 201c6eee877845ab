// Documents while libxml2's memory runs out: at every allocation, for a moment and for good.
#include <functional>
#include <new>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "FailingAllocation.h"
#include "FailingXmlAllocation.h"
#include "LibXmlWrapper.h"
#include "ProductConfiguration.h"
#include "TextFile.h"

// The linker leads the engine's call here: libxml2 keeps a state for each thread.
static bool isThreadRefused = false;
extern "C" {
void *__real_xmlGetGlobalState();
void *__wrap_xmlGetGlobalState();
void *__wrap_xmlGetGlobalState() {
    return isThreadRefused ? nullptr : __real_xmlGetGlobalState();
}
}

namespace {

using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string xml = "<!DOCTYPE r [<!ENTITY e 'entity'>]><r><h k='1'><a>first</a></h><h k='&e;2'><b/></h>"
                        "<h><a>third &e;</a></h><n>42</n></r>";

std::string joined(const std::vector<std::string> &texts) {
    std::string result;
    for (const std::string &text : texts)
        result += text + "|";
    return result;
}

struct Query {
    const char *name;
    std::function<std::string(LibXmlWrapper &)> ask;
};

class QueryWithoutMemory : public testing::TestWithParam<Query> {};

// Calls the action with memory running out at each allocation, until it no longer does.
void atEveryAllocation(const std::function<void()> &action) {
    using From = FailingXmlAllocation::From;
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    std::size_t most = 0;
    for (const From from : {From::once, From::forGood}) {
        bool reached = true;
        for (std::size_t allocation = 0; reached; ++allocation) {
            SCOPED_TRACE(std::to_string(allocation) + (from == From::once ? " once" : " for good"));
            const FailingXmlAllocation failing(allocation, from);
            try {
                action();
            } catch (const std::exception &) { // is an answer too
            }
            reached = failing.happened();
            most = allocation;
        }
    }
    testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
    EXPECT_GT(most, 0U);
}

// A context that cannot be had gives the empty answer and is told; anything else the whole one or an
// exception.
TEST_P(QueryWithoutMemory, GivesTheWholeAnswerOrNone) {
    LibXmlWrapper document(xml.data(), xml.size());
    testing::internal::CaptureStdout();
    const std::string whole = GetParam().ask(document);
    testing::internal::GetCapturedStdout();
    atEveryAllocation([&] { EXPECT_THAT(GetParam().ask(document), AnyOf(whole, "")); });
    EXPECT_EQ(GetParam().ask(document), whole) << "nothing is left of it";
}

TEST_P(QueryWithoutMemory, OfADocumentThatWasReadWithoutMemoryGivesTheWholeAnswerOrNone) {
    writeText("/tmp/document.xml", xml);
    LibXmlWrapper document("/tmp/document.xml");
    testing::internal::CaptureStdout();
    const std::string whole = GetParam().ask(document);
    testing::internal::GetCapturedStdout();
    atEveryAllocation([&] {
        LibXmlWrapper fromFile("/tmp/document.xml");
        EXPECT_THAT(GetParam().ask(fromFile), AnyOf(whole, ""));
        LibXmlWrapper fromMemory(xml.data(), xml.size());
        EXPECT_THAT(GetParam().ask(fromMemory), AnyOf(whole, ""));
    });
}

INSTANTIATE_TEST_SUITE_P(
    Xml, QueryWithoutMemory,
    testing::Values(
        Query{"Element", [](LibXmlWrapper &d) { return d.getXPathElement("/r/h[1]/a"); }},
        Query{"Exists",
              [](LibXmlWrapper &d) { return std::string(d.isXPathElementExists("/r/n") ? "y" : ""); }},
        Query{"Count",
              [](LibXmlWrapper &d) {
                  const auto count = d.countNodes("//h");
                  return count && *count != 0 ? std::to_string(*count) : "";
              }},
        Query{"Attribute", [](LibXmlWrapper &d) { return d.getXPathElementAttribute("/r/h[2]", "k"); }},
        Query{"TextOfATextThatTheExpressionMakes",
              [](LibXmlWrapper &d) { return d.getXPathElement("//h[string-length(concat(@k,'x'))>2]/@k"); }},
        Query{"Number", [](LibXmlWrapper &d) { return std::to_string(d.getXPathUnsignedLongValue("/r/n")); }},
        Query{"AllElements", [](LibXmlWrapper &d) { return joined(d.getXPathAllElement("//h/a | //n")); }},
        Query{"Optional",
              [](LibXmlWrapper &d) { return joined(d.getXPathAllOptionalElement("/r/h", "a", "-")); }},
        Query{"SeveralOptional",
              [](LibXmlWrapper &d) {
                  std::string all;
                  for (const auto &texts : d.getXPathAllOptionalElements("/r/h", {"a", "n"}, "-"))
                      all += joined(texts);
                  return all;
              }},
        Query{"Property", [](LibXmlWrapper &d) { return joined(d.getPropertyValue("/r/h", "k")); }},
        Query{"Markup", [](LibXmlWrapper &d) { return joined(d.getAllElements("/r/h")); }},
        Query{"Image",
              [](LibXmlWrapper &d) {
                  std::string image;
                  d.SaveToMemory(image);
                  return image;
              }},
        Query{"Namespaces", [](LibXmlWrapper &d) { return joined(d.getXPathAllElement("//namespace::*")); }}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

TEST(ThreadWithoutMemory, ReadsNothingAndKnowsIt) {
    isThreadRefused = true;
    const LibXmlWrapper document(xml.data(), xml.size());
    isThreadRefused = false;
    EXPECT_FALSE(document.isWhole());
    EXPECT_EQ(document.getXPathElement("/r/n"), "");
}

// So long that it takes several allocations.
TEST(LongMarkupWithoutMemory, IsWholeOrNone) {
    const std::string node = "<h>" + std::string(20000, 'x') + "</h>";
    const std::string text = "<r>" + node + "</r>";
    LibXmlWrapper document(text.data(), text.size());
    atEveryAllocation([&] { EXPECT_THAT(joined(document.getAllElements("/r/h")), AnyOf(node + "|", "")); });
}

struct Configured {
    const char *name;
    std::string before;
    std::string after;
};

class ConfigurationWithoutMemory : public testing::TestWithParam<Configured> {};

TEST_P(ConfigurationWithoutMemory, IsTheOldOrTheNewFile) {
    const std::string path = "/tmp/ProductConfig.xml";
    atEveryAllocation([&] {
        writeText(path, GetParam().before);
        static_cast<void>(ProductConfiguration::updateElement(path, "AppID", "new & more"));
        EXPECT_THAT(readText(path), AnyOf(GetParam().before, GetParam().after));
    });
    EXPECT_EQ(readText(path), GetParam().after);
}

TEST_P(ConfigurationWithoutMemory, IsTheOldOrTheNewFileWithoutTheEnginesMemoryEither) {
    const std::string path = "/tmp/ProductConfig.xml";
    bool reached = true;
    for (std::size_t allocation = 0; reached; ++allocation) {
        writeText(path, GetParam().before);
        {
            const FailingAllocation failing(allocation);
            try {
                static_cast<void>(ProductConfiguration::updateElement(path, "AppID", "new & more"));
                reached = failing.happened();
            } catch (const std::bad_alloc &) {
                reached = true;
            }
        }
        EXPECT_THAT(readText(path), AnyOf(GetParam().before, GetParam().after)) << allocation;
    }
    EXPECT_EQ(readText(path), GetParam().after);
}

INSTANTIATE_TEST_SUITE_P(
    Xml, ConfigurationWithoutMemory,
    testing::Values(
        Configured{"Rewritten",
                   "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<ProductConfiguration><A>\xfc</A>"
                   "<AppID>old</AppID></ProductConfiguration>\n",
                   "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<ProductConfiguration><A>\xfc</A>"
                   "<AppID>new &amp; more</AppID></ProductConfiguration>\n"},
        Configured{"Appended", "<ProductConfiguration><A>1</A></ProductConfiguration>",
                   "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ProductConfiguration>\n  <A>1</A>\n"
                   "  <AppID>new &amp; more</AppID>\n</ProductConfiguration>\n"}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

TEST(EditsWithoutMemory, FailOrAreWhole) {
    const std::string before = "<r><a k='1'/></r>";
    atEveryAllocation([&] {
        LibXmlWrapper document(before.data(), before.size());
        if (document.isXPathElementExists("/r/a") && document.AddNewElementNode("/r/a", "n", "text")) {
            EXPECT_THAT(document.getXPathAllElement("/r/a/n"), AnyOf(ElementsAre("text"), IsEmpty()));
        }
    });
    atEveryAllocation([&] {
        LibXmlWrapper document(before.data(), before.size());
        if (document.setXPathElementAttribute("/r/a", "k", "value")) {
            EXPECT_THAT(document.getPropertyValue("/r/a", "k"), AnyOf(ElementsAre("value"), IsEmpty()));
        }
    });
}

TEST(EditsWithoutMemory, LeaveNoElementWithoutItsText) {
    const std::string before = "<r><a/></r>";
    atEveryAllocation([&] {
        LibXmlWrapper document(before.data(), before.size());
        bool added = false;
        try {
            added = document.AddNewElementNode("/r/a", "n", "text");
        } catch (const std::bad_alloc &) {
        }
        EXPECT_THAT(document.getXPathAllElement("/r/a/n"), AnyOf(ElementsAre("text"), IsEmpty())) << added;
    });
}

} // namespace
