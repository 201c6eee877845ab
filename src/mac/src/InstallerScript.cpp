#include "InstallerScript.h"

#include "Paths.h"

std::string installCommand(const std::string &path) {
    // In this order the redirections keep the tool's complaints and drop the rest.
    return "sudo installer -package " + path + " -target / 2>&1 > /dev/null ";
}

std::string installerScriptOpening() {
    return std::string("#!/bin/bash\n"
                       "set -x\n"
                       "LOG_NAME=") +
           traceLogPath +
           "\n"
           "checkStatus()\n"
           "{\n"
           "status=$1\n"
           "PackageName=$2\n"
           "if [ $status -ne 0 ] ; then\n"
           "echo \"Failed to install $PackageName\" >> $LOG_NAME\n"
           "exit -1\n"
           "fi\n"
           "echo \"Installed $PackageName successfully\" >> $LOG_NAME\n"
           "}\n";
}

std::string installerScriptLines(const std::string &path) {
    return "echo \" Installing " + path + "\" >> $LOG_NAME\n" + //
           installCommand(path) + "\n" +                        //
           "checkStatus $? " + path + "\n";
}

std::string installerScriptClosing() {
    // The first line is for the standard output and not for the log (kept as shipped).
    return "echo \"Updating ProductConfig.xml ...\"\n"
           "sudo cp " +
           updatedProdConfigXml + " " + prodConfigXml +
           "\n"
           "if [ -e " +
           restartMarkerPath +
           " ] ; then\n"
           "echo \"Restarting QRN ...\" >> $LOG_NAME\n" +
           serviceControlPath +
           " restart >> /dev/null 2>&1\n"
           "echo \"Restarted QRN\" >> $LOG_NAME\n"
           "fi\n"
           "sudo rm -rf " +
           keyCoreDownloadCache +
           "\n"
           "rm -rf " +
           updateScratchFolder +
           "\n"
           "rm -rf " +
           installerScriptPath + "\n";
}

std::string installerScript(const std::list<std::string> &orderedPaths) {
    std::string script = installerScriptOpening();
    for (const std::string &path : orderedPaths)
        script += installerScriptLines(path);
    return script + installerScriptClosing();
}
