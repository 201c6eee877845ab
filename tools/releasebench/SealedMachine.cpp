#include "SealedMachine.h"

#include <fstream>
#include <iterator>
#include <sstream>

#include "LibXmlWrapper.h"
#include "OwnStreams.h"
#include "Paths.h"
#include "ProductConfiguration.h"
#include "XmlOut.h"

namespace {

namespace fs = std::filesystem;

const fs::path rehearsal = "/srv/rehearsal";

void write(const fs::path &file, const std::string &content) {
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    stream << content;
    stream.close();
    if (!stream)
        throw std::system_error(errno, std::generic_category(), file.string());
}

void replaceBy(const fs::path &from, const fs::path &to) {
    fs::copy_file(from, to, fs::copy_options::overwrite_existing);
}

std::string propertyList(const std::vector<std::pair<const char *, std::string>> &entries) {
    XmlOut out;
    out.open("plist", {{"version", "1.0"}});
    out.open("dict");
    for (const auto &[key, value] : entries) {
        out.leaf("key", key);
        out.leaf("string", value);
    }
    return out.text();
}

std::vector<std::string> linesOf(const fs::path &file) {
    std::vector<std::string> lines;
    std::istringstream text(SealedMachine::contentOf(file));
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    return lines;
}

// Of what the machine has from the beginning.
void configure(const std::string &element, const std::string &value) {
    if (!value.empty())
        static_cast<void>(
            ProductConfiguration::updateElement(prodConfigXml, element, value)); // always 0 then
}

} // namespace

void SealedMachine::describe(const Explanation &explanation, const fs::path &configuration) {
    const OwnStreams quiet; // the engine tells what it cannot parse
    if (!configuration.empty())
        replaceBy(configuration, prodConfigXml);
    configure("ProductVersion", explanation.machine.product);
    configure("AppID", explanation.asker.application);
    configure("AffID", explanation.asker.affiliate);
    // Else an application id of two editions would be looked for in a subscription that is not here.
    write(appIdMarkerPath, "");
    if (!explanation.machine.system.empty())
        write(systemVersionPlistPath, propertyList({{"ProductVersion", explanation.machine.system}}));
    write(configurationPlistPath,
          propertyList({{"AffID", explanation.asker.affiliate}, {"AppID", explanation.asker.application}}));
}

void SealedMachine::publish(const HostedFiles &files, const fs::path &built) {
    for (const auto &[hosted, file] : files) {
        fs::create_directories(hosted.parent_path());
        fs::create_symlink(file, hosted);
    }
    replaceBy(built / "releases.xml", rehearsal / "service/releases.xml");
    replaceBy(built / "DynaConfig.plist", dynaConfigPlistPath);
}

void SealedMachine::publishScript(const fs::path &script) {
    replaceBy(script, rehearsal / "service/script");
}

void SealedMachine::refuse(const std::string &package) {
    write(rehearsal / "installer-fails", package + " 1\n");
}

std::string SealedMachine::configured(const std::string &element) {
    return LibXmlWrapper(prodConfigXml).getXPathStringValue("/ProductConfiguration/" + element);
}

std::string SealedMachine::recorded(const std::string &key) {
    return LibXmlWrapper(configurationPlistPath)
        .getXPathStringValue("/plist/dict/key[.='BuildInfo']/following-sibling::*[1]/key[.='" + key +
                             "']/following-sibling::*[1]");
}

std::vector<std::string> SealedMachine::packageList() {
    return linesOf(packageListPath);
}

std::string SealedMachine::contentOf(const fs::path &file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

// Lines "-package PATH -target / | STATUS", written by the installer.
std::vector<SealedMachine::Installation> SealedMachine::installations() {
    const std::string before = "-package ";
    const std::string between = " -target / | ";
    std::vector<Installation> all;
    for (const std::string &line : linesOf(rehearsal / "log/installer.log")) {
        const std::size_t end = line.find(between);
        if (line.compare(0, before.size(), before) == 0 && end != std::string::npos)
            all.emplace_back(line.substr(before.size(), end - before.size()),
                             line.substr(end + between.size()) == "0");
    }
    return all;
}
