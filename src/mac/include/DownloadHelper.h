#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "CurlEasy.h"
#include "File.h"
#include "ThreadSafety.h"
#include "downloadManager.h"

// The limits of one transfer.
struct CURLSetUpConfig {
    long lowSpeedLimit = 10000; // bytes per second
    long lowSpeedTime = 30;     // seconds below that speed after which a transfer is given up
    long connectTimeout = 45;   // seconds
};

// Downloads one file from one URL, resumes it when it breaks off, and has a finished package validated.
//
// Threads: it has none of its own. Init and the transfer operations run on one thread at a time. Progress,
// status, URL and path may be asked for, and cancel may be called, by any thread meanwhile.
// Errors: nothing throws; the outcome is in the flags and in the trace.
class DownloadHelper {
public:
    DownloadHelper() = default;
    ~DownloadHelper() = default;
    DownloadHelper(const DownloadHelper &) = delete;
    DownloadHelper &operator=(const DownloadHelper &) = delete;

    // Keeps copies of the URL and the destination path (those of the first call) and the limits, opens the
    // file and prepares a transfer. False leaves nothing open. True and nothing open once the worker is
    // cancelled, since its transfer ends at its start.
    bool Init(const char *sourceUrl, const char *file, CURLSetUpConfig limits);
    bool initCurlHandler();
    // Gives libcurl's code of the first option that fails, -1 on an exception.
    int setupcurl();
    // Runs the prepared transfer, with its resumes and its validation, to its end.
    void startDownload();
    // Prepares and runs another transfer, of the bytes that are missing or, without resume, of the whole
    // file.
    void resumeDownload(bool resume);
    // 0 when the file has the expected hash. Otherwise -1, after having fetched the file again.
    int validatePackage();
    void setHashValue(std::string hash);
    void setDownloadStatus(bool downloaded);
    // Ends a running transfer when libcurl next calls the progress callback, which it does about once a
    // second while nothing arrives, and every later one at its start: nothing opens or cuts the file any
    // more, and no hash check begins. The look-up of a host's name is waited for.
    void cancel() noexcept;

    DownloadProgressInfo getProgressInfo() const;
    // Whether the package is downloaded and validated.
    bool getDownloadStatus() const;
    // Both stay valid as long as the worker lives; null before Init.
    const char *getDownloadURl() const;
    const char *getDownloadedFile() const;

    // Whether a transfer of the URL without its body succeeds; an HTTP error page counts as reachable
    // (kept: only the transfer itself is judged).
    static bool isUrlReachable(const char *address);
    // Rounds half away from zero; what does not fit becomes -2147483648.
    static int roundNum(double value);
    static std::size_t write_data(void *buffer, std::size_t size, std::size_t count, std::FILE *stream);
    static int progressCallback(void *worker, double dltotal, double dlnow, double ultotal,
                                double ulnow) noexcept;

private:
    void recordProgress(double total, double now) noexcept;
    void judgeTransfer(int transferResult, long httpCode);
    void resumeAfterPartialFile();
    void acceptFile();
    void giveUpValidation();
    void chooseResumePoint(bool resume);
    void setUnfinished(bool hasFailed);
    void setFinished();
    void closeTransfer() noexcept;

    CurlEasy curlHandle;
    File outputFile;
    std::unique_ptr<char[]> url;
    std::unique_ptr<char[]> downloadedFile;
    double progressPercent GUARDED_BY(progressMutex) = 0;
    double downloadSpeed GUARDED_BY(progressMutex) = 0;  // kilobytes per second
    double remainingTime GUARDED_BY(progressMutex) = 0;  // seconds
    double downloadedSize GUARDED_BY(progressMutex) = 0; // kilobytes
    double totalSize GUARDED_BY(progressMutex) = 0;      // kilobytes
    bool failed GUARDED_BY(progressMutex) = false;
    bool completed GUARDED_BY(progressMutex) = false;
    bool resumable GUARDED_BY(progressMutex) = true;
    CURLSetUpConfig config;
    long resumeOffset GUARDED_BY(progressMutex) = 0; // bytes
    bool appendMode = false;
    mutable boost::mutex progressMutex;
    bool downloadStatus GUARDED_BY(statusMutex) = false;
    long resumeBase = 0; // bytes
    std::string hashValue;
    int hashCheckCount = 0;
    mutable boost::mutex statusMutex;
    int partialRetryCount = 1;
    std::atomic<bool> m_cancelled{false};
};
