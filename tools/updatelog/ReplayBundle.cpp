#include "ReplayBundle.h"

#include <stdexcept>
#include <utility>

#include <nlohmann/json.hpp>

#include "Archive.h"
#include "Bundle.h"

namespace {

// As a manifest of so many files may be. What is read of it takes many times its bytes.
constexpr std::size_t longestManifest = std::size_t(8) << 20;
// Beside the files: the manifest and the findings.
constexpr std::size_t ownFiles = 2;
constexpr std::size_t ownBytes = std::size_t(16) << 20;

// The engine joins folders and names by more than one "/".
std::string withSingleSlashes(const std::string &path) {
    std::string plain;
    for (const char character : path) {
        if (character != '/' || plain.empty() || plain.back() != '/')
            plain += character;
    }
    return plain;
}

} // namespace

ReplayBundle::ReplayBundle(const std::string &path)
    : m_path(path) {
    try {
        const ArchiveBounds bounds{mostBundledFiles + ownFiles, mostBundledBytes + ownBytes};
        ArchivedFiles archived = filesOfArchive(path, bounds);
        const auto manifest = archived.find(bundleManifestName);
        if (manifest == archived.end())
            throw UnusableArchive("is no bundle: it has no " + bundleManifestName);
        readManifest(manifest->second);
        for (auto &[name, content] : archived) {
            const bool isOfMachine = name.rfind(bundledFilesFolder + "/", 0) == 0;
            if (isOfMachine)
                m_files.emplace(name.substr(bundledFilesFolder.size()), std::move(content));
            else if (name != bundleManifestName && name != bundleCheckName)
                throw UnusableArchive("is no bundle: it has a file " + name);
        }
    } catch (const UnusableArchive &error) {
        throw std::runtime_error(path + ": " + error.what());
    } catch (const nlohmann::json::exception &) {
        throw std::runtime_error(path + ": is no bundle of this version: its " + bundleManifestName +
                                 " is another one");
    }
}

void ReplayBundle::readManifest(const std::string &text) {
    if (text.size() > longestManifest)
        throw UnusableArchive("is no bundle: its " + bundleManifestName + " is too long");
    const nlohmann::json manifest = nlohmann::json::parse(text);
    if (manifest.at("format").get<int>() != bundleFormat)
        throw UnusableArchive("is a bundle of another format, which this version does not know");
    m_made = manifest.at("made").get<std::string>();
    m_engineVersion = manifest.at("engine").at("version").get<std::string>();
    m_systemVersion = manifest.at("system").at("version").get<std::string>();
    m_isMasked = manifest.at("masked").get<bool>();
    for (const nlohmann::json &missing : manifest.at("missing")) {
        if (missing.at("absent").get<bool>())
            m_absent.insert(missing.at("path").get<std::string>());
    }
}

const std::string *ReplayBundle::find(const std::string &path) const {
    const auto found = m_files.find(withSingleSlashes(path));
    return found == m_files.end() ? nullptr : &found->second;
}

bool ReplayBundle::wasAbsent(const std::string &path) const {
    return m_absent.count(path) != 0;
}
