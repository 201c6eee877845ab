#include "Observed.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <sstream>
#include <utility>

#include "Program.h"
#include "TextFile.h"
#include "TraceFile.h"

namespace {

const std::string rehearsal = "/srv/rehearsal";

bool isOfTransfer(const std::string &message) {
    static const std::array<std::string, 14> beginnings = {
        "INFO : DownloadController::downLoadThreadEntry",
        "INFO : Start download: ",
        "Successfully downloaded: ",
        "ERROR : Download Failed",
        "Download Error: ",
        "Error: HTTP response= ",
        "Resume Download: ",
        "INFO: Checking HashSUM",
        "INFO:Success Checking HashSUM",
        "Error: Hash mismatch",
        "Error: Failed to get Hashsum",
        "ERROR: Exit maximum no of Checking HashSUM",
        "Error occurred in creating output file",
        "ERROR: Not able to initialize download helper",
    };
    return std::any_of(beginnings.begin(), beginnings.end(), [&message](const std::string &beginning) {
        return message.compare(0, beginning.size(), beginning) == 0;
    });
}

std::string fileNameIn(const std::string &message) {
    const std::size_t slash = message.rfind('/');
    if (slash == std::string::npos)
        return "";
    const std::string end = message.substr(slash + 1);
    return end.substr(0, end.find_first_of(" \n"));
}

// Files in the order of their names. That a thread began names no file and comes before all that threads did:
// which of several begins first is the system's choice.
bool isToldBefore(const std::string &left, const std::string &right) {
    const auto rank = [](const std::string &message) {
        const std::string file = fileNameIn(message);
        return std::pair(file, file.empty() && message.find("downLoadThreadEntry") == std::string::npos);
    };
    return rank(left) < rank(right);
}

std::vector<std::string> linesOf(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

// "NUMBER | HOST | METHOD | ..."
std::vector<std::string> recordedByService() {
    return linesOf(readText(rehearsal + "/log/service-requests.log"));
}

} // namespace

std::string transcript() {
    std::vector<std::string> messages = traceMessages();
    for (auto begin = messages.begin(); begin != messages.end();) {
        const auto end = std::find_if_not(begin, messages.end(), isOfTransfer);
        std::stable_sort(begin, end, isToldBefore);
        begin = end == messages.end() ? end : end + 1;
    }
    std::string text;
    for (const std::string &message : messages)
        text += ">" + message;
    return text;
}

std::vector<std::string> updateRequests() {
    std::vector<std::string> requests;
    for (const std::string &line : recordedByService()) {
        if (line.find(" | update.brovik.example | ") != std::string::npos)
            requests.push_back(readText(rehearsal + "/log/requests/" + line.substr(0, line.find(' '))));
    }
    return requests;
}

std::vector<std::string> scriptedAnswers() {
    std::vector<std::string> lines = recordedByService();
    for (std::string &line : lines)
        line.erase(0, line.find(" | ") + 3);
    std::sort(lines.begin(), lines.end());
    return lines;
}

std::vector<std::string> downloadAnswers() {
    static_cast<void>(shell("curl -s https://download.brovik.example/log-is-written"));
    std::vector<std::string> lines = linesOf(readText(rehearsal + "/log/download.log"));
    std::sort(lines.begin(), lines.end());
    return lines;
}

Files filesBelow(const std::string &folder) {
    Files files;
    if (!std::filesystem::exists(folder))
        return files;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file())
            files[entry.path().lexically_relative(folder)] = readText(entry.path());
    }
    return files;
}

testing::AssertionResult sameFiles(const Files &expected, const Files &actual) {
    for (const auto &[path, content] : expected) {
        const auto found = actual.find(path);
        if (found == actual.end())
            return testing::AssertionFailure() << path << " is missing";
        if (found->second == content)
            continue;
        testing::AssertionResult differs = testing::AssertionFailure();
        differs << path << " has " << found->second.size() << " bytes where " << content.size()
                << " others are expected";
        if (path.find(".pkg") == std::string::npos)
            differs << ":\n" << found->second << "\nexpected:\n" << content;
        return differs;
    }
    for (const auto &[path, content] : actual) {
        if (expected.count(path) == 0)
            return testing::AssertionFailure()
                   << path << " is not expected, with " << content.size() << " bytes";
    }
    return testing::AssertionSuccess();
}
