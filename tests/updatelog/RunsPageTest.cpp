// The page of a log's runs, as a document.
#include <algorithm>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Lines.h"
#include "PageDocument.h"
#include "RunsPage.h"
#include "RunsPageLook.h"
#include "Stories.h"
#include "TimeSpan.h"

namespace {

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

std::string pageOf(const std::string &text, const std::string &name = "/some.log") {
    std::vector<RunOfPage> runs;
    LineKeeper keeper;
    StoryTeller teller(
        [&runs, &keeper](const RunStory &story) {
            runs.push_back(forPage(story, keeper.linesOf(story.number)));
        },
        [&keeper](const LogEntry &entry, const OpenRun &run) { keeper.take(entry, run); });
    std::istringstream log(text);
    teller.takeAll(log);
    return runsPage(name, runs);
}

// A download that is broken off once, of ten seconds.
const std::string download =
    checkStarts(0) + asks(0) + isAnswered(0) + at(2, "INFO : Start download: " + packageUrl) +
    at(4, "ERROR : Download Failed with CURL error code CURLE_PARTIAL_FILE for " + packageUrl) +
    at(5, "Resume Download: " + packageUrl) + at(5, "INFO : Start download: " + packageUrl) +
    at(6, "INFO: Checking HashSUM : " + packagePath) + at(7, "Successfully downloaded: " + packageUrl) +
    exits(10);

std::string elements(const std::string &name, const std::string &condition = "") {
    return "//*[local-name()='" + name + "'" + (condition.empty() ? "" : " and " + condition) + "]";
}

TEST(RunsPage, IsOneWellFormedPageThatLoadsNothing) {
    const std::string page = pageOf(idleCheck() + download + deafCheck());
    EXPECT_THAT(page, StartsWith("<!DOCTYPE html>\n<html"));
    const Document document = parsed(page);
    ASSERT_TRUE(document);
    EXPECT_THAT(textsOf(document, "//@src | //@srcset | //@data | //@action | " + elements("link") + " | " +
                                      elements("base") + " | " + elements("iframe")),
                IsEmpty());
    EXPECT_THAT(textsOf(document, "//@content"), Contains(StartsWith("default-src 'none';")));
    EXPECT_THAT(page, AllOf(Not(HasSubstr("url(")), Not(HasSubstr("@import"))));
    const std::vector<std::string> ids = textsOf(document, "//@id");
    EXPECT_EQ(std::set<std::string>(ids.begin(), ids.end()).size(), ids.size());
    for (const std::string &target : textsOf(document, "//@href"))
        EXPECT_THAT(ids, Contains(target.substr(1))) << target;
}

TEST(RunsPage, HasAStyleAndAScriptThatStandAsTheyAreMeant) {
    EXPECT_EQ(std::string(runsPageStyle).find_first_of("<>&\""), std::string::npos);
    EXPECT_EQ(std::string(runsPageScript).find_first_of("<>&\""), std::string::npos);
    EXPECT_THAT(pageOf(idleCheck()), AllOf(HasSubstr(runsPageStyle), HasSubstr(runsPageScript)));
}

TEST(RunsPage, TellsEachRunWithItsFindingsAndLinesAndTheNewestOpen) {
    const Document document = parsed(pageOf(idleCheck() + deafCheck()));
    ASSERT_TRUE(document);
    EXPECT_THAT(
        textsOf(document, elements("h2")),
        ElementsAre("run 1  2026-11-22.07:00:00  check for updates of version 1.0.0.5: had nothing to do",
                    "run 2  2026-11-22.07:00:02  check for updates of version 1.0.0.5: failed"));
    EXPECT_THAT(textsOf(document, elements("nav") + elements("a") + "/@href"),
                ElementsAre("#run-1", "#run-2"));
    EXPECT_THAT(textsOf(document, "//*[@id='run-2']" + elements("ol") + elements("a")),
                ElementsAre("line 20"));
    EXPECT_THAT(textsOf(document, "//*[@id='run-2']" + elements("ol") + elements("p")),
                Contains(StartsWith("To do: ")));
    EXPECT_THAT(textsOf(document, "//*[@id='run-2-line-20']"),
                ElementsAre(HasSubstr("ERROR Tolvane response")));
    EXPECT_THAT(textsOf(document, "//*[@id='run-2-line-20']/@class"), ElementsAre("bad"));
    EXPECT_THAT(textsOf(document, "//*[@id='run-1']" + elements("tr")), SizeIs(11));
    EXPECT_THAT(textsOf(document, elements("details", "@open")), SizeIs(1));
    EXPECT_THAT(textsOf(document, "//*[@id='run-2']" + elements("details", "@open")), SizeIs(1));
}

TEST(RunsPage, HasABarForEachFileWithTheLinesBehindIt) {
    const Document document = parsed(pageOf(download));
    ASSERT_TRUE(document);
    EXPECT_THAT(textsOf(document, elements("summary")),
                Contains(HasSubstr(packageUrl + ": came, 2 attempts, 1 of them again, 1 hash check")));
    EXPECT_THAT(textsOf(document, elements("span", "@class='bar'") + "/@style"),
                ElementsAre("left: 20.0%; width: 50.0%"));
    EXPECT_THAT(textsOf(document, elements("span", "@class='tick'") + "/@style"), ElementsAre("left: 50.0%"));
    EXPECT_THAT(textsOf(document, elements("details") + "[.//*[@class='bar']]" + elements("tr")), SizeIs(6));
    EXPECT_THAT(textsOf(document, elements("details") + "[.//*[@class='bar']]" + elements("a") + "/@href"),
                Each(StartsWith("#run-1-line-")));
}

TEST(RunsPage, TellsPackagesThatAreInstalledWithoutABarSinceTheirLinesHaveNoTimes) {
    const Document document =
        parsed(pageOf(installationStarts() + " Installing /One.pkg\nInstalled /One.pkg successfully\n"));
    ASSERT_TRUE(document);
    EXPECT_THAT(textsOf(document, elements("summary")),
                testing::IsSupersetOf({"\n            /One.pkg: installed\n          ",
                                       "\n            /Two.pkg: not begun\n          "}));
    EXPECT_THAT(textsOf(document, elements("span", "@class='bar'")), IsEmpty());
    EXPECT_THAT(textsOf(document, elements("details") + "[contains(*[local-name()='summary'], '/One.pkg')]" +
                                      elements("tr")),
                SizeIs(3));
}

TEST(RunsPage, CanBeFilteredByEveryLevelThatALineHas) {
    const Document document =
        parsed(pageOf(download + "from another program\n" + installationStarts() + " Installing /One.pkg\n"));
    ASSERT_TRUE(document);
    const std::vector<std::string> boxes =
        textsOf(document, elements("input", "@type='checkbox'") + "/@value");
    const std::vector<std::string> levels = textsOf(document, "//@data-level");
    EXPECT_EQ(std::set<std::string>(boxes.begin(), boxes.end()),
              std::set<std::string>({"error", "broken off", "information", "script", "unknown"}));
    EXPECT_THAT(levels, Each(testing::AnyOfArray(boxes)));
    for (const std::string level : {"broken off", "information", "script", "unknown"})
        EXPECT_THAT(levels, Contains(level));
    EXPECT_THAT(textsOf(parsed(pageOf(deafCheck())), "//@data-level"), Contains("error"));
    EXPECT_THAT(textsOf(document, "//*[@id='filter']/@hidden"), SizeIs(1)); // until its script is there
}

TEST(RunsPage, TakesNoTextForMarkup) {
    const std::string text = "</script><b>&\"'\x01\xff";
    const std::string url = "https://host/" + text;
    const Document document =
        parsed(pageOf(checkStarts(0) + asks(0) + isAnswered(0) + at(1, "INFO : Start download: " + url) +
                          at(2, "Successfully downloaded: " + url) + text + "\n",
                      "/" + text));
    ASSERT_TRUE(document);
    const std::string shown = "</script><b>&\"'??";
    EXPECT_THAT(textsOf(document, elements("h1")), ElementsAre(HasSubstr("/" + shown)));
    EXPECT_THAT(textsOf(document, elements("summary")), Contains(HasSubstr(shown)));
    EXPECT_THAT(textsOf(document, elements("span", "@class='text'")), Contains(shown));
    EXPECT_THAT(textsOf(document, elements("b")), IsEmpty());
    EXPECT_THAT(textsOf(document, elements("script")), SizeIs(1));
}

TEST(RunsPage, KeepsTheFirstLinesOfARunThatHasTooMany) {
    std::string log = checkStarts(0);
    constexpr std::size_t lines = 10000;
    for (std::size_t line = 0; line < lines; ++line)
        log += "from another program\n";
    const Document document = parsed(pageOf(log + at(1, "ERROR: Download Failed")));
    ASSERT_TRUE(document);
    const std::size_t kept = textsOf(document, elements("tr", "@id")).size();
    EXPECT_GT(kept, 1000U);
    EXPECT_LT(kept, lines);
    EXPECT_THAT(textsOf(document, elements("p")),
                Contains(StartsWith("And " + std::to_string(lines + 4 - kept) + " lines more")));
    // What is not there is not led to.
    EXPECT_THAT(textsOf(document, elements("ol") + elements("span")), Contains("line 10004"));
}

TEST(RunsPage, HasNoMoreFilesThanCanBeLookedAt) {
    std::string log = checkStarts(0) + asks(0);
    for (std::size_t number = 0; number < RunOfPage::mostFiles + 7; ++number)
        log += at(1, "INFO : Start download: https://host/" + std::to_string(number) + ".pkg");
    const Document document = parsed(pageOf(log));
    ASSERT_TRUE(document);
    EXPECT_THAT(textsOf(document, elements("summary")), SizeIs(RunOfPage::mostFiles + 1));
    EXPECT_THAT(textsOf(document, elements("p")), Contains("And 7 more, which are too many for a page."));
}

// A name may be that of many files: a thousand times a thousand lines would be no page.
TEST(RunsPage, HasNoMoreLinesBehindItsBarsThanFourTimesThoseOfTheRun) {
    constexpr std::size_t files = 300;
    std::string log = checkStarts(0) + asks(0);
    for (std::size_t number = 0; number < files; ++number)
        log += at(1, "INFO : Start download: https://host/" + std::to_string(number) + "/One.pkg") +
               at(1, "INFO: Checking HashSUM : " + packagePath);
    const Document document = parsed(pageOf(log));
    ASSERT_TRUE(document);
    const std::size_t lines = textsOf(document, elements("tr", "@id")).size();
    EXPECT_LT(textsOf(document, elements("tr")).size(), 5 * lines + 1);
    EXPECT_THAT(textsOf(document, elements("p")), Contains("Its lines are among those of the run, below."));
}

TEST(TimeSpan, GivesTheShareOfATimeOrNoneWhereThereIsNoSense) {
    const TimeSpan span("2026-11-22.23:59:50", "2026-11-23.00:00:10");
    const auto share = [&span](const std::string &begin, const std::string &end) {
        const std::optional<Share> found = span.shareOf(begin, end);
        return found ? std::make_pair(found->begin, found->length) : std::make_pair(-1LL, -1LL);
    };
    EXPECT_EQ(share("2026-11-22.23:59:55", "2026-11-23.00:00:00"), std::make_pair(250LL, 250LL));
    EXPECT_EQ(share("2026-11-22.23:00:00", "2026-11-24.00:00:00"), std::make_pair(0LL, 1000LL));
    EXPECT_EQ(share("2026-11-23.00:00:00", "2026-11-22.23:59:55").first, -1);
    EXPECT_EQ(share("", "2026-11-23.00:00:00").first, -1);
    EXPECT_FALSE(TimeSpan("", "").shareOf("2026-11-23.00:00:00", "2026-11-23.00:00:00"));
    const std::string moment = "2026-11-23.00:00:00";
    EXPECT_EQ(TimeSpan(moment, moment).shareOf(moment, moment)->length, 1000);
}

} // namespace
