// The environment that the engine is started with: what of it decides something, and what does not.

#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ExpectedTrace.h"
#include "Job.h"
#include "Observed.h"
#include "Release.h"
#include "TextFile.h"
#include "Updater.h"

namespace {

using testing::HasSubstr;

const Packages packages = {{"One.pkg", someBytes(5000)}, {"Two.pkg", someBytes(20000)}};

class StartersEnvironment : public testing::Test {
protected:
    static Ended runWith(const std::vector<std::string> &environment,
                         const std::vector<std::string> &command) {
        std::vector<std::string> words = {"env"};
        words.insert(words.end(), environment.begin(), environment.end());
        words.insert(words.end(), command.begin(), command.end());
        return run(words);
    }
    static void writeProgram(const std::string &path, const std::string &script) {
        writeText(path, "#!/bin/bash\n" + script);
        shell("chmod 755 " + path);
    }
};

// Neither the shell's, nor the curl tool's, nor libxml2's, nor folders for what is not permanent.
TEST_F(StartersEnvironment, OfOtherProgramsDoesNotReachTheJobs) {
    std::filesystem::create_directories("/srv/home");
    for (const char *file :
         {"/srv/home/.curlrc", "/srv/home/.netrc", "/srv/home/.bashrc", "/srv/home/.profile"})
        writeText(file, "touch /srv/harmed\nproxy = 127.0.0.1:9\n");
    writeText("/srv/catalog.xml",
              "<catalog xmlns='urn:oasis:names:tc:entity:xmlns:xml:catalog'><public "
              "publicId='-//Apple//DTD PLIST 1.0//EN' uri='file:///srv/none'/></catalog>");
    const std::vector<std::string> environment = {"IFS=/ o",
                                                  "ENV=/srv/home/.profile",
                                                  "CDPATH=/srv",
                                                  "TMPDIR=/srv/none",
                                                  "HOME=/srv/home",
                                                  "CURL_HOME=/srv/home",
                                                  "CURL_CA_BUNDLE=/srv/none",
                                                  "SSL_CERT_FILE=/srv/none",
                                                  "SSL_CERT_DIR=/srv/none",
                                                  "XML_CATALOG_FILES=file:///srv/catalog.xml",
                                                  "XML_DEBUG_CATALOG=1",
                                                  "LC_ALL=tr_TR.UTF-8",
                                                  "POSIXLY_CORRECT=1",
                                                  "SHELLOPTS=noexec",
                                                  "PS4=$(touch /srv/harmed)"};
    for (const Job &job : {updateByHttps, freshInstallByHttps}) {
        offerPackages(job, packages);
        const Ended ended = runWith(environment, commandOf(job));
        EXPECT_TRUE(isComplete(job, ended, packages)) << ended.err;
        EXPECT_FALSE(std::filesystem::exists("/srv/harmed"));
    }
    EXPECT_THAT(transcript(), HasSubstr(tracedStart("CheckForInstall")));
}

// Kept: commands are looked for where the starter says.
TEST_F(StartersEnvironment, PathDecidesWhichSudoIsRun) {
    offerPackages(updateByHttps, packages);
    std::filesystem::create_directories("/srv/bin");
    writeProgram("/srv/bin/sudo", "echo \"$*\" >>/srv/starters\nexec \"$@\"\n");
    const Ended ended = runWith({"PATH=/srv/bin:/usr/bin:/bin"}, commandOf(updateByHttps));
    EXPECT_TRUE(isComplete(updateByHttps, ended, packages));
    EXPECT_THAT(readText("/srv/starters"), HasSubstr("mkdir -p /usr/local/Brovik/TempDownload/"));
}

// Kept: libcurl asks through the proxy that the starter names.
TEST_F(StartersEnvironment, ProxyDecidesThroughWhomIsAsked) {
    for (const Job &job : {updateByHttps, freshInstallByHttps}) {
        offerPackages(job, packages);
        const Ended refused = runWith({"https_proxy=http://127.0.0.1:9"}, commandOf(job));
        EXPECT_TRUE(isRefused(job, refused));
        EXPECT_THAT(transcript(), HasSubstr(">INFO : TolvaneHandler - Update Available\n"
                                            ">ERROR Tolvane response\n"));
        EXPECT_TRUE(isComplete(job, runJob(job), packages));
    }
}

// Kept: the script is bash's, which reads the file that the starter names first. `sudo` forgets the variable.
TEST_F(StartersEnvironment, LongBashReadsItsFileBeforeTheScriptUnlessSudoStartsTheRun) {
    writeText("/srv/first", "echo \"${0##*/}\" >>/srv/read\n");
    offerPackages(updateByHttps, {{"One.pkg", packed({{"/opt/installed/One.pkg", "installed"}})}});
    EXPECT_EQ(runWith({"BASH_ENV=/srv/first"}, commandOf(updateByHttps)).status, 0);
    EXPECT_EQ(readText("/srv/read"), "") << "a check starts no bash";
    EXPECT_EQ(runWith({"BASH_ENV=/srv/first"}, installCommand).status, 1);
    EXPECT_EQ(readText("/opt/installed/One.pkg"), "installed");
    EXPECT_THAT(readText("/srv/read"), HasSubstr("installer.sh\n"));
}

} // namespace
