// A system that has no process, no thread or little memory to give.

#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ExpectedTrace.h"
#include "Job.h"
#include "Machine.h"
#include "Observed.h"
#include "Paths.h"
#include "Release.h"
#include "TraceFile.h"
#include "Updater.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;

const std::string noFolder = ">INFO: Download Start\n"
                             ">Error: Failed to create /usr/local/Brovik/TempDownload/Catalog/Core\n"
                             ">INFO: Download Start\n"
                             ">INFO: Creating Download thread\n";

class Scarce : public testing::Test {
protected:
    void SetUp() override {
        const Ended ended = run(deprivedOf("forks", {"true"}));
        if (ended.status != 0)
            GTEST_SKIP() << ended.err;
    }
};

TEST_F(Scarce, NoProcessForACheck) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP()
        << "the sanitizer needs a process of its own for its last look, and changes the status without";
#endif
    const Machine machine(Run::check);
    const Ended ended = run(deprivedOf("forks", machine.command()));
    EXPECT_EQ(ended.status, 0);
    EXPECT_TRUE(isRefused(updateByHttps, ended));
    EXPECT_THAT(transcript(), HasSubstr(noFolder + ">ERROR: No Cata log Found\n" + tracedEnd));
    EXPECT_TRUE(machine.isUnharmed());
    EXPECT_TRUE(machine.endsCompleteNextTime());
}

TEST_F(Scarce, NoProcessForAFreshInstallation) {
    const Machine machine(Run::freshInstall);
    const Ended ended = run(deprivedOf("forks", machine.command()));
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(transcript(), HasSubstr(noFolder + ">ERROR: No Cata log Found\n"));
    EXPECT_TRUE(machine.isUnharmed());
    EXPECT_TRUE(machine.endsCompleteNextTime());
}

// Nor for the command that removes the list, so that the next run finds it.
TEST_F(Scarce, NoProcessForAnInstallation) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP()
        << "the sanitizer needs a process of its own for its last look, and changes the status without";
#endif
    const Machine machine(Run::install);
    EXPECT_EQ(run(deprivedOf("forks", machine.command())).status, 0);
    EXPECT_THAT(transcript(), HasSubstr(">INFO : Installing Packages from /usr/local/repost/installer.sh\n"
                                        ">Fork Failed\n" +
                                        tracedEnd));
    EXPECT_TRUE(machine.isUnharmed());
    EXPECT_TRUE(fs::exists(packageListPath));
    EXPECT_TRUE(machine.endsCompleteNextTime());
}

// The name of the service cannot be looked up without one.
TEST_F(Scarce, NoThreadForACheck) {
    const Machine machine(Run::check);
    const Ended ended = run(deprivedOf("threads", machine.command()));
    EXPECT_EQ(ended.status, 0);
    EXPECT_TRUE(isRefused(updateByHttps, ended));
    EXPECT_EQ(transcript(), tracedStart("CheckForInstall") +
                                ">INFO :Tolvane Response - \n"
                                ">INFO : Processing Tolvane Response\n" +
                                tracedUpdateAvailable + ">ERROR Tolvane response\n" + tracedEnd);
    EXPECT_TRUE(machine.isUnharmed());
    EXPECT_TRUE(machine.endsCompleteNextTime());
}

// The host program says it before it begins; a host without threads of its own hears it from the engine.
TEST_F(Scarce, NoThreadForAFreshInstallation) {
    const Machine machine(Run::freshInstall);
    const Ended ended = run(deprivedOf("threads", machine.command()));
    EXPECT_EQ(ended.status, 70);
    EXPECT_EQ(ended.err, "freshinstall: Resource temporarily unavailable\n");
    EXPECT_EQ(traceText(), "");
    EXPECT_THAT(run(deprivedOf("threads", {SIGNAL_HOST})).out,
                HasSubstr("result -1, failed 1, completed 0\n"));
    EXPECT_THAT(transcript(), HasSubstr(">INFO :Tolvane Response - \n"
                                        ">INFO : Processing Tolvane Response\n" +
                                        tracedUpdateAvailable + ">ERROR Tolvane response\n"));
    EXPECT_TRUE(machine.isUnharmed());
    EXPECT_TRUE(machine.endsCompleteNextTime());
}

TEST_F(Scarce, NoThreadForAnInstallation) {
    const Machine machine(Run::install);
    EXPECT_EQ(run(deprivedOf("threads", machine.command())).status, 1);
    EXPECT_TRUE(machine.isUnharmed());
    EXPECT_TRUE(machine.isInstalled());
}

// --- memory

class LittleMemory : public testing::TestWithParam<NamedRun> {
protected:
    void SetUp() override {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
        GTEST_SKIP() << "a sanitizer takes all the address space there is";
#endif
    }

    static void endCompleteOrSayWhy(const std::vector<int> &megabytes) {
        const Machine machine(GetParam().run);
        int complete = 0;
        for (const int size : megabytes) {
            SCOPED_TRACE(size);
            std::vector<std::string> command{"prlimit", "--as=" + std::to_string(size * 1000000L)};
            command.insert(command.end(), machine.command().begin(), machine.command().end());
            const Ended ended = run(command);
            EXPECT_TRUE(machine.isUnharmed());
            const bool isComplete = hasDoneItsWork(machine, ended);
            complete += isComplete ? 1 : 0;
            EXPECT_TRUE(isComplete || saysWhy(ended)) << ended.status << ended.err << traceText();
            machine.restore();
        }
        EXPECT_GT(complete, 0);
        EXPECT_LT(complete, static_cast<int>(megabytes.size()));
    }

private:
    static bool hasDoneItsWork(const Machine &machine, const Ended &ended) {
        if (GetParam().run == Run::install)
            return machine.isInstalled();
        const Job &job = GetParam().run == Run::check ? updateByHttps : freshInstallByHttps;
        if (!toldComplete(job, ended))
            return false;
        EXPECT_TRUE(isComplete(job, ended, machine.packages())); // and no half truth
        return true;
    }

    // By its log; before it has one, to standard error, or in the host program's last words.
    static bool saysWhy(const Ended &ended) {
        const std::string trace = traceText();
        if (trace.empty())
            return ended.status != 0 &&
                   (!ended.err.empty() || ended.out.find("\"message\":") != std::string::npos);
        for (const std::string line : {"ERROR", "Error", "No products found For Update\n", "Fork Failed\n"}) {
            if (trace.find(line) != std::string::npos)
                return true;
        }
        return ended.err.find("std::bad_alloc") != std::string::npos;
    }
};

TEST_P(LittleMemory, EndsCompleteOrSaysWhy) {
    endCompleteOrSayWhy({40, 70, 100, 300, 600});
}

TEST_P(LittleMemory, EndsCompleteOrSaysWhyAtEverySizeLong) {
    std::vector<int> sizes;
    for (int size = 10; size <= 600; size += 10)
        sizes.push_back(size);
    endCompleteOrSayWhy(sizes);
}

INSTANTIATE_TEST_SUITE_P(Run, LittleMemory, testing::Values(checkRun, installRun, freshInstallRun), caseName);

} // namespace
