// usage: benchBareDesign LIST FOLDER
// The engine's design and nothing else: a folder for each URL made by the shell, then a thread and an easy
// handle for each, with the same options, up to three resumes of a transfer that broke off, the hash by the
// shell. No log, no lock on the machine, no cancel, no retry, and whatever may go wrong beyond that goes
// wrong.
#define CURL_DISABLE_DEPRECATION // its progress callback is the first one, in doubles
#include <curl/curl.h>
#include <sys/resource.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

struct Download {
    std::string url, hash, version, file;
    std::mutex mutex{};
    double percent = 0, speed = 0;
    CURL *curl = nullptr;
    bool good = false;
};

static std::size_t writeData(char *data, std::size_t size, std::size_t count, void *file) {
    return std::fwrite(data, size, count, static_cast<std::FILE *>(file));
}

static int progress(void *download, double total, double now, double, double) {
    auto &self = *static_cast<Download *>(download);
    double speed = 0;
    curl_easy_getinfo(self.curl, CURLINFO_SPEED_DOWNLOAD, &speed);
    const std::lock_guard<std::mutex> lock(self.mutex);
    self.percent = total > 0 ? now / total * 100 : 0;
    self.speed = speed;
    return 0;
}

static void transfer(Download &self, long offset, int resumes) {
    std::FILE *file = std::fopen(self.file.c_str(), offset > 0 ? "ab" : "wb");
    self.curl = curl_easy_init();
    curl_easy_setopt(self.curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(self.curl, CURLOPT_URL, self.url.c_str());
    curl_easy_setopt(self.curl, CURLOPT_CONNECTTIMEOUT, 45L);
    curl_easy_setopt(self.curl, CURLOPT_LOW_SPEED_LIMIT, 10000L);
    curl_easy_setopt(self.curl, CURLOPT_LOW_SPEED_TIME, 30L);
    curl_easy_setopt(self.curl, CURLOPT_RESUME_FROM, offset);
    curl_easy_setopt(self.curl, CURLOPT_WRITEFUNCTION, writeData);
    curl_easy_setopt(self.curl, CURLOPT_WRITEDATA, file);
    curl_easy_setopt(self.curl, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(self.curl, CURLOPT_PROGRESSDATA, &self);
    curl_easy_setopt(self.curl, CURLOPT_PROGRESSFUNCTION, progress);
    curl_easy_setopt(self.curl, CURLOPT_FOLLOWLOCATION, 1L);
    const CURLcode result = curl_easy_perform(self.curl);
    curl_easy_cleanup(self.curl);
    offset = std::ftell(file);
    std::fclose(file);
    if (result == CURLE_PARTIAL_FILE && resumes < 3)
        return transfer(self, offset, resumes + 1);
    if (result != CURLE_OK)
        return;
    std::FILE *pipe =
        popen(("/usr/local/Brovik/qrn/bin/sha1sum " + self.file + " | awk '{print $1}'").c_str(), "r");
    std::array<char, 100> line{};
    const bool read = pipe != nullptr && std::fgets(line.data(), line.size(), pipe) != nullptr;
    std::string hash(line.data(), read ? 40 : 0);
    for (char &character : hash)
        character = character >= 'a' ? static_cast<char>(character - 'a' + 'A') : character;
    self.good = hash == self.hash;
    pclose(pipe);
}

int main(int, char *argv[]) {
    const rlimit many{65536, 65536};
    setrlimit(RLIMIT_NOFILE, &many);
    curl_global_init(CURL_GLOBAL_ALL);
    std::ifstream list(argv[1]);
    std::vector<std::unique_ptr<Download>> downloads;
    for (std::string url, hash, version; list >> url >> hash >> version;) {
        const std::string folder = std::string(argv[2]) + "/" + version;
        downloads.push_back(std::make_unique<Download>());
        downloads.back()->url = url;
        downloads.back()->hash = hash;
        downloads.back()->file = folder + url.substr(url.rfind('/'));
        pclose(popen(("sudo mkdir -p " + folder).c_str(), "r"));
    }
    std::vector<std::thread> threads;
    for (auto &download : downloads)
        threads.emplace_back([&self = *download] { transfer(self, 0, 0); });
    bool good = !downloads.empty();
    for (std::thread &thread : threads)
        thread.join();
    for (const auto &download : downloads)
        good = good && download->good;
    return good ? 0 : 1;
}
