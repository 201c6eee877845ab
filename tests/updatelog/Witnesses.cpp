#include "Witnesses.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "TextFile.h"

namespace {

const std::string serverRecord = "/srv/rehearsal/log/service-requests.log";
const std::string hashRecord = "/srv/rehearsal/log/sha1sum.log";
const std::string installerRecord = "/srv/rehearsal/log/installer.log";
const std::string hashTool = "/usr/local/Brovik/qrn/bin/sha1sum";

// The records grow with every run: only what is new is read.
std::string readFrom(const std::string &file, std::size_t begin) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream text;
    if (in.seekg(static_cast<std::streamoff>(begin)) && in.peek() != std::ifstream::traits_type::eof())
        text << in.rdbuf();
    return text.str();
}

std::size_t sizeOf(const std::string &file) {
    return std::filesystem::exists(file) ? std::filesystem::file_size(file) : 0;
}

std::vector<std::string> cellsOf(const std::string &line) {
    const std::string separator = " | ";
    std::vector<std::string> cells;
    std::size_t begin = 0;
    for (std::size_t end = line.find(separator); end != std::string::npos;
         end = line.find(separator, begin)) {
        cells.push_back(line.substr(begin, end - begin));
        begin = end + separator.size();
    }
    cells.push_back(line.substr(begin));
    return cells;
}

// "number | host | method | target | range | attempt | action | status"
SeenRequest requestOf(const std::string &line) {
    const std::vector<std::string> cells = cellsOf(line);
    return {cells.at(1), cells.at(2), cells.at(3), cells.at(4), cells.at(6), cells.at(7)};
}

} // namespace

void Witnesses::watchHashTool() {
    replaceProgram(hashTool, "#!/bin/bash\nfound=$(/usr/bin/sha1sum \"$@\") || exit\n"
                             "mapfile requests <" +
                                 serverRecord + "\necho \"${#requests[@]} $found\" >>" + hashRecord +
                                 "\necho \"$found\"\n");
}

Witnesses::Witnesses() {
    for (const std::string &file : {serverRecord, hashRecord, installerRecord})
        m_before[file] = sizeOf(file);
    const std::string requests = readFrom(serverRecord, 0);
    m_requestsBefore = static_cast<std::size_t>(std::count(requests.begin(), requests.end(), '\n'));
}

std::vector<std::string> Witnesses::newLines(const std::string &file) const {
    std::istringstream text(readFrom(file, m_before.at(file)));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    return lines;
}

std::vector<SeenRequest> Witnesses::requests() const {
    std::vector<SeenRequest> requests;
    for (const std::string &line : newLines(serverRecord))
        requests.push_back(requestOf(line));
    return requests;
}

std::size_t Witnesses::stalled() const {
    const std::vector<SeenRequest> all = requests();
    return static_cast<std::size_t>(std::count_if(
        all.begin(), all.end(), [](const SeenRequest &request) { return request.action == "stall"; }));
}

std::vector<SeenHash> Witnesses::hashes() const {
    std::vector<SeenHash> hashes;
    for (const std::string &line : newLines(hashRecord)) {
        const std::size_t requests = std::stoul(line);
        const std::size_t begin = line.find(' ') + 1;
        std::string sum = line.substr(begin, line.find(' ', begin) - begin);
        std::transform(sum.begin(), sum.end(), sum.begin(),
                       [](unsigned char digit) { return static_cast<char>(std::toupper(digit)); });
        hashes.push_back({line.substr(line.find("  ") + 2), sum, requests - m_requestsBefore});
    }
    return hashes;
}

// "-package FILE -target / | STATUS"
std::map<std::string, int> Witnesses::installed() const {
    const std::string begin = "-package ";
    std::map<std::string, int> installed;
    for (const std::string &line : newLines(installerRecord))
        installed[line.substr(begin.size(), line.find(" -target") - begin.size())] =
            std::stoi(line.substr(line.rfind(' ')));
    return installed;
}

std::size_t Witnesses::attemptsAt(const std::string &target) {
    const std::string record = readFrom(serverRecord, 0);
    const std::string request = " | GET | " + target + " | ";
    std::size_t count = 0;
    for (std::size_t at = record.find(request); at != std::string::npos; at = record.find(request, at + 1))
        ++count;
    return count;
}
