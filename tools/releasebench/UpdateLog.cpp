#include "UpdateLog.h"

#include <filesystem>
#include <sstream>

#include "Paths.h"
#include "Text.h"

namespace {

std::string between(const std::string &text, const std::string &before, const std::string &after) {
    const std::size_t found = text.find(before);
    if (found == std::string::npos)
        return "";
    const std::size_t begin = found + before.size();
    return text.substr(begin, text.find(after, begin) - begin);
}

bool endsWith(const std::string &text, const std::string &end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

std::string behind(const std::string &text, const std::string &before) {
    return text.substr(text.find(before) + before.size());
}

std::string toldOfRequest(const std::string &request) {
    std::string applications;
    for (std::string rest = request; contains(rest, "<product appid=\"");
         rest = behind(rest, "<product appid=\""))
        applications += (applications.empty() ? "" : ", ") + between(rest, "<product appid=\"", "\"");
    return "asked for affiliate " + between(request, "<affid>", "<") + ", application " + applications +
           ", system " + between(request, "<version>", "<");
}

// Where the engine put it, by its file name.
std::string sizeOfDownload(const std::string &name) {
    constexpr std::uintmax_t kilobyte = 1024;
    std::error_code failed; // what is gone already has no size
    for (const auto &entry : std::filesystem::recursive_directory_iterator(packageDirectory(), failed)) {
        if (entry.path().filename() == name && entry.is_regular_file(failed))
            return " (" + std::to_string(entry.file_size(failed) / kilobyte) + " KB)";
    }
    return "";
}

std::string toldOfDownload(const std::string &line) {
    const std::string name = afterLastSlash(line);
    if (contains(line, "CURLE_PARTIAL_FILE for "))
        return "broken   " + name + ": goes on where it stopped";
    if (line.rfind("INFO:Success Checking HashSUM : ", 0) == 0)
        return "checked  " + name + ": SHA-1 as the catalog says";
    if (!endsWith(line, ".pkg"))
        return "";
    if (contains(line, "Start download: "))
        return "started  " + name;
    if (line.rfind("Successfully downloaded: ", 0) == 0)
        return "loaded   " + name + sizeOfDownload(name);
    return "";
}

std::string toldOfInstallation(const std::string &line) {
    if (line.rfind("INFO: Installation ", 0) == 0 && contains(line, "Succeded"))
        return "installed at once: " + between(afterLastSlash(line), "", " ");
    if (line.rfind("Installed /", 0) == 0)
        return "Installed " + belowPackages(behind(line, "Installed "));
    if (line.rfind("Failed to install ", 0) == 0)
        return "Failed to install " + belowPackages(behind(line, "Failed to install "));
    return "";
}

} // namespace

std::string toldOfUpdate(const std::string &line) {
    if (contains(line, "Tolvane Request - "))
        return toldOfRequest(line);
    if (contains(line, "Catalogs Are :: --- >> "))
        return "catalog  " + behind(line, "--- >> ");
    for (const auto &told : {toldOfDownload(line), toldOfInstallation(line)}) {
        if (!told.empty())
            return told;
    }
    return contains(line, "ERROR") || contains(line, "Error:") ? "the log says: " + line : "";
}

std::vector<std::string> packagesOfScript(const std::string &script) {
    const std::string before = "checkStatus $? ";
    std::vector<std::string> packages;
    std::istringstream lines(script);
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind(before, 0) == 0)
            packages.push_back(line.substr(before.size()));
    }
    return packages;
}

std::string belowPackages(const std::string &path) {
    const std::string folder = packageDirectory() + "/";
    return path.rfind(folder, 0) == 0 ? path.substr(folder.size()) : path;
}
