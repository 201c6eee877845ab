// What is told of the runs of a log.
#include "Story.h"

#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Lines.h"
#include "Telling.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

const std::string url = "https://host/One.pkg";
const std::string path = "/usr/local/Brovik/TempDownload/Package/1.0.1.0/One.pkg";

std::vector<RunStory> storiesOf(const std::string &text) {
    std::vector<RunStory> stories;
    StoryTeller teller([&stories](RunStory story) { stories.push_back(std::move(story)); });
    std::istringstream log(text);
    LogReader reader(log);
    while (const std::optional<LogEntry> entry = reader.next())
        teller.take(*entry);
    teller.finish();
    return stories;
}

RunStory storyOf(const std::string &text) {
    std::vector<RunStory> stories = storiesOf(text);
    EXPECT_THAT(stories, SizeIs(1));
    return stories.empty() ? RunStory() : stories.front();
}

std::vector<std::string> findingsOf(const RunStory &story) {
    std::vector<std::string> ids;
    for (const Finding &finding : story.findings)
        ids.push_back(finding.id);
    return ids;
}

TEST(Story, OfACheckWithoutAnUpdateHasNothingToDoAndFindsNothing) {
    const RunStory story = storyOf(idleCheck());
    EXPECT_EQ(story.kind, RunKind::check);
    EXPECT_EQ(story.end, RunEnd::nothingToDo);
    EXPECT_TRUE(isWell(story));
    EXPECT_EQ(story.version, "1.0.0.5");
    EXPECT_EQ(story.affiliate, "105-1");
    EXPECT_EQ(story.httpCode, "200");
    EXPECT_EQ(story.answer, "no update");
    EXPECT_EQ(story.began, "2026-11-22.07:00:00");
    EXPECT_EQ(story.ended, "2026-11-22.07:00:01");
    EXPECT_EQ(story.firstLine, 1U);
    EXPECT_EQ(story.lastLine, 11U);
    EXPECT_THAT(story.findings, IsEmpty());
}

TEST(Story, OfAServiceThatDoesNotAnswerIsAFailureWithItsRemedy) {
    const RunStory story = storyOf(deafCheck());
    EXPECT_EQ(story.end, RunEnd::failed);
    EXPECT_EQ(story.answer, "no reply");
    ASSERT_THAT(findingsOf(story), ElementsAre("no-reply"));
    EXPECT_EQ(story.findings.front().line, 9U);
    EXPECT_EQ(story.findings.front().remedy, MessageCatalogue::builtIn().find("no-reply")->remedy);
}

TEST(Story, OfADownloadCountsItsAttemptsAndHashChecks) {
    const RunStory story = storyOf(
        checkStarts(0) + asks(0) + isAnswered(1) + at(1, "INFO : TolvaneHandler - Update Available") +
        at(2, "INFO : Start download: " + url) +
        at(3, "ERROR : Download Failed with CURL error code CURLE_PARTIAL_FILE for " + url) +
        at(3, "Resume Download: " + url) + at(3, "INFO : Start download: " + url) +
        at(4, "INFO: Checking HashSUM : " + path) + at(5, "Error: Hash mismatch : " + path) +
        at(5, "Resume Download: " + url) + at(5, "INFO : Start download: " + url) +
        at(6, "INFO: Checking HashSUM : " + path) + at(7, "INFO:Success Checking HashSUM : " + path) +
        at(7, "Successfully downloaded: " + url) + at(7, "ERROR : Download Failed: " + url) + exits(8));
    EXPECT_EQ(story.end, RunEnd::well);
    EXPECT_EQ(story.answer, "a release");
    ASSERT_THAT(story.transfers, SizeIs(1));
    const TransferStory &transfer = story.transfers.front();
    EXPECT_EQ(transfer.url, url);
    EXPECT_EQ(transfer.state, TransferStory::State::done);
    EXPECT_EQ(transfer.attempts, 3U);
    EXPECT_EQ(transfer.resumes, 2U);
    EXPECT_EQ(transfer.hashChecks, 2U);
    EXPECT_EQ(transfer.hashFailures, 1U);
    EXPECT_EQ(transfer.began, "2026-11-22.07:00:02");
    EXPECT_EQ(transfer.ended, "2026-11-22.07:00:07");
}

TEST(Story, OfADownloadThatFailedTellsWhatTheCodesMean) {
    const RunStory story =
        storyOf(checkStarts(0) + asks(0) + isAnswered(1) + at(2, "INFO : Start download: " + url) +
                at(3, "Error: HTTP response= 0 and CURL response = 60, URL: " + url) +
                at(3, "ERROR: Download Failed") + exits(3));
    EXPECT_EQ(story.end, RunEnd::failed);
    EXPECT_EQ(story.transfers.front().state, TransferStory::State::failed);
    ASSERT_THAT(findingsOf(story), ElementsAre("transfer-failed", "update-download-failed"));
    EXPECT_THAT(story.findings.front().happened, testing::HasSubstr("certificate"));
}

const std::string installationStarts =
    checkStarts(0) + at(0, "INFO: Installation of Updates starts") +
    at(0, "INFO: Getting order of installation ") + at(0, "INFO: Installing /One.pkg ") +
    at(0, "INFO: Installing /Two.pkg ") +
    at(0, "INFO : Installing Packages from /usr/local/repost/installer.sh") +
    at(10, "Child process: executing /usr/local/repost/installer.sh ");

TEST(Story, OfAnInstallationTellsEachPackage) {
    const RunStory story =
        storyOf(installationStarts + " Installing /One.pkg\nInstalled /One.pkg successfully\n"
                                     " Installing /Two.pkg\nInstalled /Two.pkg successfully\n");
    EXPECT_EQ(story.kind, RunKind::installation);
    EXPECT_EQ(story.end, RunEnd::well);
    ASSERT_THAT(story.installations, SizeIs(2));
    EXPECT_EQ(story.installations[1].path, "/Two.pkg");
    EXPECT_EQ(story.installations[1].state, InstallationStory::State::done);
}

TEST(Story, OfAnInstallationThatFailsOrStopsIsNotWell) {
    const RunStory failed =
        storyOf(installationStarts + " Installing /One.pkg\nFailed to install /One.pkg\n");
    EXPECT_EQ(failed.end, RunEnd::failed);
    EXPECT_EQ(failed.installations[0].state, InstallationStory::State::failed);
    EXPECT_EQ(failed.installations[1].state, InstallationStory::State::listed);
    EXPECT_EQ(storyOf(installationStarts + " Installing /One.pkg\n").end, RunEnd::stopped);
}

TEST(Story, OfAFreshInstallationIsWellOnceItIsRecorded) {
    const std::string begins =
        at(0, "INFO: Enter FreshInstall") + at(0, "INFO: Enter sendTolvaneFreshInstallRequest") +
        isAnswered(1) + at(2, "INFO : Start download: " + url) + at(7, "Successfully downloaded: " + url);
    EXPECT_EQ(storyOf(begins).end, RunEnd::stopped);
    const RunStory story =
        storyOf(begins + at(8, "INFO: Updating /tmp/configuratiob.plist : buildno and version ") +
                at(8, "INFO: Version and Build no Updated to plist successfully"));
    EXPECT_EQ(story.kind, RunKind::freshInstallation);
    EXPECT_EQ(story.end, RunEnd::well);
}

TEST(Stories, OfRunsThatFollowEachOtherComeInTheirOrder) {
    const std::vector<RunStory> stories = storiesOf(idleCheck() + deafCheck() + idleCheck());
    ASSERT_THAT(stories, SizeIs(3));
    EXPECT_EQ(stories[0].end, RunEnd::nothingToDo);
    EXPECT_EQ(stories[1].end, RunEnd::failed);
    EXPECT_EQ(stories[1].number, 2U);
    EXPECT_EQ(stories[1].firstLine, 12U);
}

TEST(Stories, OfACheckThatWaitsForAnotherAreToldApart) {
    const std::vector<RunStory> stories = storiesOf(
        checkStarts(0) + asks(0) + checkStarts(1) +
        at(1, "INFO: Waiting for another job on this machine to end") + isAnswered(2) +
        at(2, "INFO : TolvaneHandler - No Update") + at(2, "ERROR Tolvane response") + exits(2) + asks(3) +
        at(4, "INFO :Tolvane Response - ") + at(4, "INFO : Processing Tolvane Response") +
        at(4, "INFO : TolvaneHandler - Update Available") + at(4, "ERROR Tolvane response") + exits(4));
    ASSERT_THAT(stories, SizeIs(2));
    EXPECT_EQ(stories[0].answer, "no update");
    EXPECT_EQ(stories[0].end, RunEnd::nothingToDo);
    EXPECT_EQ(stories[0].ended, "2026-11-22.07:00:02");
    EXPECT_TRUE(stories[1].waited);
    EXPECT_EQ(stories[1].answer, "no reply");
    EXPECT_EQ(stories[1].end, RunEnd::failed);
}

TEST(Stories, OfARunThatWasKilledStops) {
    const std::vector<RunStory> stories = storiesOf(checkStarts(0) + asks(0) + idleCheck());
    ASSERT_THAT(stories, SizeIs(2));
    EXPECT_EQ(stories[0].end, RunEnd::stopped);
    EXPECT_EQ(stories[1].end, RunEnd::nothingToDo);
}

TEST(Stories, KeepForeignLinesWithTheRunAmongWhoseLinesTheyStand) {
    const RunStory story = storyOf(checkStarts(0) + "from another program\n" + asks(0));
    ASSERT_THAT(story.unknownLines, SizeIs(1));
    EXPECT_EQ(story.unknownLines.front().line, 4U);
    EXPECT_EQ(story.unknownLines.front().text, "from another program");
}

TEST(Stories, TakeBoundedMemoryForLinesThatNobodyKnows) {
    std::string foreign;
    for (int line = 0; line < 5000; ++line)
        foreign += "from another program\n";
    const RunStory story = storyOf(checkStarts(0) + foreign);
    EXPECT_THAT(story.unknownLines, SizeIs(RunStory::mostLines));
    EXPECT_EQ(story.left, 5000 - RunStory::mostLines);
}

} // namespace
