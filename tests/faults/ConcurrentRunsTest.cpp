// Two jobs on one machine at once, and jobs with more downloads than there are descriptors. Each ends as if
// they had run one after the other.

#include <csignal>
#include <filesystem>
#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Background.h"
#include "ExpectedTrace.h"
#include "Job.h"
#include "Machine.h"
#include "Observed.h"
#include "Paths.h"
#include "Release.h"
#include "TextFile.h"
#include "TraceFile.h"
#include "Updater.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;

const std::string waiting = "INFO: Waiting for another job on this machine to end\n";
const Packages hotFixes = {{"Hot.pkg", someBytes(60000)}};
const Packages products = {{"Product.pkg", someBytes(70000)}};

const Packages &packagesOf(const Job &job) {
    return job.task == Task::update ? hotFixes : products;
}

bool comesInTrace(const std::string &line) {
    return comesTrue([&line] { return traceText().find(line) != std::string::npos; });
}

std::size_t countInTrace(const std::string &line) {
    const std::string text = traceText();
    std::size_t count = 0;
    for (std::size_t at = text.find(line); at != std::string::npos; at = text.find(line, at + 1))
        ++count;
    return count;
}

// Started, and stopped in the middle of its first package, so that it goes no further meanwhile.
class InMidTransfer {
public:
    explicit InMidTransfer(const Job &job) {
        fs::remove(traceLogPath);
        fs::remove_all(keyCoreDownloadCache);
        offerPackages(job, packagesOf(job));
        const std::string name = packagesOf(job).begin()->first;
        misbehave("/" + name + " * slow 60000\n");
        m_program.emplace(commandOf(job));
        EXPECT_TRUE(comesTrue([path = pathIn(job, name)] {
            return fs::exists(path) && fs::file_size(path) > 0;
        })) << traceText();
        m_program->send(SIGSTOP);
        misbehave("");
    }
    Program &program() { return *m_program; }
    Ended goOn() {
        m_program->send(SIGCONT);
        return m_program->wait();
    }

private:
    std::optional<Program> m_program;
};

// --- two jobs

testing::AssertionResult isOnDisk(const Job &job) {
    for (const auto &[name, content] : packagesOf(job)) {
        if (readText(pathIn(job, name)) != content)
            return testing::AssertionFailure() << name << " is not what was published";
    }
    return testing::AssertionSuccess();
}

class AtOnce : public testing::Test {
protected:
    // The second one says that it waits, asks for nothing meanwhile, and is complete after the first.
    static void followOneAnother(const Job &firstJob, const Job &secondJob) {
        InMidTransfer first(firstJob);
        offerPackages(secondJob, packagesOf(secondJob));
        Program second(commandOf(secondJob));
        EXPECT_TRUE(comesInTrace(waiting)) << traceText();
        EXPECT_EQ(updateRequests().size(), 1U);
        EXPECT_EQ(first.goOn().status, 0);
        EXPECT_TRUE(isComplete(secondJob, second.wait(), packagesOf(secondJob))) << traceText();
        EXPECT_TRUE(isOnDisk(firstJob));
        EXPECT_EQ(countInTrace(waiting), 1U);
        EXPECT_EQ(updateRequests().size(), 2U);
    }

    // The lock goes with its holder, however that ends.
    static void goOnWithoutTheFirst(const Job &firstJob, const Job &secondJob) {
        InMidTransfer first(firstJob);
        offerPackages(secondJob, packagesOf(secondJob));
        Program second(commandOf(secondJob));
        EXPECT_TRUE(comesInTrace(waiting)) << traceText();
        first.program().send(SIGKILL);
        EXPECT_EQ(first.program().wait().status, 128 + SIGKILL);
        EXPECT_TRUE(isComplete(secondJob, second.wait(), packagesOf(secondJob))) << traceText();
    }
};

TEST_F(AtOnce, TwoChecks) {
    followOneAnother(updateByHttps, updateByHttps);
}

TEST_F(AtOnce, TwoHosts) {
    followOneAnother(freshInstallByHttps, freshInstallByHttps);
}

TEST_F(AtOnce, AHostAndACheck) {
    followOneAnother(freshInstallByHttps, updateByHttps);
}

// The installation takes away the list that the check left, whose packages it may overwrite.
TEST_F(AtOnce, ACheckAndAHost) {
    followOneAnother(updateByHttps, freshInstallByHttps);
    EXPECT_FALSE(fs::exists(packageListPath));
    EXPECT_FALSE(fs::exists(waitingMarker));
}

TEST_F(AtOnce, ACheckWhoseLockHolderIsKilled) {
    goOnWithoutTheFirst(updateByHttps, updateByHttps);
    goOnWithoutTheFirst(freshInstallByHttps, updateByHttps);
}

TEST_F(AtOnce, AHostWhoseLockHolderIsKilled) {
    goOnWithoutTheFirst(freshInstallByHttps, freshInstallByHttps);
}

TEST_F(AtOnce, AJobThatIsStoppedKeepsTheOthersWaiting) {
    InMidTransfer first(updateByHttps);
    Program second(commandOf(updateByHttps));
    EXPECT_TRUE(comesInTrace(waiting));
    EXPECT_FALSE(second.endsWithin(std::chrono::milliseconds(300)));
    EXPECT_EQ(first.goOn().status, 0);
    EXPECT_TRUE(isComplete(updateByHttps, second.wait(), hotFixes));
}

// --- beside an installation

class BesideAnInstallation : public testing::Test {
protected:
    BesideAnInstallation() {
        const std::string tool = "/usr/local/bin/installer";
        const std::string real = readText(tool);
        writeText(tool, "#!/bin/bash\nuntil [[ -e /tmp/go ]]; do sleep 0.01; done\n" + real);
        m_installation.emplace(m_machine.command());
        EXPECT_TRUE(comesInTrace("installer.sh \n Installing ")) << traceText();
    }

    void endInstallation() {
        writeText("/tmp/go", "");
        EXPECT_EQ(m_installation->wait().status, 1);
    }

    const Machine m_machine{Run::install};
    std::optional<Program> m_installation; // its script waits
};

TEST_F(BesideAnInstallation, ACheckWaitsUntilTheScriptIsDone) {
    Program check(commandOf(updateByHttps));
    EXPECT_TRUE(comesInTrace(waiting));
    EXPECT_FALSE(fs::exists(packageListPath));
    endInstallation();
    EXPECT_TRUE(isComplete(updateByHttps, check.wait(), m_machine.packages())) << traceText();
    EXPECT_TRUE(fs::exists("/opt/installed/First") && fs::exists("/opt/installed/Second"));
    EXPECT_THAT(transcript(), HasSubstr("Installed " + packagePath("Second.pkg") + " successfully\n"));
}

TEST_F(BesideAnInstallation, AHostWaitsUntilTheScriptIsDone) {
    offerPackages(freshInstallByHttps, products);
    Program host(commandOf(freshInstallByHttps));
    EXPECT_TRUE(comesInTrace(waiting));
    endInstallation();
    EXPECT_TRUE(isComplete(freshInstallByHttps, host.wait(), products)) << traceText();
    EXPECT_TRUE(fs::exists("/opt/installed/First") && fs::exists("/opt/installed/Second"));
}

// It finds no list after the first, waits for ever as one without a list does, and keeps nobody else waiting.
TEST_F(BesideAnInstallation, ASecondInstallationInstallsNothingTwice) {
    Program second(m_machine.command());
    EXPECT_TRUE(comesInTrace(waiting));
    endInstallation();
    EXPECT_TRUE(m_machine.isInstalled());
    const std::string installations = readText("/srv/rehearsal/log/installer.log");
    EXPECT_FALSE(second.endsWithin(std::chrono::milliseconds(300)));
    EXPECT_TRUE(isComplete(updateByHttps, checkForInstall(), m_machine.packages()));
    EXPECT_EQ(readText("/srv/rehearsal/log/installer.log"), installations);
    second.send(SIGTERM);
    EXPECT_EQ(second.wait().status, 128 + SIGTERM);
}

TEST(BesideACheck, AnInstallationInstallsWhatTheCheckLeaves) {
    const Machine machine(Run::install);
    misbehave("/First.pkg * slow 60000\n");
    Program check(commandOf(updateByHttps));
    EXPECT_TRUE(comesInTrace("INFO : Start download: " + scriptedHost + "/First.pkg\n"));
    check.send(SIGSTOP); // until the other one waits
    Program installation(machine.command());
    EXPECT_TRUE(comesInTrace(waiting));
    check.send(SIGCONT);
    EXPECT_EQ(check.wait().status, 0);
    EXPECT_EQ(installation.wait().status, 1);
    EXPECT_TRUE(machine.isUnharmed());
    EXPECT_TRUE(machine.isInstalled());
}

// --- descriptors

Packages manyPackages(std::size_t count) {
    Packages packages;
    const std::string bytes = someBytes(20000 + count);
    for (std::size_t i = 0; i < count; ++i)
        packages["P" + std::to_string(10000 + i) + ".pkg"] = bytes.substr(i, 20000);
    return packages;
}

std::vector<std::string> limitedTo(const std::string &limit, const std::vector<std::string> &command) {
    std::vector<std::string> limited{"prlimit", "--nofile=" + limit};
    limited.insert(limited.end(), command.begin(), command.end());
    return limited;
}

class ManyDownloads : public testing::TestWithParam<Job> {};

// Two for each package, a file and a connection, are more than there are at first.
// By plain HTTP, since a thousand handshakes at once take longer than the engine waits for a connection.
TEST(UsualDescriptors, AreRaisedForAThousandPackagesLong) {
    const Packages packages = manyPackages(1000);
    offerPackages(updateByHttp, packages);
    EXPECT_TRUE(isComplete(updateByHttp, run(limitedTo("1024:", commandOf(updateByHttp))), packages));
}

// The log's complaints about files that could not be made or fetched.
std::string complaints() {
    std::string lines;
    for (const std::string &message : traceMessages()) {
        if (message.find("Error occurred in creating output file") == 0 || message.find("Error: HTTP") == 0)
            lines += message;
    }
    return lines;
}

// A job that ended before its packages says so itself.
bool toldEarlyEnd() {
    const std::string trace = traceText();
    for (const char *line : {"ERROR: Package Missing\n", "ERROR: No products found For Fresh Install\n",
                             "ERROR: No Cata log Found\n"}) {
        if (trace.find(line) != std::string::npos)
            return true;
    }
    return false;
}

// Forty with thirty-two. What could not be had is named, itself or its catalog; what is listed is there.
TEST_P(ManyDownloads, MoreThanTheHardLimitOfDescriptors) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer opens a pipe to look at an object";
#endif
    const Packages packages = manyPackages(40);
    offerPackages(GetParam(), packages);
    misbehave("* * slow 40000\n"); // so that they are under way at once
    static_cast<void>(run(limitedTo("32:32", commandOf(GetParam()))));
    misbehave("");
    const std::string named = complaints();
    const std::string list = readText(packageListPath);
    std::size_t absent = 0;
    std::string unnamed;
    for (const auto &[name, content] : packages) {
        const std::string path = pathIn(GetParam(), name);
        if (readText(path) == content)
            continue;
        ++absent;
        if (named.find("/" + name.substr(0, name.find('.'))) == std::string::npos)
            unnamed += name + " ";
        EXPECT_EQ(list.find(path), std::string::npos);
    }
    EXPECT_GT(absent, 0U);
    EXPECT_TRUE(unnamed.empty() || toldEarlyEnd()) << unnamed;
    EXPECT_TRUE(isComplete(GetParam(), runJob(GetParam()), packages));
}

INSTANTIATE_TEST_SUITE_P(Job, ManyDownloads, testing::Values(updateByHttps, freshInstallByHttps), caseName);

} // namespace
