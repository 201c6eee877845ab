// The installed command line, as the suite runs it.
#pragma once

#include <string>
#include <vector>

#include "Program.h"

inline const std::string updater = "/usr/local/Brovik/qrn/bin/productUpdater";
// What the suite looks for to see that an update waits.
inline const std::string waitingMarker = "/usr/local/Brovik/qrn/var/RequireProductUpdate";
inline const std::string repostFolder = "/usr/local/repost";

// The command with any arguments.
inline std::vector<std::string> updaterWith(const std::vector<std::string> &arguments) {
    std::vector<std::string> command{updater};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

inline Ended checkForInstall() {
    return run(updaterWith({"1.0.0.5", "105-1", "CheckForInstall"}));
}

inline const std::vector<std::string> installCommand = {updater, "1.0.0.5", "105-1", "Install"};

inline Ended install() {
    return run(installCommand);
}
