// A customer's machine with an installed product, for which an update and an installation are offered; and
// what may be found on its disk at any moment, whatever ended a job.
#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Job.h"
#include "Observed.h"
#include "Program.h"

// Beside Task: the second run of an update.
enum class Run { check, install, freshInstall };

struct NamedRun {
    const char *name;
    Run run;
};

extern const NamedRun checkRun;
extern const NamedRun installRun;
extern const NamedRun freshInstallRun;

// Runs a command that the system refuses something: see Deprived.cpp.
std::vector<std::string> deprivedOf(const std::string &what, const std::vector<std::string> &command);

class Machine {
public:
    // Offers the packages for this run, leaves an installed file of an earlier update, runs everything once
    // to know how it ends undisturbed, and takes all of it back.
    explicit Machine(Run run);

    // An installation finds what a check left, and pauses as long as it likes in no time.
    const std::vector<std::string> &command() const { return m_command; }
    const Packages &packages() const { return m_packages; }

    // As before the run: nothing of any job is left but the lock's file.
    void restore() const;

    // What holds at any moment, the run complete or not: nothing installed is harmed, and what a run leaves
    // for the next one is whole or absent. Waits for a script that still runs.
    testing::AssertionResult isUnharmed() const;

    // What a user does after a run that did not end: the same again; where an installation finds no list, a
    // new check before. Ends complete.
    testing::AssertionResult endsCompleteNextTime() const;

    // The installation's list went before its script came.
    bool hasLostItsList() const;
    bool isInstalled() const;

private:
    void checkOnce() const;
    testing::AssertionResult leavesWholeFilesOnly() const;
    testing::AssertionResult harmsNothingInstalled() const;
    testing::AssertionResult installs() const;

    const Run m_run;
    const Job m_job;
    Packages m_packages;
    std::vector<std::string> m_command;
    std::string m_configuration; // the installed one
    std::string m_propertyList;
    // As an undisturbed run leaves them.
    std::string m_list;   // sorted, since transfers run side by side
    std::string m_script; // so is this
    std::string m_prepared;
    std::string m_newPropertyList;
};
