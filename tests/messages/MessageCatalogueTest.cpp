// How lines are known by the catalogue of messages.
#include "MessageCatalogue.h"

#include <exception>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::Pair;
using testing::UnorderedElementsAre;

const MessageCatalogue &catalogue() {
    return MessageCatalogue::builtIn();
}

bool isBehindStamp(const Message &message) {
    return message.stream == MessageStream::trace && message.writer == MessageWriter::engine;
}

// The text with something in place of what varies.
std::string sampleOf(const Message &message, const std::string &value) {
    std::string sample = message.text;
    for (std::size_t open = sample.find('{'); open != std::string::npos; open = sample.find('{', open + 1)) {
        const std::size_t close = sample.find('}', open);
        const bool isNumber = sample.substr(open, close - open).find(":number") != std::string::npos;
        sample.replace(open, close + 1 - open, isNumber ? "-12" : value);
    }
    return sample;
}

std::vector<std::string> idsOf(const std::vector<Recognised> &found) {
    std::vector<std::string> ids;
    for (const Recognised &each : found)
        ids.push_back(each.message->id);
    return ids;
}

Recognised behindStamp(const std::string &text) {
    const std::optional<Recognised> found = catalogue().behindStamp(text);
    EXPECT_TRUE(found) << text;
    return found.value_or(Recognised());
}

TEST(MessageCatalogue, KnowsEveryTextFromAllOthers) {
    for (const Message &message : catalogue().messages()) {
        for (const char *value : {"value", "", "No updates Found"}) {
            const std::string sample = sampleOf(message, value);
            EXPECT_THAT(idsOf(catalogue().fitting(sample, message.stream, isBehindStamp(message))),
                        ElementsAre(message.id))
                << sample;
        }
    }
}

TEST(MessageCatalogue, TakesTheTextWithTheMostFixedCharacters) {
    EXPECT_EQ(behindStamp("ERROR: Download Failed\n").message->id, "update-download-failed");
    EXPECT_EQ(behindStamp("ERROR: std::bad_alloc\n").message->id, "call-failed");
    EXPECT_EQ(behindStamp("ERROR:  Package Missing\n").message->id, "package-missing");
    EXPECT_EQ(behindStamp("ERROR: Package Missing\n").message->id, "packages-missing");
    EXPECT_EQ(behindStamp("ERROR : TolvaneHandler - ERROR Getting Appid\n").message->id, "no-app-id-found");
}

TEST(MessageCatalogue, TellsWhatVariesAndTheCaseThatFits) {
    const Recognised found =
        behindStamp("Error: HTTP response= 0 and CURL response = 60, URL: https://host/One.pkg\n");
    EXPECT_EQ(found.message->id, "transfer-failed");
    EXPECT_THAT(found.values, UnorderedElementsAre(Pair("http", "0"), Pair("curl", "60"),
                                                   Pair("url", "https://host/One.pkg")));
    ASSERT_NE(found.which, nullptr);
    EXPECT_THAT(found.which->with, ElementsAre(Pair("curl", "60")));
}

TEST(MessageCatalogue, HasNoCaseWhereNoneFits) {
    EXPECT_EQ(behindStamp("ERROR: Not able to lock /var/run/DownloadManager.lock: Bad luck\n").which,
              nullptr);
}

TEST(MessageCatalogue, TakesADocumentWithAllItsLines) {
    const std::string reply = "<productresponse>\n\n  <error/>\n</productresponse>\n";
    const std::string text = "INFO :Tolvane Response - " + reply + "\n";
    const Recognised found = behindStamp(text);
    EXPECT_THAT(found.values, ElementsAre(Pair("reply", reply)));
    EXPECT_EQ(found.length, text.size());
}

TEST(MessageCatalogue, TakesAValueThatHoldsALineEnd) {
    const Recognised found =
        behindStamp("INFO: Updating Productconfig.xml with AppID element and its value one\ntwo .\n");
    EXPECT_EQ(found.message->id, "element-update");
    EXPECT_THAT(found.values, UnorderedElementsAre(Pair("element", "AppID"), Pair("value", "one\ntwo")));
}

TEST(MessageCatalogue, LeavesTheScriptsLinesBehindAMessage) {
    const std::string own = "Child process: executing /usr/local/repost/installer.sh \n";
    const std::string scripts = " Installing /One.pkg\nInstalled /One.pkg successfully\n";
    EXPECT_EQ(behindStamp(own + scripts).length, own.size());
    const std::optional<Recognised> first = catalogue().atLine(scripts, MessageStream::trace);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->message->id, "script-installing");
    EXPECT_EQ(scripts.substr(first->length), "Installed /One.pkg successfully\n");
}

TEST(MessageCatalogue, KnowsWhoWritesWhere) {
    EXPECT_FALSE(catalogue().behindStamp("Installed /One.pkg successfully\n"));
    EXPECT_FALSE(catalogue().atLine("ERROR: Download Failed\n", MessageStream::trace));
    EXPECT_FALSE(catalogue().atLine("Error: unable to parse file \"/One.xml\"\n", MessageStream::output));
    EXPECT_TRUE(catalogue().atLine("Error: unable to parse file \"/One.xml\"\n", MessageStream::error));
}

TEST(MessageCatalogue, KnowsNoLineOfOthersAndNoHalfOne) {
    EXPECT_FALSE(catalogue().behindStamp("Starting up\n"));
    EXPECT_FALSE(catalogue().behindStamp("ERROR: Download Fail"));
    EXPECT_FALSE(catalogue().behindStamp("Tolvane Handler : INFO Velbrim http code = ten\n"));
    EXPECT_FALSE(catalogue().behindStamp(""));
}

TEST(MessageCatalogue, TellsWhatAFollowingLineSays) {
    const Message *noUpdate = catalogue().find("no-update");
    ASSERT_NE(noUpdate, nullptr);
    ASSERT_EQ(noUpdate->followed.size(), 1U);
    EXPECT_EQ(noUpdate->followed.front().by, "no-reply");
    EXPECT_TRUE(noUpdate->followed.front().isNormal);
    EXPECT_EQ(catalogue().find("nothing"), nullptr);
}

TEST(MessageCatalogue, RefusesATextThatIsNone) {
    EXPECT_THROW(MessageCatalogue(""), std::exception);
    EXPECT_THROW(MessageCatalogue("{}"), std::exception);
    EXPECT_THROW(MessageCatalogue("{\"messages\": [{\"id\": \"one\"}]}"), std::exception);
}

} // namespace
