// How a log is taken apart into messages and lines.
#include "LogReader.h"

#include <sstream>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Lines.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

std::vector<LogEntry> entriesOf(const std::string &text) {
    std::istringstream log(text);
    LogReader reader(log);
    std::vector<LogEntry> entries;
    while (std::optional<LogEntry> entry = reader.next())
        entries.push_back(std::move(*entry));
    return entries;
}

// Each as "LINE id", or "LINE ? text" for what nobody knows.
std::vector<std::string> toldOf(const std::string &text) {
    std::vector<std::string> told;
    for (const LogEntry &entry : entriesOf(text))
        told.push_back(std::to_string(entry.line) + " " +
                       (entry.known ? entry.known->message->id : "? " + entry.text));
    return told;
}

TEST(LogReader, GivesEachMessageWithItsTimeAndLine) {
    const std::vector<LogEntry> entries = entriesOf(at(7, "INFO: Download Start") + exits(8));
    ASSERT_THAT(entries, SizeIs(2));
    EXPECT_EQ(entries[0].time, "2026-11-22.07:00:07");
    EXPECT_EQ(entries[0].text, "INFO: Download Start");
    EXPECT_EQ(entries[0].line, 1U);
    EXPECT_EQ(entries[1].line, 2U);
}

TEST(LogReader, KeepsTheLinesOfADocumentTogether) {
    EXPECT_THAT(toldOf(at(1, "INFO :Tolvane Response - <a>\n<b/>\n\n</a>") + exits(2)),
                ElementsAre("1 reply", "5 updater-exited"));
    EXPECT_THAT(toldOf(at(1, "\nINFO : this appid - quaformac\n") + exits(2)),
                ElementsAre("1 product-app-id", "4 updater-exited"));
}

TEST(LogReader, TellsTheScriptsLinesApart) {
    EXPECT_THAT(toldOf(at(1, "Child process: executing /usr/local/repost/installer.sh ") +
                       " Installing /One.pkg\nInstalled /One.pkg successfully\n"),
                ElementsAre("1 script-executed", "2 script-installing", "3 script-installed"));
    EXPECT_THAT(toldOf(at(1, "\nINFO : this appid - quaformac\n") + "Restarted QRN\n" + exits(2)),
                ElementsAre("1 product-app-id", "4 script-restarted", "5 updater-exited"));
    EXPECT_THAT(toldOf(at(1, "\n Core Catalogs Are :: --- >> https://host/one.xml\n") + "Restarted QRN\n"),
                ElementsAre("1 core-catalog-url", "4 script-restarted"));
}

TEST(LogReader, ShowsWhatNobodyKnows) {
    const std::string bytes("\0\x01\xff", 3);
    EXPECT_THAT(
        toldOf("from syslog\n" + at(1, "INFO: Something new\nwith another line") + bytes + "\n" + exits(2)),
        ElementsAre("1 ? from syslog", "2 ? INFO: Something new", "3 ? with another line", "4 ? " + bytes,
                    "5 updater-exited"));
}

TEST(LogReader, TakesALineThatWasCut) {
    EXPECT_THAT(toldOf(at(1, "INFO: Download Start") + "2026-11-22.07:00:01 : INFO: Down"),
                ElementsAre("1 download-started", "2 ? INFO: Down"));
    EXPECT_THAT(toldOf("2026-11-22.07:0"), ElementsAre("1 ? 2026-11-22.07:0"));
    EXPECT_THAT(toldOf(""), IsEmpty());
}

TEST(LogReader, KeepsTheBeginningOfADocumentThatIsLong) {
    std::string reply;
    for (int line = 0; line < 100000; ++line)
        reply += "<product appid=\"quaformac\"/>\n";
    const std::vector<LogEntry> entries =
        entriesOf(at(1, "INFO :Tolvane Response - " + reply + "</a>") + exits(2));
    ASSERT_THAT(entries, SizeIs(2));
    EXPECT_EQ(entries[0].known->message->id, "reply");
    EXPECT_TRUE(entries[0].isShortened);
    EXPECT_LT(entries[0].text.size(), 3 * LogReader::longest);
    EXPECT_EQ(entries[1].known->message->id, "updater-exited");
    EXPECT_EQ(entries[1].line, 100002U);
}

TEST(LogReader, KnowsAMessageWhoseLineIsLong) {
    EXPECT_THAT(toldOf(at(1, "\nINFO : Core Products - " + std::string(1000000, 'x') + "\n") +
                       at(1, "INFO : Start download: " + std::string(1000000, 'x')) + exits(2)),
                ElementsAre("1 core-product", "4 transfer-started", "5 updater-exited"));
}

TEST(LogReader, KeepsTheBeginningOfALineThatIsLong) {
    const std::vector<LogEntry> entries = entriesOf(std::string(10000000, 'x') + "\n" + exits(2));
    ASSERT_THAT(entries, SizeIs(2));
    EXPECT_EQ(entries[0].text, std::string(LogReader::longest, 'x'));
    EXPECT_TRUE(entries[0].isShortened);
    EXPECT_EQ(entries[1].known->message->id, "updater-exited");
}

TEST(LogReader, LosesNoLineOfManyThatNobodyKnows) {
    std::string foreign;
    for (int line = 0; line < 20000; ++line)
        foreign += "line " + std::to_string(line) + " of another program\n";
    EXPECT_THAT(entriesOf(at(1, "INFO: Something new") + foreign + exits(2)), SizeIs(20002));
}

} // namespace
