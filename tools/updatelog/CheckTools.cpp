// The programs that the engine and its installer script call.
#include <string>

#include <sys/stat.h>
#include <unistd.h>

#include "CheckAnswer.h"
#include "CheckPaths.h"
#include "CheckTheme.h"
#include "InstallerScript.h"
#include "PackageHash.h"
#include "Paths.h"
#include "ShellPipe.h"

namespace {

constexpr CheckRule shellFails = {
    "shell-fails", "No command of the engine's runs, and nothing is downloaded.",
    "Bring the system's /bin/sh back.", CheckDocument::faults, "ToolFault.ShellIsMissing"};
constexpr CheckRule bashMissing = {"bash-missing",
                                   "The installer script cannot be executed: nothing is installed, and the "
                                   "package list is gone.",
                                   "Install bash where the script expects it.", CheckDocument::faults,
                                   "InstallationTool.ScriptsShellIsMissing"};
constexpr CheckRule hashToolMissing = {
    "hash-tool-missing", "No package can be checked: each is fetched three times and given up.",
    "Put the suite's hash tool back, executable.", CheckDocument::faults, "ToolFault.HashToolGivesNoHash"};
constexpr CheckRule awkMissing = {"awk-missing",
                                  "No package can be checked: each is fetched three times and given up.",
                                  "Install awk in a folder of the PATH that runs are started with.",
                                  CheckDocument::faults, "ToolFault.AwkGivesNoHash"};
constexpr CheckRule hashWrong = {"hash-wrong",
                                 "No package passes its check: each is fetched three times and given up.",
                                 "Put the suite's own hash tool and the system's own awk back.",
                                 CheckDocument::faults, "ToolFault.HashToolTalksNonsense"};
constexpr CheckRule hashHangs = {
    "hash-hangs", "A run waits for good at its first package, and every later one for it.",
    "Put the suite's own hash tool and the system's own awk back; end those that hang.",
    CheckDocument::faults, "ToolFault.HashToolHangs"};
constexpr CheckRule sudoMissing = {"sudo-missing",
                                   "No folder can be made: nothing is downloaded, and nothing installed.",
                                   "Install sudo in a folder of the PATH that runs are started with.",
                                   CheckDocument::faults, "ToolFault.SudoMakesNoFolder"};
constexpr CheckRule sudoRefuses = {
    "sudo-refuses", "No folder can be made: nothing is downloaded, and nothing installed.",
    "Let root use sudo without a password, in /etc/sudoers: root ALL=(ALL) NOPASSWD: ALL",
    CheckDocument::faults, "ToolFault.SudoAsksForAPassword"};
constexpr CheckRule sudoHangs = {
    "sudo-hangs", "A run waits for good, and every later one for it.",
    "Find out what sudo waits for, name servers or a directory service say, and end it.",
    CheckDocument::faults, "ToolFault.SudoHangs"};
constexpr CheckRule mkdirMissing = {"mkdir-missing", "No folder can be made, and nothing is downloaded.",
                                    "Bring the system's mkdir back, in a folder where sudo looks for it.",
                                    CheckDocument::faults, "ToolFault.MkdirMakesNoFolder"};
constexpr CheckRule touchMissing = {"touch-missing",
                                    "A check leaves no marker, and the suite sees no update.",
                                    "Bring the system's touch back, in a folder where sudo looks for it.",
                                    CheckDocument::faults, "MarkerTool.TouchDoesNothing"};
constexpr CheckRule rmMissing = {
    "rm-missing", "List and downloads stay, and the next \"Install\" run installs the same again.",
    "Bring the system's rm back, in a folder where sudo looks for it.", CheckDocument::faults,
    "InstallationTool.RmLeavesTheList"};
constexpr CheckRule chmodMissing = {
    "chmod-missing",
    "The installer script is not executed: nothing is installed, and the package "
    "list is gone.",
    "Bring the system's chmod back, in a folder where sudo looks for it.", CheckDocument::faults,
    "InstallationTool.ChmodDoesNothing"};
constexpr CheckRule cpMissing = {
    "cp-missing", "The old configuration stays, and the next check offers the same update again.",
    "Bring the system's cp back, in a folder where sudo looks for it.", CheckDocument::faults,
    "InstallationTool.CpDoesNothing"};
constexpr CheckRule installerMissing = {
    "installer-missing", "The installer script ends at its first package, and its list is gone.",
    "Bring the system's installer back, in a folder where sudo looks for it.", CheckDocument::faults,
    "InstallationTool.InstallerFails"};

struct ToolOfSudo {
    const char *name;
    const CheckRule &missing;
};
constexpr ToolOfSudo toolsOfSudo[] = {{"mkdir", mkdirMissing}, {"touch", touchMissing},
                                      {"rm", rmMissing},       {"chmod", chmodMissing},
                                      {"cp", cpMissing},       {"installer", installerMissing}};

// By the engine's own shell.
Answer ask(const std::string &command) {
    return answerTo([&command] { return shellCommandSucceeds(command); });
}

bool isProgram(const std::string &path) {
    const auto status = statusOf(path);
    return status && S_ISREG(status->st_mode) && access(path.c_str(), X_OK) == 0;
}

// What runs the installer script, as its first line says.
std::string scriptsShell() {
    const std::string opening = installerScriptOpening();
    const std::size_t begin = opening.find("#!") + 2;
    return opening.substr(begin, opening.find('\n') - begin);
}

// As the engine checks a package, with one whose hash is known: nothing at all.
void lookAtHashing(const TellCheck &tell) {
    if (!isProgram(hashToolPath)) {
        tell(hashToolMissing, std::string("there is no hash tool at ") + hashToolPath);
        return;
    }
    if (ask("command -v awk") != Answer::yes) {
        tell(awkMissing, "there is no awk in PATH");
        return;
    }
    switch (
        answerTo([] { return hasPackageHash("/dev/null", "DA39A3EE5E6B4B0D3255BFEF95601890AFD80709"); })) {
    case Answer::yes:
        break;
    case Answer::no:
        tell(hashWrong, std::string(hashToolPath) + " and awk do not give the hash of nothing");
        break;
    case Answer::late:
        tell(hashHangs, std::string(hashToolPath) + " or awk does not come to an end");
        break;
    }
}

// By the shell that sudo starts: where that looks may be elsewhere.
bool isThereForSudo(const std::string &lookUp) {
    return ask("sudo -n sh -c '" + lookUp + "'") == Answer::yes;
}

std::string lookUpOf(const ToolOfSudo &tool) {
    return std::string("command -v ") + tool.name;
}

void lookAtToolsOfSudo(const TellCheck &tell) {
    std::string all = ":";
    for (const ToolOfSudo &tool : toolsOfSudo)
        all += " && " + lookUpOf(tool);
    if (isThereForSudo(all))
        return; // as nearly always, at once
    for (const ToolOfSudo &tool : toolsOfSudo) {
        if (!isThereForSudo(lookUpOf(tool)))
            tell(tool.missing, std::string("sudo finds no ") + tool.name);
    }
}

void lookAtSudo(const TellCheck &tell) {
    if (ask("command -v sudo") != Answer::yes) {
        tell(sudoMissing, "there is no sudo in PATH");
        return;
    }
    switch (ask("sudo -n true")) {
    case Answer::yes:
        lookAtToolsOfSudo(tell);
        break;
    case Answer::no:
        tell(sudoRefuses, "sudo runs nothing without a prompt");
        break;
    case Answer::late:
        tell(sudoHangs, "sudo does not come to an end");
        break;
    }
}

void look(const TellCheck &tell) {
    const std::string shell = scriptsShell();
    if (!isProgram(shell))
        tell(bashMissing, "there is no " + shell);
    if (ask(":") != Answer::yes) {
        tell(shellFails, "the shell runs no command");
        return;
    }
    lookAtHashing(tell);
    lookAtSudo(tell);
}

} // namespace

CheckTheme checkedTools() {
    return {{&shellFails, &bashMissing, &hashToolMissing, &awkMissing, &hashWrong, &hashHangs, &sudoMissing,
             &sudoRefuses, &sudoHangs, &mkdirMissing, &touchMissing, &rmMissing, &chmodMissing, &cpMissing,
             &installerMissing},
            look};
}
