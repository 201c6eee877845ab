#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "EngineLog.h"
#include "Explain.h"
#include "Story.h"

// A fresh installation's downloads in a sealed machine, by the unmodified engine and its host program; what
// is on the disk afterwards is compared with the release and with what was foretold.
class FreshStory {
public:
    // The results are a folder for the log and the configuration. "Published" has the release's files by
    // their URLs.
    FreshStory(const Explanation &foretold, std::map<std::string, std::filesystem::path> published,
               std::filesystem::path results, Story &story);

    void tell();

private:
    int run();
    void compareRefusal(int status);
    void comparePackages();
    void compareRecord();

    const Explanation &m_foretold;
    const std::map<std::string, std::filesystem::path> m_published;
    const std::filesystem::path m_results;
    Story &m_story;
    EngineLog m_log;
};
