// The list of packages that a check leaves for an installation, and the script that is made of it.
#include <algorithm>
#include <cstdint>
#include <list>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "InstallerScript.h"
#include "Machine.h"
#include "PackageList.h"
#include "Paths.h"

namespace {

using Texts = std::vector<std::string>;

Texts linesOf(const std::string &text) {
    Texts lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        if (!line.empty())
            lines.push_back(line);
    }
    return lines;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string content(reinterpret_cast<const char *>(data), size);
    putFile(packageListPath, content);
    const std::optional<Texts> packages = readPackageList();
    require(packages.has_value(), "a list that is there is read");
    require(*packages == linesOf(content), "the list is its lines, but for the empty ones");

    const std::list<std::string> written(packages->begin(), packages->end());
    require(writePackageList(written), "a list can be written");
    require(readPackageList() == packages, "what was written is read");
    const Texts script = linesOf(installerScript(written));
    require(std::count(script.begin(), script.end(), "set -x") >= 1 && script.front() == "#!/bin/bash",
            "the script is one for the shell");
    require(removePackageList(), "the list can be removed");
    require(!readPackageList(), "a list that is not there is none");
    return 0;
}
