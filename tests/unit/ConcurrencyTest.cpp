// Every query from many threads at once while downloads, retries and cancels go on. What these cases prove
// they prove best under a sanitizer.
#include <atomic>
#include <chrono>
#include <cmath>
#include <set>
#include <string>
#include <thread>

#include "ControllerFixture.h"

namespace {

constexpr int pollers = 8;
constexpr std::size_t size = 20480;

class ConcurrencyTest : public ControllerFixture {
protected:
    void TearDown() override {
        stopPolling();
        ControllerFixture::TearDown();
    }

    // Every path and hash that a query may give.
    void startPolling(std::set<std::string> paths, std::set<std::string> hashes, std::string hashedUrl) {
        m_paths = std::move(paths);
        m_hashes = std::move(hashes);
        m_hashedUrl = std::move(hashedUrl);
        for (int thread = 0; thread < pollers; ++thread)
            m_polling.run([this] {
                while (!m_stop) {
                    checkProgress();
                    checkPackages();
                    checkHash();
                    // Leaves the processors to the downloads: more rounds show more than more questions.
                    std::this_thread::sleep_for(std::chrono::microseconds(500));
                }
            });
    }
    void stopPolling() {
        m_stop = true;
        m_polling.join();
    }
    // Catalogs count in the figures of a later job, so they too have the one size.
    void offerOfOneSize(const std::vector<Offered> &packages) {
        offerProducts(packages);
        for (std::size_t i = 0; i < packages.size(); ++i) {
            std::string catalog = productCatalog(packages[i]);
            catalog.resize(size, '\n');
            server.serve("/core" + std::to_string(i) + ".xml", catalog);
        }
    }
    // So that another cancel counts.
    void rearmCancel() { EXPECT_EQ(controller.productUpdate("", "", ""), 0); }

    std::atomic<unsigned> completions{0};
    std::atomic<unsigned> polls{0};

private:
    void checkProgress() {
        const std::unique_ptr<DownloadProgressInfo> info(
            static_cast<DownloadProgressInfo *>(GetDownloadProgressInfo()));
        ++polls;
        EXPECT_GE(info->progressPercent, 0);
        EXPECT_LE(info->progressPercent, 100);
        EXPECT_GE(info->downloadSpeed, 0);
        EXPECT_TRUE(std::isfinite(info->remainingTime));
        EXPECT_GE(info->downloadedSize, 0);
        EXPECT_LE(info->downloadedSize, info->totalSize);
        // All files have one size: the figures of one snapshot belong together.
        EXPECT_EQ(std::fmod(info->totalSize, static_cast<double>(size) / 1024), 0);
        if (!info->completed)
            return;
        ++completions;
        EXPECT_EQ(info->progressPercent, 100);
        EXPECT_EQ(info->downloadedSize, info->totalSize);
        EXPECT_GT(info->totalSize, 0);
        EXPECT_FALSE(info->failed);
    }
    void checkPackages() const {
        const std::unique_ptr<char[]> text(GetDownloadedPackages());
        const std::string joined = text.get();
        for (std::size_t begin = 0, end = 0; begin < joined.size(); begin = end + 2) {
            end = joined.find("!:", begin);
            ASSERT_NE(end, std::string::npos) << joined;
            EXPECT_EQ(m_paths.count(joined.substr(begin, end - begin)), 1U) << joined;
        }
    }
    void checkHash() const { EXPECT_EQ(m_hashes.count(GetHashValue(m_hashedUrl.c_str())), 1U); }

    std::set<std::string> m_paths;
    std::set<std::string> m_hashes;
    std::string m_hashedUrl;
    std::atomic<bool> m_stop{false};
    Background m_polling;
};

// In parts, each in a process of its own, so that they share the processors.
class ManyRounds : public ConcurrencyTest, public testing::WithParamInterface<int> {};

TEST_P(ManyRounds, OfQueriesDuringDownloadsRetriesAndCancels) {
    constexpr int rounds = 500;
    const std::string content = fileContent(size);
    const std::vector<std::string> paths{"/1.pkg", "/2.pkg", "/3.pkg", "/4.pkg"};
    std::vector<std::string> urls;
    std::vector<std::string> files;
    for (const std::string &path : paths) {
        urls.push_back(server.url(path));
        files.push_back(folder + path);
    }
    startPolling({files.begin(), files.end()}, {""}, urls[0]);

    for (int round = 0; round < rounds; ++round) {
        const Gate gate;
        server.serve(paths[0], content);
        server.serve(paths[1], content, {answer::reset(size / 2)});
        server.serve(paths[2], content, {answer::cut(size / 4), answer::cut(size / 4)});
        server.serve(paths[3], content, {answer::hold(size / 2, gate)});
        const std::size_t before = server.requestCount();
        Background job;
        job.run([&] {
            std::list<const char *> urlTexts;
            std::list<const char *> fileTexts;
            for (std::size_t i = 0; i < urls.size(); ++i) {
                urlTexts.push_back(urls[i].c_str());
                fileTexts.push_back(files[i].c_str());
            }
            controller.createDownloadThreads(urlTexts, fileTexts);
        });
        // Each round cancels at another moment: before, while and after the downloads run and are retried.
        if (round % 3 == 0)
            gate.open();
        if (round % 2 == 0)
            job.run([] { RetryDownloadPackages(); });
        const auto patience = static_cast<std::size_t>(round % 6); // of at least seven requests
        EXPECT_TRUE(comesTrue([&] { return server.requestCount() >= before + patience; }));
        job.run([this] { controller.cancelDownload(); });
        job.run([this] { controller.cancelDownload(); });
        gate.open();
        job.join();
        // What the cancel came too early for ends like this.
        rearmCancel();
        controller.cancelDownload();
        EXPECT_THAT(controller.getDownloadedPackages(), testing::IsEmpty());
        rearmCancel();
    }
    stopPolling();
    EXPECT_GT(polls, 0U);
    EXPECT_EQ(completions, 0U) << "without a hash nothing is ever complete";
}

INSTANTIATE_TEST_SUITE_P(Concurrency, ManyRounds, testing::Range(1, 5),
                         [](const auto &part) { return "Part" + std::to_string(part.param); });

TEST_F(ConcurrencyTest, QueriesDuringAFreshInstallSeeItCompleteOnlyWhenItIs) {
    constexpr int packageCount = 4;
    std::vector<Offered> offered;
    std::set<std::string> paths;
    std::set<std::string> hashes{""};
    for (int i = 0; i < packageCount; ++i) {
        const std::string name = std::to_string(i) + ".pkg";
        std::vector<Answer> answers;
        if (i == 1)
            answers = {answer::wrongBytes()};
        if (i == 2)
            answers = {answer::cut(size / 2)};
        if (i == 3)
            answers = {answer::reset(size / 2)};
        offered.push_back(
            package(name, "1.0.0.0", fileContent(size, static_cast<std::uint32_t>(i)), answers));
        paths.insert("/usr/local/Brovik/TempDownload/Package/1.0.0.0/" + name);
        hashes.insert(offered.back().hash);
    }
    offerOfOneSize(offered);
    startPolling(paths, hashes, offered[0].url);
    EXPECT_EQ(FreshInstall(), 0);
    EXPECT_EQ(completions, 0U) << "the last package has failed";
    RetryDownloadPackages();
    EXPECT_TRUE(comesTrue([this] { return completions > 20; }));
    stopPolling();
    EXPECT_THAT(readText("/private/tmp/configuration.plist"), testing::HasSubstr("<string>1.0.0.0</string>"));
}

TEST_F(ConcurrencyTest, ACancelAtAnyMomentOfAFreshInstall) {
    constexpr int rounds = 12;
    std::vector<Offered> offered;
    std::set<std::string> paths;
    for (int i = 0; i < 3; ++i) {
        const std::string name = std::to_string(i) + ".pkg";
        offered.push_back(package(name, "1.0.0.0", fileContent(size, static_cast<std::uint32_t>(i))));
        paths.insert("/usr/local/Brovik/TempDownload/Package/1.0.0.0/" + name);
    }
    offerOfOneSize(offered);
    startPolling(paths, {"", offered[0].hash}, offered[0].url);
    for (int round = 0; round < rounds; ++round) {
        // After a failure the retry runs the whole job, with a new handler and a new parser.
        server.answerHead("/0.pkg", answer::nothing());
        EXPECT_EQ(controller.freshInstall(), -1);
        server.answerHead("/0.pkg", answer::cut(0));
        for (const Offered &package : offered)
            server.serve("/" + package.name,
                         fileContent(size, static_cast<std::uint32_t>(package.name[0] - '0')),
                         {answer::wrongBytes()});
        const std::size_t before = server.requestCount();
        Background job;
        job.run([] { RetryDownloadPackages(); });
        // Three catalogs, three questions for reachability, six fetches.
        const auto moment = static_cast<std::size_t>(round);
        EXPECT_TRUE(comesTrue([&] { return server.requestCount() >= before + moment; }));
        controller.cancelDownload();
        job.join();
        rearmCancel();
        controller.cancelDownload();
        rearmCancel();
    }
    stopPolling();
    EXPECT_GT(polls, 0U);
}

} // namespace
