#include <algorithm>
#include <filesystem>

#include "ControllerFixture.h"
#include "WorkerFixture.h"

namespace {

using testing::ElementsAre;

const std::string content = fileContent(100001);
const std::string tool = "/usr/local/Brovik/qrn/bin/sha1sum";

const std::string startLine = "INFO : Start download: <url>\n";
const std::string successLine = "Successfully downloaded: <url>\n";
const std::string resumeLine = "Resume Download: <url>\n";
const std::string failedLine = "ERROR : Download Failed: <url>\n";
const std::string checkLine = "INFO: Checking HashSUM : <file>\n";
const std::string validLine = "INFO:Success Checking HashSUM : <file>\n";
const std::string mismatchLine = "Error: Hash mismatch : <file>\n";
const std::string noHashLine = "Error: Failed to get Hashsum of <file>\n";
const std::string giveUpLine = "ERROR: Exit maximum no of Checking HashSUM : <file>\n";

std::string lowerCase(std::string text) {
    for (char &character : text) {
        if (character >= 'A' && character <= 'F')
            character = static_cast<char>(character - 'A' + 'a');
    }
    return text;
}

// Two checks that end with the line, a third fetch that is not checked.
Messages givenUpAfter(const std::string &line) {
    return {startLine,  checkLine, line,       resumeLine, startLine,  checkLine, line,
            resumeLine, startLine, giveUpLine, failedLine, failedLine, failedLine};
}

void replaceTool(const std::string &script) {
    std::filesystem::remove(tool);
    writeText(tool, "#!/bin/bash\n" + script + "\n");
    std::filesystem::permissions(tool, std::filesystem::perms::owner_all);
}

class PackageValidationTest : public WorkerFixture {
protected:
    void loadPackage(const std::string &hash, const std::vector<Answer> &answers = {}) {
        server.serve("/a.pkg", content, answers);
        ASSERT_TRUE(init("/a.pkg"));
        worker.setHashValue(hash);
        worker.startDownload();
    }
    // The worker has let go of everything it knew of the file.
    void expectGivenUp() const {
        const DownloadProgressInfo info = worker.getProgressInfo();
        EXPECT_EQ(outcome(), givenUpOutcome);
        EXPECT_EQ(info.progressPercent, 0);
        EXPECT_EQ(info.downloadSpeed, 0);
        EXPECT_EQ(info.remainingTime, 0);
        EXPECT_EQ(info.downloadedSize, 0);
        EXPECT_EQ(info.totalSize, 0);
    }
};

struct Check {
    const char *name;
    std::string hash;
    std::vector<Answer> answers;
    std::string outcome;
    Messages messages;
    std::vector<std::string> ranges;
};

class PackageHash : public PackageValidationTest, public testing::WithParamInterface<Check> {};

TEST_P(PackageHash, DecidesOverThePackage) {
    loadPackage(GetParam().hash, GetParam().answers);
    EXPECT_EQ(outcome(), GetParam().outcome);
    EXPECT_EQ(messages(), GetParam().messages);
    EXPECT_EQ(server.ranges("/a.pkg"), GetParam().ranges);
    EXPECT_TRUE(hasLoaded(content)) << "the last answer was right in every case";
}

const std::string hash = sha1Of(content);

INSTANTIATE_TEST_SUITE_P(
    PackageValidation, PackageHash,
    testing::Values(
        Check{"Right", hash, {}, doneOutcome, {startLine, checkLine, validLine, successLine}, {""}},
        // The outer transfer reports a failure although the nested one succeeded (kept).
        Check{"WrongOnce",
              hash,
              {answer::wrongBytes()},
              doneOutcome,
              {startLine, checkLine, mismatchLine, resumeLine, startLine, checkLine, validLine, successLine,
               failedLine},
              {"", ""}},
        // The third fetch is not checked, whatever it brought.
        Check{"WrongTwice",
              hash,
              {answer::wrongBytes(), answer::wrongBytes()},
              givenUpOutcome,
              givenUpAfter(mismatchLine),
              {"", "", ""}},
        Check{"LowerCaseNeverMatches",
              lowerCase(hash),
              {},
              givenUpOutcome,
              givenUpAfter(mismatchLine),
              {"", "", ""}},
        Check{"LengthCounts", hash + " ", {}, givenUpOutcome, givenUpAfter(mismatchLine), {"", "", ""}},
        Check{"BeginningIsNotEnough",
              hash.substr(0, 39),
              {},
              givenUpOutcome,
              givenUpAfter(mismatchLine),
              {"", "", ""}},
        Check{"EmptyIsNotChecked", "", {}, untouched, {startLine, failedLine}, {""}},
        // What came without a length and broke off looks whole, but its hash tells.
        Check{"BrokenOffWithoutLength",
              hash,
              {answer::noLengthCut(5000)},
              doneOutcome,
              {startLine, checkLine, mismatchLine, resumeLine, startLine, checkLine, validLine, successLine,
               failedLine},
              {"", ""}}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

TEST_F(PackageValidationTest, GivingUpResetsTheFigures) {
    loadPackage(lowerCase(hash));
    expectGivenUp();
}

TEST_F(PackageValidationTest, APackageGivenUpIsFetchedAfreshAndGivenUpAgain) {
    loadPackage(lowerCase(hash));
    worker.setHashValue(hash);
    worker.resumeDownload(true);
    EXPECT_THAT(server.ranges("/a.pkg"), ElementsAre("", "", "", "")) << "no range in the retry either";
    expectGivenUp();
    Messages expected = givenUpAfter(mismatchLine);
    expected.insert(expected.end(), {resumeLine, startLine, giveUpLine, failedLine});
    EXPECT_EQ(messages(), expected);
}

TEST_F(PackageValidationTest, ChecksAreCountedForLife) {
    loadPackage(hash);
    worker.resumeDownload(false);
    EXPECT_EQ(outcome(), doneOutcome);
    worker.resumeDownload(false);
    EXPECT_EQ(messages().at(messages().size() - 2), giveUpLine) << "kept: the third check is never made";
    EXPECT_FALSE(worker.getProgressInfo().completed);
}

TEST_F(PackageValidationTest, AnEmptyHashCountsAsACheck) {
    ASSERT_TRUE(init("/a.pkg"));
    EXPECT_EQ(worker.validatePackage(), -1);
    EXPECT_EQ(worker.validatePackage(), -1);
    EXPECT_THAT(messages(), testing::IsEmpty());
    EXPECT_EQ(outcome(), untouched);
    EXPECT_EQ(worker.validatePackage(), -1);
    EXPECT_THAT(messages(), ElementsAre(giveUpLine));
    expectGivenUp();
}

TEST_F(PackageValidationTest, AMismatchFetchesThePackageAgain) {
    server.serve("/a.pkg", content);
    ASSERT_TRUE(init("/a.pkg"));
    worker.setHashValue(hash);
    EXPECT_EQ(worker.validatePackage(), -1) << "the file is still empty";
    EXPECT_EQ(outcome(), doneOutcome);
    EXPECT_EQ(worker.validatePackage(), -1) << "the third check";
}

TEST_F(PackageValidationTest, AValidFileGivesZero) {
    ASSERT_TRUE(init("/a.pkg"));
    worker.setHashValue(sha1Of("as it should be"));
    writeText(file, "as it should be");
    EXPECT_EQ(worker.validatePackage(), 0);
    EXPECT_THAT(messages(), ElementsAre(checkLine, validLine));
}

TEST_F(PackageValidationTest, WithoutTheToolThePackageIsGivenUp) {
    std::filesystem::remove(tool);
    loadPackage(hash);
    EXPECT_EQ(messages(), givenUpAfter(noHashLine));
    expectGivenUp();
}

TEST_F(PackageValidationTest, AFileThatCannotBeReadIsFetchedAgain) {
    server.serve("/a.pkg", content);
    ASSERT_TRUE(init("/a.pkg"));
    worker.setHashValue(hash);
    std::filesystem::remove(file);
    EXPECT_EQ(worker.validatePackage(), -1);
    EXPECT_THAT(messages(),
                ElementsAre(checkLine, noHashLine, resumeLine, startLine, checkLine, validLine, successLine));
    EXPECT_TRUE(hasLoaded(content));
}

TEST_F(PackageValidationTest, APathWithBlanksFails) {
    file = folder + "/a package";
    loadPackage(hash);
    EXPECT_EQ(messages(), givenUpAfter(noHashLine));
}

TEST_F(PackageValidationTest, ThePathIsNotQuoted) {
    // Kept: the tool is given the path's first word, and answers for that file.
    file = folder + "/a package";
    writeText(folder + "/a", content);
    loadPackage(hash, {answer::wrongBytes()});
    EXPECT_EQ(outcome(), doneOutcome);
    EXPECT_FALSE(hasLoaded(content));
}

struct ToolOutput {
    const char *name;
    const char *script;
    std::string hash;
    bool matches;
};

class HashTool : public PackageValidationTest, public testing::WithParamInterface<ToolOutput> {};

TEST_P(HashTool, AnswersWithTheFirstWordOfItsFirstLine) {
    replaceTool(GetParam().script);
    loadPackage(GetParam().hash);
    EXPECT_EQ(outcome(), GetParam().matches ? doneOutcome : givenUpOutcome);
    EXPECT_EQ(messages(), GetParam().matches ? Messages({startLine, checkLine, validLine, successLine})
                                             : givenUpAfter(mismatchLine));
}

INSTANTIATE_TEST_SUITE_P(
    PackageValidation, HashTool,
    testing::Values(ToolOutput{"LettersAreRaised", "echo \"azAZ09-ff  $1\"", "AZAZ09-FF", true},
                    ToolOutput{"OtherBytesStay", R"(printf '\303\251a\n')",
                               "\xc3\xa9"
                               "A",
                               true},
                    ToolOutput{"NoLineEnd", "printf abc", "ABC", true},
                    ToolOutput{"SecondLineIgnored", "echo abc; echo def", "ABC", true},
                    ToolOutput{"CutAfter99Bytes", "printf 'a%.0s' {1..150}", std::string(99, 'A'), true},
                    ToolOutput{"StatusIgnored", "echo abc; exit 3", "ABC", true},
                    ToolOutput{"EmptyLine", "echo", "ABC", false},
                    ToolOutput{"ZeroByteFirst", R"(printf '\0abc\n')", "ABC", false}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

// --- the expected hash -----------------------------------------------------------------------------------

struct Lookup {
    const char *name;
    const char *url;
    const char *hash;
};

// Records of both modes; nothing is downloaded, since nothing is reachable or new.
class HashLookup : public ControllerFixture {
protected:
    void learnProducts(const std::vector<Offered> &packages) {
        offerProducts(packages);
        EXPECT_EQ(controller.freshInstall(), -1);
    }
    void learnHotFixes(std::vector<Offered> packages) {
        for (Offered &package : packages)
            package.maxVer = "0.0.0.1";
        offerHotFixes(packages);
        EXPECT_EQ(controller.productUpdate("9.9.9.9", "105", "CheckForInstall"), 0);
    }
};

class FreshInstallHash : public HashLookup, public testing::WithParamInterface<Lookup> {};

TEST_P(FreshInstallHash, IsThatOfTheProductWhoseNameTheUrlHolds) {
    learnProducts({{"Suite", "http://nowhere.invalid/other", "11AA", "1.0.0.0"}});
    EXPECT_EQ(controller.getHashValueFromPackagePath(GetParam().url), GetParam().hash);
    EXPECT_STREQ(GetHashValue(GetParam().url), GetParam().hash);
}

INSTANTIATE_TEST_SUITE_P(
    PackageValidation, FreshInstallHash,
    testing::Values(Lookup{"NameAtTheEnd", "http://any.example/Suite", "11AA"},
                    Lookup{"NameInside", "http://any.example/xSuite.pkg?1", "11AA"},
                    Lookup{"NameAlone", "Suite", "11AA"}, Lookup{"OtherCase", "http://any.example/suite", ""},
                    Lookup{"PartOfTheName", "http://any.example/Suit", ""},
                    Lookup{"ItsOwnUrlWithoutTheName", "http://nowhere.invalid/other", ""},
                    Lookup{"Empty", "", ""}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

class UpdateHash : public HashLookup, public testing::WithParamInterface<Lookup> {};

TEST_P(UpdateHash, IsThatOfTheFirstHotFixWithExactlyTheUrl) {
    learnHotFixes({{"One", "http://any.example/1.pkg", "11AA", "1.0.0.1"},
                   {"Two", "http://any.example/2.pkg", "22BB", "1.0.0.2"},
                   {"Again", "http://any.example/1.pkg", "33CC", "1.0.0.3"}});
    EXPECT_EQ(controller.getHashValueFromPackagePath(GetParam().url), GetParam().hash);
    EXPECT_STREQ(GetHashValue(GetParam().url), GetParam().hash);
}

INSTANTIATE_TEST_SUITE_P(PackageValidation, UpdateHash,
                         testing::Values(Lookup{"First", "http://any.example/1.pkg", "11AA"},
                                         Lookup{"Second", "http://any.example/2.pkg", "22BB"},
                                         Lookup{"Longer", "http://any.example/1.pkg?x", ""},
                                         Lookup{"Shorter", "http://any.example/1.pk", ""},
                                         Lookup{"OtherCase", "http://any.example/1.PKG", ""},
                                         Lookup{"NameOnly", "One", ""}, Lookup{"Empty", "", ""}),
                         [](const auto &caseInfo) { return caseInfo.param.name; });

TEST_F(HashLookup, AnEmptyProductNameIsInEveryUrl) {
    learnProducts({{"", "http://nowhere.invalid/a", "11AA", "1.0.0.0"}});
    EXPECT_EQ(controller.getHashValueFromPackagePath("http://any.example/other.pkg"), "11AA");
    EXPECT_EQ(controller.getHashValueFromPackagePath(""), "11AA");
}

TEST_F(HashLookup, TheFirstMatchingProductCounts) {
    // The catalogs are loaded one by one, so that the records stand in this order.
    for (const char *name : {"Suite", "SuitePlus"}) {
        server.serve("/" + std::string(name) + ".xml",
                     productCatalog({name, refusedUrl("/a"), std::string("of") + name, "1.0.0.0"}));
        ASSERT_EQ(load("/" + std::string(name) + ".xml"), 0);
    }
    serviceAnswers(replyNaming(server.url(""), {}));
    EXPECT_EQ(controller.freshInstall(), -1);
    EXPECT_EQ(controller.getHashValueFromPackagePath("http://any.example/SuitePlus.pkg"), "ofSuite");
}

TEST_F(HashLookup, WithoutRecordsThereIsNoHash) {
    EXPECT_EQ(controller.getHashValueFromPackagePath("http://any.example/1.pkg"), "");
    EXPECT_EQ(controller.productUpdate("1.0.0.0", "105", ""), 0);
    EXPECT_EQ(controller.getHashValueFromPackagePath("http://any.example/1.pkg"), "");
    EXPECT_STREQ(GetHashValue("http://any.example/1.pkg"), "");
    EXPECT_STREQ(GetHashValue(nullptr), "");
}

TEST_F(HashLookup, TheModeChoosesTheRecords) {
    learnHotFixes({{"One", "http://any.example/1.pkg", "22BB", "1.0.0.1"}});
    learnProducts({{"1.pkg", refusedUrl("/a"), "11AA", "1.0.0.0"}});
    // The handler of the update adds the new reply to its old one; the retry begins with a new handler.
    controller.retryDownload();
    EXPECT_EQ(controller.getHashValueFromPackagePath("http://any.example/1.pkg"), "11AA");
    EXPECT_EQ(controller.productUpdate("1.0.0.0", "105", ""), 0);
    EXPECT_EQ(controller.getHashValueFromPackagePath("http://any.example/1.pkg"), "22BB");
}

TEST_F(HashLookup, TheExportedTextIsTheThreadsOwn) {
    learnHotFixes({{"One", "http://any.example/1.pkg", "11AA", "1.0.0.1"},
                   {"Two", "http://any.example/2.pkg", "22BB", "1.0.0.2"}});
    const char *mine = GetHashValue("http://any.example/1.pkg");
    background.run([] { EXPECT_STREQ(GetHashValue("http://any.example/2.pkg"), "22BB"); });
    background.join();
    EXPECT_STREQ(mine, "11AA");
    EXPECT_STREQ(GetHashValue("http://any.example/2.pkg"), "22BB");
}

} // namespace
