#include "Recording.h"

#include <cstdint>
#include <limits>

#include <nlohmann/json.hpp>

using std::chrono::milliseconds;
using Json = nlohmann::ordered_json;

namespace {

constexpr int format = 1;
constexpr milliseconds longest =
    std::chrono::hours(24 * 30); // the clock can count it, however slowly it is played

constexpr const char *freshInstall = "FreshInstall";
constexpr const char *retryDownloadPackages = "RetryDownloadPackages";

[[noreturn]] void refuse(const std::string &why) {
    throw RecordingUnusable(why);
}

std::string lineOf(const Json &object) {
    // Paths may hold any bytes; those that are no UTF-8 are replaced.
    return object.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

DownloadProgressInfo progressOf(const Json &line) {
    return {line.at("progressPercent").get<double>(), line.at("downloadSpeed").get<double>(),
            line.at("remainingTime").get<double>(),   line.at("downloadedSize").get<double>(),
            line.at("totalSize").get<double>(),       line.at("failed").get<bool>(),
            line.at("completed").get<bool>(),         line.at("resumable").get<bool>()};
}

PackagesAnswer packagesOf(const Json &line) {
    const Json &text = line.at("text");
    return text.is_null() ? PackagesAnswer() : text.get<std::string>();
}

// What an int of the engine cannot be is none of its results.
int resultOf(const Json &line) {
    const Json &number = line.at("result");
    constexpr std::int64_t least = std::numeric_limits<int>::min();
    constexpr std::int64_t most = std::numeric_limits<int>::max();
    const bool isCounted = number.is_number_integer() && (!number.is_number_unsigned() ||
                                                          number.get<std::uint64_t>() <= std::uint64_t(most));
    if (!isCounted || number.get<std::int64_t>() < least)
        refuse("no result: " + number.dump());
    return number.get<int>();
}

Function functionOf(const std::string &name) {
    if (name == freshInstall)
        return Function::freshInstall;
    if (name == retryDownloadPackages)
        return Function::retryDownloadPackages;
    refuse("no function of the engine that runs downloads: " + name);
}

// Takes the lines, one after the other.
class Reader {
public:
    void take(const Json &line);
    Recording recording() && { return std::move(m_recording); }

private:
    void begin(Function function);
    void end(const Json &line);
    void answer(const std::string &event, const Json &line);
    void takeHash(const Json &line);
    milliseconds timeOf(const Json &line) const;
    bool isInCall() const { return !m_recording.calls.empty() && !m_recording.calls.back().returned; }
    Answers &answersAt(milliseconds at);

    Recording m_recording;
    Answers m_now;
    bool m_begun = false;
};

void Reader::take(const Json &line) {
    const std::string event = line.at("event");
    if (!m_begun) {
        if (event != "recording" || line.at("format") != format)
            refuse("no recording of this format; recordinstall makes them");
        m_begun = true;
    } else if (event == "call") {
        begin(functionOf(line.at("function")));
    } else if (event == "return") {
        end(line);
    } else {
        answer(event, line);
    }
}

void Reader::begin(Function function) {
    if (isInCall())
        refuse("a call within a call");
    m_recording.calls.push_back({function, {{milliseconds(0), m_now}}});
}

void Reader::end(const Json &line) {
    if (!isInCall())
        refuse("the end of a call that did not begin");
    const milliseconds at = timeOf(line);
    Call &call = m_recording.calls.back();
    if (call.function == Function::freshInstall)
        call.result = resultOf(line);
    call.returned = at;
}

void Reader::answer(const std::string &event, const Json &line) {
    const milliseconds at = timeOf(line);
    if (event == "progress")
        m_now.progress = line.value("null", false) ? ProgressAnswer() : progressOf(line);
    else if (event == "packages")
        m_now.packages = std::make_shared<PackagesAnswer>(packagesOf(line));
    else if (event == "hash")
        takeHash(line);
    else
        refuse("no event of a recording: " + event);
    answersAt(at) = m_now;
}

void Reader::takeHash(const Json &line) {
    m_recording.hashes.emplace_back(line.at("name"), line.at("sha1"));
    m_now.hashes = m_recording.hashes.size();
}

milliseconds Reader::timeOf(const Json &line) const {
    const Json &number = line.at("at");
    if (!number.is_number_unsigned() ||
        number.get<std::uint64_t>() > static_cast<std::uint64_t>(longest.count()))
        refuse("no time: " + number.dump());
    const milliseconds at(number.get<milliseconds::rep>());
    if (isInCall() && at < m_recording.calls.back().moments.back().at)
        refuse("the time runs backwards");
    return at;
}

// What changes after a call's end is the next one's begin, or nobody's.
Answers &Reader::answersAt(milliseconds at) {
    if (m_recording.calls.empty())
        return m_recording.before;
    std::vector<Moment> &moments = m_recording.calls.back().moments;
    if (isInCall() && moments.back().at != at)
        moments.push_back({at, {}});
    return moments.back().answers;
}

} // namespace

Recording readRecording(std::istream &lines) {
    Reader reader;
    std::size_t number = 0;
    const auto fail = [&number](const std::string &why) {
        refuse("line " + std::to_string(number) + ": " + why);
    };
    try {
        for (std::string line; std::getline(lines, line);) {
            ++number;
            reader.take(Json::parse(line));
        }
    } catch (const Json::exception &error) {
        fail(error.what());
    } catch (const RecordingUnusable &error) {
        fail(error.what());
    }
    Recording recording = std::move(reader).recording();
    if (recording.calls.empty())
        refuse("no call of the engine in it");
    return recording;
}

std::string recordingLine() {
    return lineOf({{"event", "recording"}, {"format", format}, {"engine", DOWNLOADMANAGER_VERSION}});
}

std::string callLine(Function function) {
    return lineOf({{"event", "call"},
                   {"function", function == Function::freshInstall ? freshInstall : retryDownloadPackages}});
}

std::string progressLine(milliseconds at, const ProgressAnswer &progress) {
    if (!progress)
        return lineOf({{"event", "progress"}, {"at", at.count()}, {"null", true}});
    return lineOf({{"event", "progress"},
                   {"at", at.count()},
                   {"progressPercent", progress->progressPercent},
                   {"downloadSpeed", progress->downloadSpeed},
                   {"remainingTime", progress->remainingTime},
                   {"downloadedSize", progress->downloadedSize},
                   {"totalSize", progress->totalSize},
                   {"failed", progress->failed},
                   {"completed", progress->completed},
                   {"resumable", progress->resumable}});
}

std::string packagesLine(milliseconds at, const PackagesAnswer &packages) {
    return lineOf(
        {{"event", "packages"}, {"at", at.count()}, {"text", packages ? Json(*packages) : Json(nullptr)}});
}

std::string hashLine(milliseconds at, const std::string &name, const std::string &sha1) {
    return lineOf({{"event", "hash"}, {"at", at.count()}, {"name", name}, {"sha1", sha1}});
}

std::string returnLine(milliseconds at, std::optional<int> result) {
    return lineOf(
        {{"event", "return"}, {"at", at.count()}, {"result", result ? Json(*result) : Json(nullptr)}});
}
