#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "EngineLog.h"
#include "Explain.h"
#include "SealedMachine.h"
#include "Story.h"

// An update in a sealed machine: the unmodified engine carries it out in its two runs, its log is told as it
// is written, and what it did is compared with what was foretold.
class UpdateStory {
public:
    // The results are a folder for the log, the package list and the script. The installer refuses packages
    // of the file name "failing", when it is not empty.
    UpdateStory(const Explanation &foretold, std::string failing, std::filesystem::path results,
                Story &story);

    void tell();

private:
    void check();
    void tellSelection();
    void compareRefusal();
    void compareDownloads();
    void install();
    void compareScript();
    void compareInstallations();
    void compareMachine();
    void tellFailure();

    int run(const std::string &mode);
    void tellLine(const std::string &line);
    void tellOrder();
    std::vector<SealedMachine::Installation> expectedInstallations() const;
    bool isScriptToFail() const;
    std::vector<std::pair<std::string, std::string>> expectedConfiguration() const;

    const Explanation &m_foretold;
    const std::string m_failing;
    const std::filesystem::path m_results;
    Story &m_story;
    EngineLog m_log;
    Plan m_plan; // as foretold, with the order for the machine's own package list
    std::vector<std::string> m_configuration; // before
};
