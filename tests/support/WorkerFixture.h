// One download worker with a server to load from, its trace, and its outcome in words.
#pragma once

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Background.h"
#include "Bytes.h"
#include "DownloadHelper.h"
#include "ExternalLibraries.h"
#include "LocalServer.h"
#include "Trace.h"
#include "TraceFile.h"

using Messages = std::vector<std::string>;

inline std::string replaceAll(std::string text, const std::string &part, const std::string &by) {
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + by.size()))
        text.replace(at, part.size(), by);
    return text;
}

// The flags that are set.
inline std::string outcomeOf(const DownloadHelper &worker) {
    const DownloadProgressInfo info = worker.getProgressInfo();
    return std::string(info.failed ? "failed " : "") + (info.completed ? "completed " : "") +
           (info.resumable ? "resumable " : "") + (worker.getDownloadStatus() ? "downloaded" : "");
}

// The outcomes that the operations know.
inline const std::string untouched = "resumable ";
inline const std::string failedOutcome = "failed resumable ";
inline const std::string doneOutcome = "completed resumable downloaded";
inline const std::string givenUpOutcome;

class WorkerFixture : public testing::Test {
protected:
    WorkerFixture() {
        initialiseExternalLibraries();
        openTrace();
        m_traced = traceText().size();
        std::filesystem::create_directories(folder);
    }
    void TearDown() override { std::filesystem::remove_all(folder); }

    // Prepares the worker for the path of the server.
    bool init(const std::string &serverPath, CURLSetUpConfig limits = {}) {
        url = server.url(serverPath);
        return worker.Init(url.c_str(), file.c_str(), limits);
    }
    void load(const std::string &serverPath, CURLSetUpConfig limits = {}) {
        ASSERT_TRUE(init(serverPath, limits));
        worker.startDownload();
    }

    std::string outcome() const { return outcomeOf(worker); }
    std::string loaded() const { return readText(file); }
    // Shows no bytes of a file that is not as expected.
    testing::AssertionResult hasLoaded(const std::string &expected) const {
        const std::string actual = loaded();
        if (actual == expected)
            return testing::AssertionSuccess();
        const auto difference = std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
        return testing::AssertionFailure()
               << actual.size() << " bytes in place of " << expected.size() << ", the first "
               << difference.first - actual.begin() << " as expected";
    }
    // What was traced since the test began, the URL as <url> and the path as <file>.
    Messages messages() const {
        Messages found = messagesOf(traceText().substr(m_traced));
        for (std::string &message : found)
            message = replaceAll(replaceAll(message, url, "<url>"), file, "<file>");
        return found;
    }

    const std::string folder = "/tmp/download-worker";
    std::string file = folder + "/file";
    std::string url;
    DownloadHelper worker;
    Background background;
    LocalServer server;

private:
    std::size_t m_traced = 0;
};
