// Logs as the engine writes them.
#pragma once

#include <string>

// A message with a time, "<day>.07:00:<second>".
inline std::string at(int second, const std::string &message, const std::string &day = "2026-11-22") {
    return day + ".07:00:" + (second < 10 ? "0" : "") + std::to_string(second) + " : " + message + "\n";
}

inline std::string checkStarts(int second, const std::string &day = "2026-11-22") {
    return at(second, "Product updater is started", day) +
           at(second, "Product updater: CurProdVersion: 1.0.0.5 CurProdAffId: 105-1", day) +
           at(second, "INFO : DownloadController - ProductUpdate", day);
}

inline std::string asks(int second, const std::string &day = "2026-11-22") {
    return at(second, "INFO: Enter sendTolvaneUpdateRequest", day) +
           at(second, "INFO :Tolvane Handler - sendTolvaneRequest", day);
}

inline std::string isAnswered(int second, const std::string &reply = "<productresponse status=\"0\"/>",
                              const std::string &day = "2026-11-22") {
    return at(second, "Tolvane Handler : INFO Velbrim http code = 200", day) +
           at(second, "INFO :Tolvane Response - " + reply, day) +
           at(second, "INFO : Processing Tolvane Response", day);
}

// What follows a reply that has a release.
inline std::string namesCatalog(int second, const std::string &day = "2026-11-22") {
    return at(second, "INFO : TolvaneHandler - Update Available", day) +
           at(second, "\n Core Catalogs Are :: --- >> https://host/core.xml\n", day);
}

inline std::string exits(int second, const std::string &day = "2026-11-22") {
    return at(second, "Product updater is exited", day);
}

// A check that finds nothing to do.
inline std::string idleCheck(const std::string &day = "2026-11-22") {
    return checkStarts(0, day) + asks(0, day) + isAnswered(1, "<productresponse status=\"1\"/>", day) +
           at(1, "INFO : TolvaneHandler - No Update", day) + at(1, "ERROR Tolvane response", day) +
           exits(1, day);
}

// A check whose service does not answer.
inline std::string deafCheck(const std::string &day = "2026-11-22") {
    return checkStarts(2, day) + asks(2, day) + at(3, "INFO :Tolvane Response - ", day) +
           at(3, "INFO : Processing Tolvane Response", day) +
           at(3, "INFO : TolvaneHandler - Update Available", day) + at(3, "ERROR Tolvane response", day) +
           exits(3, day);
}

// An installation of two packages, up to its script.
inline std::string installationStarts() {
    return checkStarts(0) + at(0, "INFO: Installation of Updates starts") +
           at(0, "INFO: Getting order of installation ") + at(0, "INFO: Installing /One.pkg ") +
           at(0, "INFO: Installing /Two.pkg ") +
           at(0, "INFO : Installing Packages from /usr/local/repost/installer.sh") +
           at(10, "Child process: executing /usr/local/repost/installer.sh ");
}

inline const std::string packageUrl = "https://host/One.pkg";
inline const std::string packagePath = "/usr/local/Brovik/TempDownload/Package/1.0.1.0/One.pkg";
