// Names and texts from the network, as the host program shows them: in words, as JSON, and as files of the
// packages' folder.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <fuzzer/FuzzedDataProvider.h>
#include <nlohmann/json.hpp>

#include "Ending.h"
#include "Engine.h"
#include "JsonView.h"
#include "Machine.h"
#include "Output.h"
#include "PackageFolder.h"
#include "Readable.h"
#include "Words.h"

namespace fs = std::filesystem;

namespace {

using Texts = std::vector<std::string>;

constexpr const char *outputFile = "/tmp/output";

// The characters of a text that is UTF-8; ends the run for any other.
std::vector<char32_t> characters(const std::string &text) {
    std::vector<char32_t> result;
    for (std::size_t i = 0; i < text.size();) {
        const auto first = static_cast<unsigned char>(text[i++]);
        const int following = first < 0x80 ? 0 : first < 0xe0 ? 1 : first < 0xf0 ? 2 : 3;
        require(first < 0x80 || (first >= 0xc2 && first <= 0xf4), "what is shown is UTF-8");
        char32_t code = following == 0 ? first : first & (0x3fU >> static_cast<unsigned>(following));
        for (int left = following; left > 0; --left) {
            const auto next = i < text.size() ? static_cast<unsigned char>(text[i++]) : 0U;
            require((next & 0xc0U) == 0x80, "what is shown is UTF-8");
            code = code << 6U | (next & 0x3fU);
        }
        result.push_back(code);
    }
    return result;
}

void requireHarmless(const std::string &line) {
    for (const char32_t character : characters(line)) {
        require(character >= 0x20 && (character < 0x7f || character > 0x9f), "no line commands a terminal");
        require(character <= 0x10ffff && (character < 0xd800 || character > 0xdfff),
                "what is shown is UTF-8");
        require((character < 0x2028 || character > 0x202e) && (character < 0x2066 || character > 0x2069),
                "no line turns the text behind it or is two");
    }
}

void checkWords(const std::string &text) {
    const std::string shown = printable(text);
    requireHarmless(shown);
    require(printable(shown) == shown, "what can be shown is shown as it is");
    requireHarmless(inWords(Event{Event::Kind::packageFinished, text}));
}

void checkEnding(const Texts &names) {
    Remains remains;
    remains.unfinished = names;
    for (const std::string &name : names)
        remains.finished.push_back({name, name});
    for (const Outcome outcome :
         {Outcome::done, Outcome::downloadsFailed, Outcome::givenUp, Outcome::brokenOff}) {
        for (const std::string &line : endingBy(outcome, remains).lines)
            requireHarmless(line);
    }
    fs::remove(outputFile);
    const int descriptor = open(outputFile, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    require(descriptor >= 0, "a file of the target's own can be made");
    {
        Output output(descriptor);
        JsonView view(output);
        view.event({Event::Kind::packageFinished, names.front()});
        view.end(endingBy(Outcome::downloadsFailed, remains));
    }
    close(descriptor);
    std::ifstream lines(outputFile);
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        static_cast<void>(characters(line));
        require(nlohmann::json::accept(line), "every line is one JSON document");
    }
    require(count == 2, "every line is told once");
}

void checkPaths(const Texts &names) {
    std::string joined;
    Texts told;
    for (const std::string &name : names) {
        if (name.find('!') == std::string::npos && name.find(':') == std::string::npos) {
            told.push_back(name);
            joined += name + "!:";
        }
    }
    require(splitPackages(joined) == told, "paths are told apart");
    static_cast<void>(splitPackages(names.front()));
    for (const std::string &name : names)
        require(fileName(name).find('/') == std::string::npos, "a file's name has no folders");
}

// Files as the engine may make them, beside one that was there.
void checkFolder(const Texts &names) {
    fs::remove_all(PackageFolder::path);
    putFile(PackageFolder::path + "/before", "");
    const PackageFolder folder;
    std::set<std::string> made;
    for (const std::string &name : names) {
        std::error_code failed; // a name may be none for a file
        const std::string file = fileName(name).substr(0, name.find('\0'));
        const std::string path = PackageFolder::path + "/1.0/" + file;
        if (file.empty() || file == "." || file == ".." || file.size() > 255 ||
            file.find('\0') != std::string::npos)
            continue;
        putFile(path, "");
        made.insert(path);
    }
    require(folder.changedFiles() == Texts(made.begin(), made.end()), "every file that came is told");
    static_cast<void>(PackageFolder::isOnFullDisk());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    Texts names;
    do {
        names.push_back(input.ConsumeRandomLengthString(300));
        checkWords(names.back());
    } while (input.remaining_bytes() > 0 && names.size() < 8);
    checkPaths(names);
    checkEnding(names);
    checkFolder(names);
    return 0;
}
