// The engine's five functions, which play what the environment names.
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <locale>
#include <new>
#include <sstream>

#include "Player.h"

namespace {

constexpr const char *fileVariable = "DOWNLOADMANAGER_PLAY";
constexpr const char *speedVariable = "DOWNLOADMANAGER_PLAY_SPEED";

const char *variable(const char *name) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): a host changes no environment beside its threads
    return std::getenv(name);
}

Recording recordingAsked() {
    const char *const file = variable(fileVariable);
    if (file == nullptr)
        throw RecordingUnusable(std::string(fileVariable) + " names no recording");
    std::ifstream lines(file);
    if (!lines)
        throw RecordingUnusable(std::string("cannot read ") + file);
    try {
        return readRecording(lines);
    } catch (const RecordingUnusable &error) {
        throw RecordingUnusable(std::string(file) + ": " + error.what());
    }
}

double speedAsked() {
    const char *const text = variable(speedVariable);
    if (text == nullptr)
        return 1;
    std::istringstream input(text);
    input.imbue(std::locale::classic());
    double speed = 0;
    const bool isNumber = input >> speed && input.peek() == std::istringstream::traits_type::eof();
    if (!isNumber || speed < Player::slowest || speed > Player::fastest)
        throw RecordingUnusable(std::string(speedVariable) + " is no speed from 0.001 to 1000000: " + text);
    return speed;
}

// A failure before the downloads, at once.
Recording failure() {
    Recording recording;
    Answers answers;
    answers.progress->failed = true;
    recording.calls.push_back({Function::freshInstall, {{{}, answers}}, std::chrono::milliseconds(0), -1});
    return recording;
}

Player *makePlayer() {
    try {
        return new Player(recordingAsked(), speedAsked());
    } catch (const RecordingUnusable &error) {
        std::cerr << "libdownloadManager-player: " << error.what() << std::endl;
        return new Player(failure(), 1);
    }
}

// Like the engine it is made by the first call and lives as long as the process, whose threads may be in it.
Player &player() {
    static Player *const instance = makePlayer();
    return *instance;
}

// As for every host: no exception leaves a function.
template <typename Result, typename Call>
Result callForHost(Result onFailure, Call call) noexcept {
    try {
        return call();
    } catch (const std::exception &error) {
        return onFailure;
    }
}

thread_local std::string lastHash; // outlives the call

} // namespace

int FreshInstall() {
    return callForHost(-1, [] { return player().freshInstall(); });
}

void *GetDownloadProgressInfo() {
    return callForHost<void *>(nullptr, []() -> void * {
        const ProgressAnswer progress = player().progress();
        return progress ? new DownloadProgressInfo(*progress) : nullptr;
    });
}

char *GetDownloadedPackages() {
    return callForHost<char *>(nullptr, []() -> char * {
        const PackagesAnswer packages = player().packages();
        if (!packages)
            return nullptr;
        auto *text = new char[packages->size() + 1];
        std::memcpy(text, packages->c_str(), packages->size() + 1);
        return text;
    });
}

void RetryDownloadPackages() {
    static_cast<void>(callForHost(false, [] {
        player().retryDownloadPackages();
        return true;
    }));
}

const char *GetHashValue(const char *url) {
    return callForHost("", [url] {
        lastHash = player().hashIn(url);
        return lastHash.c_str();
    });
}
