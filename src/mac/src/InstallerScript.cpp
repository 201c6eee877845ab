#include "InstallerScript.h"

#include <initializer_list>

#include "Paths.h"

namespace {

std::string joined(std::initializer_list<std::string> lines) {
    std::string text;
    for (const std::string &line : lines)
        text += line + "\n";
    return text;
}

} // namespace

std::string installCommand(const std::string &path) {
    // In this order the redirections keep the tool's complaints and drop the rest.
    return "sudo installer -package " + path + " -target / 2>&1 > /dev/null ";
}

std::string installerScriptOpening() {
    return joined({
        "#!/bin/bash",
        "set -x",
        std::string("LOG_NAME=") + traceLogPath,
        "checkStatus()",
        "{",
        "status=$1",
        "PackageName=$2",
        "if [ $status -ne 0 ] ; then",
        "echo \"Failed to install $PackageName\" >> $LOG_NAME",
        "exit -1",
        "fi",
        "echo \"Installed $PackageName successfully\" >> $LOG_NAME",
        "}",
    });
}

std::string installerScriptLines(const std::string &path) {
    return joined({
        "echo \" Installing " + path + "\" >> $LOG_NAME",
        installCommand(path),
        "checkStatus $? " + path,
    });
}

std::string installerScriptClosing() {
    return joined({
        "echo \"Updating ProductConfig.xml ...\"", // not to the log (kept as shipped)
        "sudo cp " + updatedProdConfigXml + " " + prodConfigXml,
        std::string("if [ -e ") + restartMarkerPath + " ] ; then",
        "echo \"Restarting QRN ...\" >> $LOG_NAME",
        std::string(serviceControlPath) + " restart >> /dev/null 2>&1",
        "echo \"Restarted QRN\" >> $LOG_NAME",
        "fi",
        "sudo rm -rf " + keyCoreDownloadCache,
        std::string("rm -rf ") + updateScratchFolder,
        std::string("rm -rf ") + installerScriptPath,
    });
}

std::string installerScript(const std::list<std::string> &orderedPaths) {
    std::string script = installerScriptOpening();
    for (const std::string &path : orderedPaths)
        script += installerScriptLines(path);
    return script + installerScriptClosing();
}
