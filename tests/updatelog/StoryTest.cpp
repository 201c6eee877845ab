// What is told of the runs of a log.
#include <ctime>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Lines.h"
#include "Stories.h"
#include "Telling.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

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

// For the engine whatever does not say otherwise is a success.
TEST(Story, OfAPageInPlaceOfAReplyTellsOfNoRelease) {
    const RunStory story = storyOf(checkStarts(0) + asks(0) + isAnswered(1, "<html/>") +
                                   at(1, "INFO : TolvaneHandler - Update Available") +
                                   at(2, "No products found For Update") + exits(3));
    EXPECT_EQ(story.answer, "a reply");
    EXPECT_EQ(story.end, RunEnd::failed);
}

TEST(Story, OfADownloadCountsItsAttemptsAndHashChecks) {
    const RunStory story = storyOf(
        checkStarts(0) + asks(0) + isAnswered(1) + namesCatalog(1) +
        at(2, "INFO : Start download: " + packageUrl) +
        at(3, "ERROR : Download Failed with CURL error code CURLE_PARTIAL_FILE for " + packageUrl) +
        at(3, "Resume Download: " + packageUrl) + at(3, "INFO : Start download: " + packageUrl) +
        at(4, "INFO: Checking HashSUM : " + packagePath) + at(5, "Error: Hash mismatch : " + packagePath) +
        at(5, "Resume Download: " + packageUrl) + at(5, "INFO : Start download: " + packageUrl) +
        at(6, "INFO: Checking HashSUM : " + packagePath) +
        at(7, "INFO:Success Checking HashSUM : " + packagePath) +
        at(7, "Successfully downloaded: " + packageUrl) + at(7, "ERROR : Download Failed: " + packageUrl) +
        exits(8));
    EXPECT_EQ(story.end, RunEnd::well);
    EXPECT_EQ(story.answer, "a release");
    ASSERT_THAT(story.transfers, SizeIs(1));
    const TransferStory &transfer = story.transfers.front();
    EXPECT_EQ(transfer.url, packageUrl);
    EXPECT_EQ(transfer.state, TransferStory::State::done);
    EXPECT_EQ(transfer.attempts, 3U);
    EXPECT_EQ(transfer.resumes, 2U);
    EXPECT_EQ(transfer.hashChecks, 2U);
    EXPECT_EQ(transfer.hashFailures, 1U);
    EXPECT_EQ(transfer.began, "2026-11-22.07:00:02");
    EXPECT_EQ(transfer.ended, "2026-11-22.07:00:07");
    // What a later line has settled needs nothing to be done.
    ASSERT_THAT(findingsOf(story), ElementsAre("transfer-broke-off", "hash-wrong"));
    EXPECT_EQ(story.findings[0].settled, "The rest is asked for; nothing is lost.");
    EXPECT_EQ(story.findings[1].settled, "It is fetched again whole.");
}

TEST(Story, OfOneFilesResumeSettlesNothingOfAnothers) {
    const RunStory story =
        storyOf(checkStarts(0) + asks(0) + isAnswered(1) + at(2, "INFO : Start download: " + packageUrl) +
                at(3, "ERROR : Download Failed with CURL error code CURLE_PARTIAL_FILE for " + packageUrl) +
                at(3, "Resume Download: https://host/Two.pkg"));
    ASSERT_THAT(findingsOf(story), ElementsAre("transfer-broke-off"));
    EXPECT_EQ(story.findings[0].settled, "");
}

TEST(Story, OfACancelIsNoFailureOfItsTransfers) {
    const std::string ended = at(3, "Download Error: CURLE_ABORTED_BY_CALLBACK URL: " + packageUrl);
    const std::string begins =
        checkStarts(0) + asks(0) + isAnswered(1) + at(2, "INFO : Start download: " + packageUrl);
    EXPECT_THAT(findingsOf(storyOf(begins + at(2, "Cancel Downloading") + ended)), IsEmpty());
    EXPECT_THAT(findingsOf(storyOf(begins + ended)), ElementsAre("transfer-ended"));
}

TEST(Story, OfADownloadThatFailedTellsWhatTheCodesMean) {
    const RunStory story =
        storyOf(checkStarts(0) + asks(0) + isAnswered(1) + at(2, "INFO : Start download: " + packageUrl) +
                at(3, "Error: HTTP response= 0 and CURL response = 60, URL: " + packageUrl) +
                at(3, "ERROR: Download Failed") + exits(3));
    EXPECT_EQ(story.end, RunEnd::failed);
    EXPECT_EQ(story.transfers.front().state, TransferStory::State::failed);
    ASSERT_THAT(findingsOf(story), ElementsAre("transfer-failed", "update-download-failed"));
    EXPECT_THAT(story.findings.front().happened, testing::HasSubstr("certificate"));
}

TEST(Story, OfAnInstallationTellsEachPackage) {
    const RunStory story =
        storyOf(installationStarts() + " Installing /One.pkg\nInstalled /One.pkg successfully\n"
                                       " Installing /Two.pkg\nInstalled /Two.pkg successfully\n");
    EXPECT_EQ(story.kind, RunKind::installation);
    EXPECT_EQ(story.end, RunEnd::well);
    ASSERT_THAT(story.installations, SizeIs(2));
    EXPECT_EQ(story.installations[1].path, "/Two.pkg");
    EXPECT_EQ(story.installations[1].state, InstallationStory::State::done);
}

TEST(Story, OfAnInstallationThatFailsOrStopsIsNotWell) {
    const RunStory failed =
        storyOf(installationStarts() + " Installing /One.pkg\nFailed to install /One.pkg\n");
    EXPECT_EQ(failed.end, RunEnd::failed);
    EXPECT_EQ(failed.installations[0].state, InstallationStory::State::failed);
    EXPECT_EQ(failed.installations[1].state, InstallationStory::State::listed);
    EXPECT_EQ(storyOf(installationStarts() + " Installing /One.pkg\n").end, RunEnd::stopped);
}

// Each line of the script is about one of them.
TEST(Story, OfAnInstallationTellsAPackageThatIsListedTwiceTwice) {
    using State = InstallationStory::State;
    const std::string twice = checkStarts(0) + at(0, "INFO: Installing /One.pkg ") +
                              at(0, "INFO: Installing /One.pkg ") +
                              at(1, "Child process: executing /usr/local/repost/installer.sh ") +
                              " Installing /One.pkg\nInstalled /One.pkg successfully\n";
    const auto statesOf = [](const RunStory &story) {
        std::vector<State> states;
        for (const InstallationStory &each : story.installations)
            states.push_back(each.state);
        return states;
    };
    EXPECT_THAT(statesOf(storyOf(twice)), ElementsAre(State::done, State::listed));
    EXPECT_EQ(storyOf(twice).end, RunEnd::stopped);
    const RunStory whole = storyOf(twice + " Installing /One.pkg\nFailed to install /One.pkg\n");
    EXPECT_THAT(statesOf(whole), ElementsAre(State::done, State::failed));
    EXPECT_EQ(whole.end, RunEnd::failed);
    EXPECT_THAT(statesOf(storyOf(twice + " Installing /One.pkg\nInstalled /One.pkg successfully\n"
                                         "Installed /One.pkg successfully\n")),
                ElementsAre(State::done, State::done));
}

double secondsToTell(const std::string &log) {
    const std::clock_t began = std::clock();
    static_cast<void>(storyOf(log));
    return static_cast<double>(std::clock() - began) / CLOCKS_PER_SEC;
}

// Whoever compares each line with every package needs ten times as long.
TEST(Stories, OfManyPackagesTakeAsLongAsThatOfOne) {
    constexpr int lines = 15000;
    std::string one = installationStarts();
    std::string many = checkStarts(0);
    for (int number = 0; number < lines; ++number)
        many += at(0, "INFO: Installing /" + std::to_string(number) + ".pkg ");
    const double listing = secondsToTell(many);
    many += at(1, "Child process: executing /usr/local/repost/installer.sh ");
    for (int number = 0; number < lines; ++number) {
        many += " Installing /" + std::to_string(number) + ".pkg\n";
        one += " Installing /One.pkg\n";
    }
    EXPECT_LT(secondsToTell(many), 3 * (listing + secondsToTell(one)));
}

TEST(Story, OfAFreshInstallationIsWellOnceItIsRecorded) {
    const std::string begins = at(0, "INFO: Enter FreshInstall") +
                               at(0, "INFO: Enter sendTolvaneFreshInstallRequest") + isAnswered(1) +
                               at(2, "INFO : Start download: " + packageUrl) +
                               at(7, "Successfully downloaded: " + packageUrl);
    EXPECT_EQ(storyOf(begins).end, RunEnd::stopped);
    const RunStory story =
        storyOf(begins + at(8, "INFO: Updating /tmp/configuratiob.plist : buildno and version ") +
                at(8, "INFO: Version and Build no Updated to plist successfully"));
    EXPECT_EQ(story.kind, RunKind::freshInstallation);
    EXPECT_EQ(story.end, RunEnd::well);
}

// No line says so but the transfer's own.
TEST(Story, OfAFreshInstallationWhosePackageFailedIsAFailure) {
    const std::string begins = at(0, "INFO: Enter FreshInstall") +
                               at(0, "INFO: Enter sendTolvaneFreshInstallRequest") + isAnswered(1) +
                               at(2, "INFO : Start download: " + packageUrl);
    const std::string brokeOff =
        at(3, "ERROR : Download Failed with CURL error code CURLE_PARTIAL_FILE for " + packageUrl);
    for (const std::string &end :
         {at(3, "Error: HTTP response= 404 and CURL response = 0, URL: " + packageUrl),
          at(3, "Download Error: CURLE_OPERATION_TIMEDOUT URL: " + packageUrl), brokeOff,
          at(3, "ERROR : Download Failed: " + packageUrl), // no catalog gives its hash
          at(3, "ERROR: Exit maximum no of Checking HashSUM : " + packagePath)}) {
        const RunStory story = storyOf(begins + end);
        EXPECT_EQ(story.end, RunEnd::failed) << end;
        EXPECT_THAT(story.findings, SizeIs(1));
        const RunStory retried = storyOf(
            begins + end + at(4, "INFO: DownloadController - Retrying Download") +
            at(4, "Resume downloading of " + packageUrl) + at(4, "Resume Download: " + packageUrl) +
            at(4, "INFO : Start download: " + packageUrl) + at(5, "Successfully downloaded: " + packageUrl) +
            at(5, "INFO: Version and Build no Updated to plist successfully"));
        EXPECT_EQ(retried.end, RunEnd::well) << end;
        EXPECT_EQ(retried.transfers.front().state, TransferStory::State::done) << end;
    }
    EXPECT_EQ(storyOf(begins + brokeOff + at(3, "Resume Download: " + packageUrl) +
                      at(3, "INFO : Start download: " + packageUrl))
                  .end,
              RunEnd::stopped);
    EXPECT_EQ(storyOf(begins + at(4, "Successfully downloaded: " + packageUrl) +
                      at(5, "ERROR: Version and Build no Updated to plist Failed !"))
                  .end,
              RunEnd::failed);
}

TEST(Story, OfWhatAHostRetriesWellLeavesNothingToDo) {
    const std::string begins =
        at(0, "INFO: Enter FreshInstall") + isAnswered(1) + at(2, "INFO : Start download: " + packageUrl);
    const std::string retried =
        at(4, "INFO: DownloadController - Retrying Download") + at(4, "Resume downloading of " + packageUrl) +
        at(4, "Resume Download: " + packageUrl) + at(4, "INFO : Start download: " + packageUrl) +
        at(5, "Successfully downloaded: " + packageUrl);
    for (const std::string &end :
         {at(3, "Error: HTTP response= 404 and CURL response = 0, URL: " + packageUrl),
          at(3, "Download Error: CURLE_OPERATION_TIMEDOUT URL: " + packageUrl),
          at(3, "ERROR : Download Failed: " + packageUrl),
          at(3, "Error occurred in creating output file : " + packagePath + " ") +
              at(3, "Not able to initialize curl: " + packageUrl)}) {
        for (const Finding &finding : storyOf(begins + end + retried).findings)
            EXPECT_EQ(finding.settled, "A later try has brought the file.") << end;
        for (const Finding &finding : storyOf(begins + end).findings)
            EXPECT_EQ(finding.settled, "") << end;
    }
}

TEST(Story, OfAListThatNamesNothingIsAFailure) {
    const RunStory story = storyOf(checkStarts(0) + at(0, "No Updates available") + exits(0));
    EXPECT_EQ(story.kind, RunKind::installation);
    EXPECT_EQ(story.end, RunEnd::failed);
    EXPECT_THAT(findingsOf(story), ElementsAre("list-empty"));
}

// It may have been refused.
TEST(Story, OfABrandingPackageDoesNotSayThatItIsInstalled) {
    const RunStory story = storyOf(checkStarts(0) + at(0, "INFO: Installation of Updates starts") +
                                   at(0, "INFO: Installing /DynamicBranding.pkg ") +
                                   at(0, "INFO: Installation /DynamicBranding.pkg Succeded ") +
                                   at(0, "INFO: Getting order of installation ") +
                                   at(0, "INFO : Installing Packages from /usr/local/repost/installer.sh") +
                                   at(10, "Child process: executing /usr/local/repost/installer.sh "));
    ASSERT_THAT(story.installations, SizeIs(1));
    EXPECT_EQ(inWords(story.installations.front()), "/DynamicBranding.pkg: ended, nobody looks how");
    EXPECT_EQ(story.end, RunEnd::well);
}

TEST(Story, OfAModeThatIsNoneIsAFailure) {
    const RunStory story = storyOf(checkStarts(0) + exits(0));
    EXPECT_EQ(story.end, RunEnd::failed);
    ASSERT_THAT(findingsOf(story), ElementsAre("updater-exited"));
    EXPECT_THAT(story.findings.front().happened, testing::HasSubstr("neither \"CheckForInstall\" nor"));
    EXPECT_THAT(story.findings.front().remedy, testing::HasSubstr("productUpdater(8)"));
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

// Who waits goes on before the other one has written its last line.
TEST(Stories, OfAJobThatIsDoneAndExitsLateAreToldApart) {
    const std::string waits = at(1, "INFO: Waiting for another job on this machine to end");
    const std::string nothing =
        isAnswered(2) + at(2, "INFO : TolvaneHandler - No Update") + at(2, "ERROR Tolvane response");
    const std::string begin = checkStarts(0) + asks(0) + checkStarts(1) + waits + nothing;
    for (const std::string &log : {begin + asks(3) + exits(3) + nothing + exits(4) + idleCheck(),
                                   begin + exits(3) + asks(3) + nothing + exits(4) + idleCheck()}) {
        const std::vector<RunStory> stories = storiesOf(log);
        ASSERT_THAT(stories, SizeIs(3));
        EXPECT_EQ(stories[0].end, RunEnd::nothingToDo);
        EXPECT_EQ(stories[0].ended, "2026-11-22.07:00:03");
        EXPECT_EQ(stories[1].end, RunEnd::nothingToDo);
        EXPECT_EQ(stories[1].ended, "2026-11-22.07:00:04");
        EXPECT_EQ(stories[1].answer, "no update");
    }
}

// Nobody waits any longer for the last line of one that was killed behind its job.
TEST(Stories, OfAJobThatIsDoneAndIsKilledTakeNoOthersLastLine) {
    const std::string nothing =
        isAnswered(2) + at(2, "INFO : TolvaneHandler - No Update") + at(2, "ERROR Tolvane response");
    for (const std::string &last : {checkStarts(5) + exits(6), checkStarts(5) + asks(5) + exits(6)}) {
        const std::vector<RunStory> stories =
            storiesOf(checkStarts(0) + asks(0) + nothing + idleCheck() + last);
        ASSERT_THAT(stories, SizeIs(3));
        EXPECT_EQ(stories[0].ended, "2026-11-22.07:00:02");
        EXPECT_EQ(stories[1].ended, "2026-11-22.07:00:01");
        EXPECT_EQ(stories[2].ended, "2026-11-22.07:00:06");
    }
}

TEST(Stories, OfARunThatWasKilledStops) {
    const std::vector<RunStory> stories = storiesOf(checkStarts(0) + asks(0) + idleCheck());
    ASSERT_THAT(stories, SizeIs(2));
    EXPECT_EQ(stories[0].end, RunEnd::stopped);
    EXPECT_EQ(stories[1].end, RunEnd::nothingToDo);
}

TEST(Stories, OfTheScriptOfARunThatWasKilledGoOnBesideTheNextRun) {
    const std::vector<RunStory> stories =
        storiesOf(installationStarts() + " Installing /One.pkg\n" + checkStarts(0) + asks(0) +
                  "Installed /One.pkg successfully\n Installing /Two.pkg\n" + isAnswered(1) +
                  at(1, "INFO : TolvaneHandler - No Update") + at(1, "ERROR Tolvane response") + exits(1) +
                  "Installed /Two.pkg successfully\n");
    ASSERT_THAT(stories, SizeIs(2));
    EXPECT_EQ(stories[0].kind, RunKind::installation);
    EXPECT_EQ(stories[0].end, RunEnd::well);
    EXPECT_EQ(stories[1].end, RunEnd::nothingToDo);
    EXPECT_THAT(stories[1].installations, IsEmpty());
}

TEST(Stories, OfARunThatWasKilledGetNoLineOfALaterOne) {
    const std::string installation = installationStarts() + " Installing /One.pkg\n" +
                                     "Installed /One.pkg successfully\n Installing /Two.pkg\n" +
                                     "Installed /Two.pkg successfully\n";
    for (const std::string &older : {checkStarts(0) + asks(0), installation}) {
        const std::vector<RunStory> stories =
            storiesOf(older + checkStarts(1) + asks(1) + checkStarts(1) +
                      at(1, "INFO: Waiting for another job on this machine to end") + isAnswered(2) +
                      at(2, "INFO : TolvaneHandler - No Update") + at(2, "ERROR Tolvane response") +
                      exits(2) + asks(3) + at(4, "INFO :Tolvane Response - ") +
                      at(4, "ERROR Tolvane response") + exits(4) + "from another program\n");
        ASSERT_THAT(stories, SizeIs(3));
        EXPECT_EQ(stories[0].lastLine + 1, stories[1].firstLine);
        EXPECT_THAT(stories[0].unknownLines, IsEmpty());
        EXPECT_EQ(stories[1].end, RunEnd::nothingToDo);
        EXPECT_EQ(stories[2].end, RunEnd::failed);
        EXPECT_THAT(stories[2].unknownLines, SizeIs(1));
    }
}

TEST(Stories, OfAHostThatWaitsForACheckAreToldApart) {
    const std::string fresh = at(3, "INFO: Enter FreshInstall") +
                              at(3, "INFO: Enter sendTolvaneFreshInstallRequest") + isAnswered(4) +
                              at(5, "INFO : Start download: " + packageUrl) +
                              at(6, "Successfully downloaded: " + packageUrl);
    const std::string recorded = at(7, "INFO: Version and Build no Updated to plist successfully");
    const std::vector<RunStory> stories = storiesOf(
        checkStarts(0) + asks(0) + at(0, "INFO: Waiting for another job on this machine to end") +
        isAnswered(1) + at(1, "INFO : TolvaneHandler - No Update") + at(1, "ERROR Tolvane response") +
        exits(2) + fresh + checkStarts(6) + asks(6) + recorded + deafCheck());
    ASSERT_THAT(stories, SizeIs(4));
    EXPECT_EQ(stories[0].end, RunEnd::nothingToDo);
    EXPECT_EQ(stories[1].kind, RunKind::freshInstallation);
    EXPECT_TRUE(stories[1].waited);
    EXPECT_EQ(stories[1].end, RunEnd::well);
    EXPECT_EQ(stories[2].end, RunEnd::stopped);
    EXPECT_FALSE(stories[2].isRecorded);
}

// It has begun its work when the older one has not.
TEST(Stories, OfACheckThatWaitsForOneThatIsKilledAreToldApart) {
    const std::string waits = at(1, "INFO: Waiting for another job on this machine to end");
    const std::vector<RunStory> stories =
        storiesOf(checkStarts(0) + asks(0) + checkStarts(1) + waits + asks(2) + isAnswered(2) +
                  at(2, "INFO : TolvaneHandler - No Update") + at(2, "ERROR Tolvane response") + exits(2));
    ASSERT_THAT(stories, SizeIs(2));
    EXPECT_EQ(stories[0].end, RunEnd::stopped);
    EXPECT_EQ(stories[1].end, RunEnd::nothingToDo);
}

TEST(Stories, BeginWithTheirFirstLineOfTheEngine) {
    const RunStory story = storyOf("from another program\nand another\n" + idleCheck());
    EXPECT_EQ(story.number, 1U);
    EXPECT_EQ(story.began, "2026-11-22.07:00:00");
    EXPECT_EQ(story.firstLine, 1U);
    EXPECT_THAT(story.unknownLines, SizeIs(2));
    EXPECT_EQ(story.end, RunEnd::nothingToDo);
}

TEST(Stories, OfALogWhoseBeginningIsMissingTellWhatIsThere) {
    const RunStory story = storyOf("Installed /One.pkg successfully\n Installing /Two.pkg\n"
                                   "Failed to install /Two.pkg\n");
    EXPECT_EQ(story.end, RunEnd::failed);
    ASSERT_THAT(story.installations, SizeIs(2));
    EXPECT_EQ(story.installations[0].state, InstallationStory::State::done);
    EXPECT_EQ(story.installations[1].state, InstallationStory::State::failed);
}

// A job asks once, and one that fetches does not install.
TEST(Stories, OfRunsWhoseBeginningsAreMissingBehindOneThatWasKilledAreToldApart) {
    const std::string killed = checkStarts(0) + asks(0) + isAnswered(1) + namesCatalog(1) +
                               at(2, "INFO : Start download: " + packageUrl);
    const std::string body = at(3, "INFO : Tolvane Handler - Creating Tolvane request body");
    const std::string installing = at(3, "INFO: Installing /One.pkg ") +
                                   at(3, "INFO : Installing Packages from /usr/local/repost/installer.sh");
    for (const std::string &cut :
         {at(3, "INFO: Enter sendTolvaneFreshInstallRequest") + body, body,
          at(3, "INFO :Tolvane Handler - sendTolvaneRequest"), isAnswered(3), installing}) {
        const std::vector<RunStory> stories = storiesOf(killed + cut);
        ASSERT_THAT(stories, SizeIs(2)) << cut;
        EXPECT_EQ(jsonOf(stories.front()), jsonOf(storyOf(killed)));
    }
    const std::vector<RunStory> fresh =
        storiesOf(checkStarts(0) + asks(0) + at(3, "INFO: Enter sendTolvaneFreshInstallRequest"));
    ASSERT_THAT(fresh, SizeIs(2));
    EXPECT_EQ(fresh.front().kind, RunKind::check);
    const std::vector<RunStory> answered =
        storiesOf(checkStarts(0) + at(0, "INFO: Installation of Updates starts") + isAnswered(3));
    ASSERT_THAT(answered, SizeIs(2));
    EXPECT_EQ(answered.front().answer, "");
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

TEST(Stories, TakeBoundedMemoryForWhateverIsLongOrMany) {
    std::string log = checkStarts(0);
    const std::string endless(60000, 'x');
    for (int line = 0; line < 100; ++line) {
        const std::string name = endless + std::to_string(line);
        log += endless + "\n" + at(1, "INFO : Start download: https://host/" + name) +
               at(1, "ERROR: " + name + " Package Missing") + at(1, "INFO: Installing " + name + " ") +
               at(1, "Successfully downloaded: https://host/" + name);
    }
    const RunStory story = storyOf(log);
    std::size_t bytes = 0;
    for (const UnknownLine &line : story.unknownLines)
        bytes += line.text.size();
    for (const Finding &finding : story.findings)
        bytes += finding.text.size();
    for (const TransferStory &transfer : story.transfers)
        bytes += transfer.url.size();
    for (const InstallationStory &installation : story.installations)
        bytes += installation.path.size();
    EXPECT_LT(bytes, RunStory::mostBytes);
    EXPECT_GT(bytes, RunStory::mostBytes / 3); // some are kept to find them, too
    EXPECT_EQ(story.left, 400 - story.unknownLines.size() - story.findings.size() - story.transfers.size() -
                              story.installations.size());
}

} // namespace
