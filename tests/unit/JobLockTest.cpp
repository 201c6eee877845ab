// One job at a time on a machine: what another process's job does to this one's, and what stays of it.
#include <cerrno>
#include <csignal>
#include <deque>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "ControllerFixture.h"
#include "JobLock.h"
#include "Paths.h"
#include "Program.h"

namespace {

// Errors that the next calls answer with; without one they are the system's.
std::deque<int> lockErrors;

} // namespace

// The linker leads the engine's call here.
// NOLINTBEGIN(bugprone-reserved-identifier): the names that the linker's --wrap asks for
extern "C" {
int __real_flock(int file, int operation);
int __wrap_flock(int file, int operation);
int __wrap_flock(int file, int operation) {
    if (lockErrors.empty())
        return __real_flock(file, operation);
    errno = lockErrors.front();
    lockErrors.pop_front();
    return -1;
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

using testing::Contains;

const std::string waitingLine = "INFO: Waiting for another job on this machine to end\n";

class JobLockTest : public ControllerFixture {
protected:
    // A process that holds the lock until it is killed or the pipe's other end is closed.
    class OtherProcess {
    public:
        OtherProcess() {
            EXPECT_EQ(pipe(m_ready), 0);
            EXPECT_EQ(pipe(m_goesOn), 0);
            m_process = fork();
            if (m_process == 0)
                hold();
            close(m_ready[1]);
            close(m_goesOn[0]);
            char byte = 0;
            EXPECT_EQ(read(m_ready[0], &byte, 1), 1);
        }
        ~OtherProcess() {
            close(m_ready[0]);
            end();
            EXPECT_EQ(waitpid(m_process, nullptr, 0), m_process);
        }
        void end() {
            if (m_goesOn[1] >= 0)
                close(m_goesOn[1]);
            m_goesOn[1] = -1;
        }
        void kill() const { ::kill(m_process, SIGKILL); }

    private:
        [[noreturn]] void hold() const {
            close(m_ready[0]);
            close(m_goesOn[1]);
            JobLock lock;
            {
                const JobLock::Use use(lock);
                char byte = 1;
                if (write(m_ready[1], &byte, 1) != 1 || read(m_goesOn[0], &byte, 1) != 0)
                    _exit(1);
            }
            _exit(0);
        }

        int m_ready[2] = {-1, -1};
        int m_goesOn[2] = {-1, -1};
        pid_t m_process = -1;
    };

    // Whether another process could run a job now.
    static bool isFree() {
        const int descriptor = open(jobLockPath, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        const bool locked = flock(descriptor, LOCK_EX | LOCK_NB) == 0;
        close(descriptor);
        return locked;
    }
    void expectThatItWaits(const std::function<void()> &job,
                           const std::function<void(OtherProcess &)> &ending) {
        OtherProcess other;
        std::atomic<bool> ended{false};
        background.run([&] {
            job();
            ended = true;
        });
        EXPECT_TRUE(comesTrue([this] { return timesTraced(waitingLine) == 1; }));
        // Without the wait it would end, or at least ask the server, well within a second.
        EXPECT_FALSE(comesTrue([&] { return ended || server.requestCount() > 0; }, std::chrono::seconds(1)));
        ending(other);
        background.join();
        EXPECT_TRUE(isFree());
    }
};

TEST_F(JobLockTest, ACheckWaitsForAnotherProcessesJobAndSaysSo) {
    offerHotFixes({package("1.pkg", "1.0.1.0", "content")});
    int result = 1;
    expectThatItWaits([&] { result = controller.productUpdate("1.0.0.5", "105", "CheckForInstall"); },
                      [](OtherProcess &other) { other.end(); });
    EXPECT_EQ(result, 0);
    EXPECT_TRUE(std::filesystem::exists(packageListPath));
}

TEST_F(JobLockTest, AnInstallationWaits) {
    writeText(packageListPath, "");
    expectThatItWaits([&] { static_cast<void>(controller.productUpdate("1.0.0.5", "105", "Install")); },
                      [](OtherProcess &other) {
                          EXPECT_TRUE(std::filesystem::exists(packageListPath));
                          other.end();
                      });
    EXPECT_FALSE(std::filesystem::exists(packageListPath));
}

TEST_F(JobLockTest, AFreshInstallationWaitsAndIsNotLockedOutByAProcessThatDied) {
    offerProducts({package("1.pkg", "1.0.1.0", "content")});
    int result = 1;
    expectThatItWaits([&] { result = controller.freshInstall(); }, [](OtherProcess &other) { other.kill(); });
    EXPECT_EQ(result, 0);
    EXPECT_TRUE(controller.getDownloadProgressInfo().completed);
}

TEST_F(JobLockTest, ARetryWaits) {
    server.serve("/1.pkg", "content", {answer::reset(1)});
    EXPECT_EQ(load("/1.pkg"), 0);
    OtherProcess other;
    background.run([this] { controller.retryDownload(); });
    EXPECT_TRUE(comesTrue([this] { return timesTraced(waitingLine) == 1; }));
    EXPECT_FALSE(comesTrue([this] { return server.requestCount() > 1; }, std::chrono::seconds(1)));
    other.end();
    background.join();
    EXPECT_EQ(server.requestCount(), 2U);
}

TEST_F(JobLockTest, AnUnknownModeWaitsForNobody) {
    const OtherProcess other;
    EXPECT_EQ(controller.productUpdate("1.0.0.5", "105", "checkforinstall"), 0);
    EXPECT_EQ(timesTraced(waitingLine), 0);
}

TEST_F(JobLockTest, QueriesWaitForNobody) {
    const OtherProcess other;
    EXPECT_FALSE(controller.getDownloadProgressInfo().completed);
    EXPECT_TRUE(controller.getDownloadedPackages().empty());
}

TEST_F(JobLockTest, ARetryDoesNotWaitForTheOwnInstallation) {
    const Gate gate;
    offerProducts({package("1.pkg", "1.0.1.0", std::string(1000, 'x'), {answer::hold(10, gate)})});
    freshInstallInBackground();
    ASSERT_TRUE(comesTrue([this] { return controller.getDownloadProgressInfo().downloadedSize > 0; }));
    // It has nothing to resume, but waits for the downloads to end.
    background.run([this] { controller.retryDownload(); });
    EXPECT_TRUE(
        comesTrue([this] { return timesTraced("INFO: DownloadController - Retrying Download\n") == 1; }));
    gate.open();
    background.join();
    EXPECT_EQ(timesTraced(waitingLine), 0);
    EXPECT_TRUE(isFree());
}

TEST_F(JobLockTest, AChildThatTheHostForkedMeanwhileDoesNotKeepIt) {
    const Gate gate;
    offerProducts({package("1.pkg", "1.0.1.0", std::string(1000, 'x'), {answer::hold(10, gate)})});
    freshInstallInBackground();
    ASSERT_TRUE(comesTrue([this] { return controller.getDownloadProgressInfo().downloadedSize > 0; }));
    EXPECT_FALSE(isFree());
    const pid_t child = fork();
    if (child == 0) {
        pause();
        _exit(0);
    }
    gate.open();
    background.join();
    EXPECT_TRUE(isFree());
    kill(child, SIGKILL);
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
}

TEST_F(JobLockTest, NoCommandInheritsIt) {
    // The script's shell looks at its own descriptors.
    writeText("/usr/local/Brovik/qrn/bin/sha1sum", "#!/bin/sh\nls -l /proc/$$/fd > /tmp/descriptors\n");
    offerProducts({package("1.pkg", "1.0.1.0", "content")});
    static_cast<void>(controller.freshInstall());
    const std::string descriptors = readText("/tmp/descriptors");
    EXPECT_NE(descriptors, "");
    EXPECT_EQ(descriptors.find("DownloadManager.lock"), std::string::npos) << descriptors;
}

TEST_F(JobLockTest, NobodyElseCanReadOrLockTheFile) {
    static_cast<void>(controller.freshInstall());
    struct stat status {};
    ASSERT_EQ(stat(jobLockPath, &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

TEST_F(JobLockTest, WithoutTheFileTheJobRunsAndSaysSo) {
    std::filesystem::remove(jobLockPath);
    std::filesystem::create_directory(jobLockPath);
    offerProducts({package("1.pkg", "1.0.1.0", "content")});
    EXPECT_EQ(controller.freshInstall(), 0);
    EXPECT_TRUE(controller.getDownloadProgressInfo().completed);
    EXPECT_EQ(timesTraced("ERROR: Not able to lock /var/run/DownloadManager.lock: Is a directory\n"), 1);
}

// A child of the host that ends is no reason to run two jobs at a time.
TEST_F(JobLockTest, ASignalDoesNotEndTheWait) {
    lockErrors = {EWOULDBLOCK, EINTR};
    JobLock lock;
    {
        const JobLock::Use use(lock);
        EXPECT_FALSE(isFree());
    }
    EXPECT_TRUE(isFree());
    EXPECT_EQ(timesTraced(waitingLine), 1);
}

TEST_F(JobLockTest, AWaitThatTheSystemRefusesIsToldAndTheJobRuns) {
    offerProducts({package("1.pkg", "1.0.1.0", "content")});
    lockErrors = {EWOULDBLOCK, ENOLCK};
    EXPECT_EQ(controller.freshInstall(), 0);
    EXPECT_TRUE(controller.getDownloadProgressInfo().completed);
    EXPECT_EQ(timesTraced("ERROR: Not able to lock /var/run/DownloadManager.lock: No locks available\n"), 1);
}

TEST_F(JobLockTest, AnInstallationThatWaitsForItsListLocksNobodyOut) {
    const Program updater({PROGRAM_FILE, "1.0.0.5", "105", "Install"});
    EXPECT_TRUE(
        comesTrue([this] { return timesTraced("INFO : DownloadController - ProductUpdate\n") == 1; }));
    EXPECT_TRUE(comesTrue([] { return isFree(); }));
    EXPECT_FALSE(updater.endsWithin(std::chrono::milliseconds(200)));
}

} // namespace
