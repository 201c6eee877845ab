// The progress callback has libcurl's first form, in doubles, which every version calls.
#define CURL_DISABLE_DEPRECATION

#include "DownloadHelper.h"

#include <cstring>
#include <exception>

#include <curl/curl.h>

#include "DownloadFile.h"
#include "Numbers.h"
#include "PackageHash.h"
#include "Text.h"
#include "Trace.h"

namespace {

constexpr double bytesPerKilobyte = 1024;
constexpr int maxPartialResumes = 3;
constexpr int maxHashChecks = 3; // the last one gives up unchecked

std::unique_ptr<char[]> copyText(const char *text) {
    const std::size_t size = std::strlen(text) + 1;
    auto copy = std::make_unique<char[]>(size);
    std::memcpy(copy.get(), text, size);
    return copy;
}

// What libcurl calls; the worker's own operation has the stream's type.
std::size_t writeToStream(char *buffer, std::size_t size, std::size_t count, void *stream) noexcept {
    return DownloadHelper::write_data(buffer, size, count, static_cast<std::FILE *>(stream));
}

} // namespace

bool DownloadHelper::Init(const char *sourceUrl, const char *file, CURLSetUpConfig limits) {
    try {
        if (!url)
            url = copyText(sourceUrl);
        if (!downloadedFile)
            downloadedFile = copyText(file);
        config = limits;
        return initCurlHandler();
    } catch (const std::exception &) {
        trace.error("Caught an exception in initCurlHandler\n");
        return false;
    }
}

bool DownloadHelper::initCurlHandler() {
    try {
        // A handle that is still there would write into the file that is closed now.
        closeTransfer();
        // After a cancel the file may be somebody else's; the transfer then ends at its start.
        if (m_cancelled)
            return true;
        setUnfinished(false);
        outputFile = openDownloadFile(downloadedFile.get(), appendMode);
        if (!outputFile) {
            trace.error("Error occurred in creating output file : %s \n", downloadedFile.get());
            return false;
        }
        curlHandle = makeCurlEasy();
        if (!curlHandle) {
            trace.error("Error occurred in curl initialization\n");
            closeTransfer();
            return false;
        }
        const int code = setupcurl();
        if (code != 0) {
            closeTransfer();
            trace.error("Error occured in setting up CURL handle with error code :%d\n", code);
            return false;
        }
        return true;
    } catch (const std::exception &) {
        closeTransfer();
        trace.error("Caught an exception in initCurlHandler\n");
        return false;
    }
}

int DownloadHelper::setupcurl() {
    try {
        {
            const MutexLock lock(progressMutex);
            resumeBase = resumeOffset;
        }
        CURLcode code = CURLE_OK;
        const auto set = [this, &code](CURLoption option, auto value) {
            if (code == CURLE_OK)
                code = curl_easy_setopt(curlHandle.get(), option, value);
        };
        set(CURLOPT_URL, url.get());
        set(CURLOPT_CONNECTTIMEOUT, config.connectTimeout);
        set(CURLOPT_LOW_SPEED_LIMIT, config.lowSpeedLimit);
        set(CURLOPT_LOW_SPEED_TIME, config.lowSpeedTime);
        set(CURLOPT_RESUME_FROM, resumeBase);
        set(CURLOPT_WRITEFUNCTION, &writeToStream);
        set(CURLOPT_WRITEDATA, outputFile.get());
        set(CURLOPT_NOPROGRESS, 0L);
        set(CURLOPT_PROGRESSDATA, this);
        set(CURLOPT_PROGRESSFUNCTION, &DownloadHelper::progressCallback);
        set(CURLOPT_FOLLOWLOCATION, 1L);
        return code;
    } catch (const std::exception &) {
        trace.error("Caught an exception in setupcurl\n");
        return -1;
    }
}

void DownloadHelper::startDownload() {
    try {
        trace.info("INFO : Start download: %s\n", url.get());
        const int result = m_cancelled ? CURLE_ABORTED_BY_CALLBACK : performTransfer(curlHandle);
        long httpCode = 0;
        // Without a reply there is no code, and 0 stays.
        static_cast<void>(curl_easy_getinfo(curlHandle.get(), CURLINFO_RESPONSE_CODE, &httpCode));
        judgeTransfer(result, httpCode);
    } catch (const std::exception &) {
        trace.error("Caught an exception in startDownload\n");
        setUnfinished(true);
    }
    closeTransfer();
}

void DownloadHelper::judgeTransfer(int transferResult, long httpCode) {
    if (transferResult == CURLE_OPERATION_TIMEDOUT || transferResult == CURLE_ABORTED_BY_CALLBACK) {
        const char *name = transferResult == CURLE_OPERATION_TIMEDOUT ? "CURLE_OPERATION_TIMEDOUT"
                                                                      : "CURLE_ABORTED_BY_CALLBACK";
        trace.error("Download Error: %s URL: %s\n", name, url.get());
        setUnfinished(true);
        return;
    }
    if (transferResult == CURLE_PARTIAL_FILE) {
        resumeAfterPartialFile();
        return;
    }
    if (transferResult != CURLE_OK || (httpCode != 200 && httpCode != 206)) {
        trace.error("Error: HTTP response= %ld and CURL response = %d, URL: %s\n", httpCode, transferResult,
                    url.get());
        setUnfinished(true);
        return;
    }
    acceptFile();
}

void DownloadHelper::resumeAfterPartialFile() {
    trace.write(Trace::partialDownloadLevel,
                "ERROR : Download Failed with CURL error code CURLE_PARTIAL_FILE for %s\n", url.get());
    // Left neither failed nor complete then (kept: a retry does not touch it).
    if (partialRetryCount > maxPartialResumes)
        return;
    ++partialRetryCount;
    resumeDownload(true);
}

void DownloadHelper::acceptFile() {
    if (isPackage(url.get())) {
        if (validatePackage() != 0) {
            trace.error("ERROR : Download Failed: %s\n", url.get());
            return;
        }
        setFinished();
    }
    trace.info("Successfully downloaded: %s\n", url.get());
}

void DownloadHelper::resumeDownload(bool resume) {
    try {
        trace.error("Resume Download: %s\n", url.get());
        // An outer transfer of this worker may still have the file open.
        closeTransfer();
        setUnfinished(false);
        chooseResumePoint(resume);
        if (initCurlHandler()) {
            startDownload();
            return;
        }
        trace.error("Not able to initialize curl: %s\n", url.get());
        setUnfinished(true);
    } catch (const std::exception &) {
        trace.error("Caught an exception in resumeDownload\n");
        setUnfinished(true);
    }
}

void DownloadHelper::chooseResumePoint(bool resume) {
    // The file may be somebody else's by now.
    if (m_cancelled)
        return;
    long offset = 0;
    bool mayResume = resume;
    {
        const MutexLock lock(progressMutex);
        offset = resumeOffset;
        mayResume = mayResume && resumable;
    }
    // An offset of 2 GiB or more did not fit and is negative. The file may hold more bytes than were counted,
    // when the server told no length; they would come again. It may hold fewer, when the disk was full; the
    // rest would not fit.
    appendMode = mayResume && offset >= 0 && cutDownloadFile(downloadedFile.get(), offset);
    if (appendMode)
        return;
    const MutexLock lock(progressMutex);
    resumeOffset = 0;
    resumeBase = 0;
}

int DownloadHelper::validatePackage() {
    ++hashCheckCount;
    if (hashCheckCount >= maxHashChecks) {
        giveUpValidation();
        return -1;
    }
    if (hashValue.empty())
        return -1;
    closeTransfer();
    if (m_cancelled) {
        judgeTransfer(CURLE_ABORTED_BY_CALLBACK, 0);
        return -1;
    }
    if (hasPackageHash(downloadedFile.get(), hashValue))
        return 0;
    resumeDownload(false);
    return -1;
}

void DownloadHelper::giveUpValidation() {
    trace.error("ERROR: Exit maximum no of Checking HashSUM : %s\n", downloadedFile.get());
    {
        const MutexLock lock(progressMutex);
        progressPercent = 0;
        downloadSpeed = 0;
        remainingTime = 0;
        downloadedSize = 0;
        totalSize = 0;
        failed = false;
        completed = false;
        resumable = false;
        resumeOffset = 0;
        resumeBase = 0;
    }
    setDownloadStatus(false);
}

void DownloadHelper::setHashValue(std::string hash) {
    hashValue = std::move(hash);
}

void DownloadHelper::setDownloadStatus(bool downloaded) {
    const MutexLock lock(statusMutex);
    downloadStatus = downloaded;
}

void DownloadHelper::cancel() noexcept {
    m_cancelled = true;
}

// A reader who finds the file completed finds its status true as well: the status is set first and taken back
// last.
void DownloadHelper::setUnfinished(bool hasFailed) {
    {
        const MutexLock lock(progressMutex);
        failed = hasFailed;
        completed = false;
    }
    setDownloadStatus(false);
}

void DownloadHelper::setFinished() {
    setDownloadStatus(true);
    const MutexLock lock(progressMutex);
    failed = false;
    completed = true;
    resumable = true;
}

void DownloadHelper::closeTransfer() noexcept {
    curlHandle.reset();
    outputFile.reset();
}

DownloadProgressInfo DownloadHelper::getProgressInfo() const {
    const MutexLock lock(progressMutex);
    return {progressPercent, downloadSpeed, remainingTime, downloadedSize,
            totalSize,       failed,        completed,     resumable};
}

bool DownloadHelper::getDownloadStatus() const {
    const MutexLock lock(statusMutex);
    return downloadStatus;
}

const char *DownloadHelper::getDownloadURl() const {
    return url.get();
}

const char *DownloadHelper::getDownloadedFile() const {
    return downloadedFile.get();
}

bool DownloadHelper::isUrlReachable(const char *address) {
    const CurlEasy handle = makeCurlEasy();
    return handle && curl_easy_setopt(handle.get(), CURLOPT_URL, address) == CURLE_OK &&
           curl_easy_setopt(handle.get(), CURLOPT_NOBODY, 1L) == CURLE_OK &&
           performTransfer(handle) == CURLE_OK;
}

int DownloadHelper::roundNum(double value) {
    return truncateToInt32(value >= 0 ? value + 0.5 : value - 0.5);
}

std::size_t DownloadHelper::write_data(void *buffer, std::size_t size, std::size_t count, std::FILE *stream) {
    return std::fwrite(buffer, size, count, stream);
}

int DownloadHelper::progressCallback(void *worker, double dltotal, double dlnow, double /*ultotal*/,
                                     double /*ulnow*/) noexcept {
    auto *self = static_cast<DownloadHelper *>(worker);
    // A server that tells no length leaves the figures as they are.
    if (dltotal != 0)
        self->recordProgress(dltotal, dlnow);
    return self->m_cancelled ? 1 : 0;
}

void DownloadHelper::recordProgress(double total, double now) noexcept {
    double bytesPerSecond = 0;
    if (curl_easy_getinfo(curlHandle.get(), CURLINFO_SPEED_DOWNLOAD, &bytesPerSecond) != CURLE_OK)
        bytesPerSecond = 0;
    const MutexLock lock(progressMutex);
    const auto base = static_cast<double>(resumeBase);
    progressPercent = (base + now) / (base + total) * 100;
    downloadSpeed = bytesPerSecond > 0 ? bytesPerSecond / bytesPerKilobyte : 0;
    // At speed 0 this is the value of what does not fit (kept as shipped).
    remainingTime = truncateToInt32((total - now) / bytesPerSecond);
    totalSize = (total + base) / bytesPerKilobyte;
    downloadedSize = (base + now) / bytesPerKilobyte;
    resumeOffset = truncateToInt32(base + now);
}
