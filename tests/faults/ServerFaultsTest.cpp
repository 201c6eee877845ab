// Servers that break off, refuse, answer with errors or with other bytes.

#include <gtest/gtest.h>

#include "Observed.h"
#include "PackageFault.h"
#include "Paths.h"
#include "Program.h"
#include "Release.h"

namespace {

using namespace Lines;

const std::string content = onePackageContent();

std::string flipped(std::string bytes, std::size_t position) {
    bytes[position] = static_cast<char>(~bytes[position]);
    return bytes;
}

const std::string otherContent(content.rbegin(), content.rend());

std::vector<PackageFault> plain() {
    return {
        {"ClosedInMidBodyOnce", {"/One.pkg 1 cut 40000\n", {}}, resumed, true, content},
        {"ResetInMidBody",
         {"/One.pkg * reset 40000\n", {}},
         started + failedWith(200, 56),
         false,
         content.substr(0, 40000)},
        {"BitFlippedOnce", {"/One.pkg 1 wrong 50000\n", {}}, goodTheSecondTime, true, content},
    };
}

std::vector<PackageFault> brokenOff() {
    return {
        {"ClosedAtTheFirstByteOnce", {"/One.pkg 1 cut 0\n", {}}, resumed, true, content},
        {"ClosedBeforeTheLastByteOnce", {"/One.pkg 1 cut 99999\n", {}}, resumed, true, content},
        {"ClosedInMidBodyAlways",
         {"/One.pkg * cut 1000\n", {}},
         started + partial + again + partial + again + partial + again + partial,
         false,
         content.substr(0, 4000)},
        {"ClosedWithoutAnAnswer", {"/One.pkg * drop\n", {}}, started + failedWith(0, 52), false, ""},
        {"ResetAtTheFirstByte", {"/One.pkg * reset 0\n", {}}, started + failedWith(200, 56), false, ""},
        {"ResetBeforeTheLastByte",
         {"/One.pkg * reset 99999\n", {}},
         started + failedWith(200, 56),
         false,
         content.substr(0, 99999)},
        {"SlowAboveTheLimit", {"/One.pkg * slow 50000\n", {}}, fetched, true, content},
        {"BitFlippedAlways", {"/One.pkg * wrong 50000\n", {}}, givenUpAtLast, false, flipped(content, 50000)},
    };
}

std::vector<PackageFault> wrongRanges() {
    const std::string cutFirst = "/One.pkg 1 cut 40000\n";
    const std::string rest = content.substr(40000);
    const auto part = [](const std::string &range, const std::string &body) {
        return std::map<std::string, std::string>{
            {"part", head("206 Partial Content\r\nContent-Length: " + std::to_string(body.size()) +
                          (range.empty() ? "" : "\r\nContent-Range: bytes " + range)) +
                         body}};
    };
    const std::string refused = started + partial + again + failedWith(206, 33);
    return {
        {"OtherBytesInTheRange",
         {cutFirst + "/One.pkg 2 wrong 100\n", {}},
         started + partial + again + checking + mismatch + again + checking + matches + downloaded +
             notThisTime,
         true,
         content},
        {"AnotherRange",
         {cutFirst + "/One.pkg 2 raw part\n", part("0-59999/100000", content.substr(0, 60000))},
         refused,
         false,
         content.substr(0, 40000)},
        {"ARangeThatIsNotTold",
         {cutFirst + "/One.pkg 2 raw part\n", part("", rest)},
         refused,
         false,
         content.substr(0, 40000)},
        {"ARangeThatIsNone",
         {cutFirst + "/One.pkg 2 raw part\n", part("all of it", rest)},
         started + partial + again + checking + matches + downloaded,
         true,
         content},
        {"RangeOfAnotherLength",
         {cutFirst + "/One.pkg 2 raw part\n", part("40000-99999/7", rest)},
         started + partial + again + checking + matches + downloaded,
         true,
         content},
        {"RangeRefused",
         {cutFirst + "/One.pkg 2 no-ranges\n", {}},
         started + partial + again + failedWith(200, 33),
         false,
         content.substr(0, 40000)},
        {"RangeNotSatisfiable",
         {cutFirst + "/One.pkg 2 status 416 Not that\n", {}},
         started + partial + again + failedWith(416, 0),
         false,
         content.substr(0, 40000)},
        {"NotSatisfiableWithoutARange",
         {"/One.pkg * status 416 Not that\n", {}},
         started + failedWith(416, 0),
         false,
         "Not that"},
        {"PartWithoutARange",
         {"/One.pkg 1 raw part\n", part("40000-99999/100000", rest)},
         goodTheSecondTime,
         true,
         content},
        {"ReplacedBetweenAttempts",
         {cutFirst + "/One.pkg * as /Other.pkg\n", {}, {{"Other.pkg", otherContent}}},
         started + partial + again + checking + mismatch + again + checking + mismatch + again + givenUp +
             notThisTime + notThisTime + notThisTime,
         false,
         otherContent},
        {"ReplacedByAShorterOneBetweenAttempts",
         {cutFirst + "/One.pkg * as /Other.pkg\n", {}, {{"Other.pkg", content.substr(0, 30000)}}},
         started + partial + again + failedWith(416, 0),
         false,
         content.substr(0, 40000)},
    };
}

std::vector<PackageFault> errors() {
    const std::string page = "<html><body>Sorry</body></html>";
    const auto answered = [&page](const char *name, int code) {
        return PackageFault{name,
                            {"/One.pkg * status " + std::to_string(code) + " " + page +
                                 "\nHEAD:/One.pkg * status " + std::to_string(code) + "\n",
                             {}},
                            started + failedWith(code, 0),
                            false,
                            page};
    };
    return {
        answered("NotFound", 404),
        answered("Forbidden", 403),
        answered("ServerError", 500),
        answered("Unavailable", 503),
        {"NoContent",
         {"/One.pkg * raw none\n", {{"none", head("204 No Content")}}},
         started + failedWith(204, 0),
         false,
         ""},
        {"HtmlPageOnce", {"/One.pkg 1 status 200 " + page + "\n", {}}, goodTheSecondTime, true, content},
        {"HtmlPageAlways", {"/One.pkg * status 200 " + page + "\n", {}}, givenUpAtLast, false, page},
        {"EmptyBodyOnce", {"/One.pkg 1 status 200\n", {}}, goodTheSecondTime, true, content},
        {"EmptyBodyAlways", {"/One.pkg * status 200\n", {}}, givenUpAtLast, false, ""},
    };
}

const std::string question = ">INFO: Getting downloaded package URLS\n";

// Before anything is downloaded an installation asks for each package by HEAD.
void expectMissingByHead(const Job &job) {
    offerPackages(job, onePackage);
    misbehave("HEAD:/One.pkg * drop\n");
    const InstalledFiles installed;
    const Ended first = runJob(job);
    EXPECT_EQ(first.status, 1);
    EXPECT_EQ(tracedSinceLast(question),
              filledIn(">ERROR: {url} Package Missing\n>ERROR: Package Missing\n", job));
    EXPECT_TRUE(isRefused(job, first));
    EXPECT_TRUE(installed.areUnchanged());
    EXPECT_TRUE(sameFiles({}, filesBelow(packageDirectory())));
    expectCompleteOnceItIsGone(job);
}

// That question has no limit of time (kept); the host program's own ends it.
void expectWaitingForHead(const Job &job) {
    constexpr int timedOutStatus = 124;
    offerPackages(job, onePackage);
    misbehave("HEAD:/One.pkg * silent\n");
    const InstalledFiles installed;
    Ended first;
    // A slow machine may need longer to get that far.
    for (int seconds = 2; seconds < 60 && tracedSinceLast(question) != ""; seconds *= 2) {
        std::vector<std::string> command = commandOf(job);
        command.insert(command.end(), {"--timeout", std::to_string(seconds)});
        first = run(command);
        EXPECT_EQ(first.status, timedOutStatus);
    }
    EXPECT_EQ(tracedSinceLast(question), "");
    EXPECT_TRUE(isRefused(job, first));
    EXPECT_TRUE(installed.areUnchanged());
    EXPECT_TRUE(sameFiles({}, filesBelow(packageDirectory())));
    expectCompleteOnceItIsGone(job);
}

const bool registered = [] {
    registerPackageFaults(plain(), allJobs());
    registerPackageFaults(brokenOff());
    registerPackageFaults(wrongRanges());
    registerPackageFaults(errors());
    registerPackageFaults({{"StalledInHeaders", {"/One.pkg * silent\n", {}}, started + timedOut, false, ""}},
                          {freshInstallByHttp});
    registerPackageFaults(
        {{"StalledInHeadersLong", {"/One.pkg * silent\n", {}}, started + timedOut, false, ""}},
        {updateByHttps, updateByHttp, freshInstallByHttps});
    registerPackageFaults({{"StalledInBodyLong",
                            {"/One.pkg * stall 40000\n", {}},
                            started + timedOut,
                            false,
                            content.substr(0, 40000)}});
    const std::vector<Job> installations = {freshInstallByHttps, freshInstallByHttp};
    registerFault("ServerFault", "ClosedWhenAskedWhetherItIsThere", installations, expectMissingByHead);
    registerFault("ServerFault", "SilentWhenAskedWhetherItIsThere", installations, expectWaitingForHead);
    return true;
}();

} // namespace
