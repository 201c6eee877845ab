#include "FormatExamples.h"

#include <filesystem>
#include <map>
#include <sstream>

#include <boost/algorithm/string/replace.hpp>

#include "TextFile.h"

namespace {

const std::string fence = "```";

std::map<std::string, std::string> readExamples() {
    std::map<std::string, std::string> examples;
    std::istringstream text(readText(FORMATS));
    std::string name;
    bool isInside = false;
    for (std::string line; std::getline(text, line);) {
        if (line.compare(0, fence.size(), fence) != 0) {
            if (isInside)
                examples[name] += line + "\n";
            continue;
        }
        isInside = !isInside;
        name = line.substr(line.find(' ') + 1);
    }
    return examples;
}

const std::map<std::string, std::string> &examples() {
    static const std::map<std::string, std::string> read = readExamples();
    return read;
}

} // namespace

const std::string &example(const std::string &name) {
    return examples().at(name);
}

std::vector<std::string> exampleNames() {
    std::vector<std::string> names;
    for (const auto &entry : examples())
        names.push_back(entry.first);
    return names;
}

std::string inOneLine(const std::string &document) {
    return boost::algorithm::replace_all_copy(document, "\n", "");
}

void putExample(const std::string &name, const std::string &path) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    writeText(path, example(name));
}
