// A bundle as it is read, in memory alone: whoever made it, nothing of it becomes a file under a name that it
// chooses.
#pragma once

#include <map>
#include <set>
#include <string>

class ReplayBundle {
public:
    // Throws std::exception when there is no such file and when it is no bundle of this format.
    explicit ReplayBundle(const std::string &path);

    // A file of the machine; null when it is not in the bundle.
    const std::string *find(const std::string &path) const;
    // Whether the machine had none, so that the engine had none either.
    bool wasAbsent(const std::string &path) const;
    // In the order of their paths.
    const std::map<std::string, std::string> &files() const { return m_files; }

    // Of the bundle itself.
    const std::string &path() const { return m_path; }
    const std::string &made() const { return m_made; }
    const std::string &engineVersion() const { return m_engineVersion; }
    const std::string &systemVersion() const { return m_systemVersion; }
    bool isMasked() const { return m_isMasked; }

private:
    void readManifest(const std::string &text);

    const std::string m_path;
    std::map<std::string, std::string> m_files; // by their paths on the machine
    std::set<std::string> m_absent;
    std::string m_made;
    std::string m_engineVersion;
    std::string m_systemVersion;
    bool m_isMasked = false;
};
