// A recorded installation: what the engine answered to a host, call by call, and its form as JSON lines.
//
// The first line says what the file is. Every other is an answer that changed, or the begin or the end of a
// call that runs downloads; "at" are milliseconds since that call began. What stands before the first call
// was answered before it.
//
//     {"event":"recording","format":1,"engine":"1.0.0"}
//     {"event":"call","function":"FreshInstall"}       or "RetryDownloadPackages"
//     {"event":"progress","at":50,"progressPercent":1.5,...}   the members of DownloadProgressInfo
//     {"event":"packages","at":50,"text":"/a/b.pkg!:"}  as the engine joins them
//     {"event":"hash","at":50,"name":"b.pkg","sha1":"..."}
//     {"event":"return","at":60,"result":0}             null for RetryDownloadPackages
//
// "progress" with "null":true, and "packages" with a text that is null, are an engine without memory. A file
// that ends within a call, as of a recorder that was interrupted, is a call that never returns.
#pragma once

#include <chrono>
#include <cstddef>
#include <istream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "downloadManager.h"

class RecordingUnusable : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

using ProgressAnswer = std::optional<DownloadProgressInfo>; // none: null
using PackagesAnswer = std::optional<std::string>;          // likewise; the engine's text

// What the three functions that only ask answer at one moment. There are many of them: what is long they
// share.
struct Answers {
    ProgressAnswer progress = DownloadProgressInfo{0, 0, 0, 0, 0, false, false, true};
    std::shared_ptr<const PackagesAnswer> packages = std::make_shared<PackagesAnswer>(std::string());
    std::size_t hashes = 0; // so many of the recording's are known
};

enum class Function { freshInstall, retryDownloadPackages };

struct Moment {
    std::chrono::milliseconds at;
    Answers answers; // from then on
};

// A call that runs downloads.
struct Call {
    Function function;
    std::vector<Moment> moments;                         // by time; the first is the begin
    std::optional<std::chrono::milliseconds> returned{}; // none: it never does
    int result = 0;                                      // of FreshInstall
};

struct Recording {
    Answers before;
    std::vector<Call> calls;
    std::vector<std::pair<std::string, std::string>>
        hashes{}; // by the file's name, in the order of its coming
};

// Throws RecordingUnusable, which names the line.
Recording readRecording(std::istream &lines);

// The lines, each with its end.
std::string recordingLine();
std::string callLine(Function function);
std::string progressLine(std::chrono::milliseconds at, const ProgressAnswer &progress);
std::string packagesLine(std::chrono::milliseconds at, const PackagesAnswer &packages);
std::string hashLine(std::chrono::milliseconds at, const std::string &name, const std::string &sha1);
std::string returnLine(std::chrono::milliseconds at, std::optional<int> result);
