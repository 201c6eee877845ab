#include "InstallerScriptRun.h"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Paths.h"
#include "ShellPipe.h"
#include "Trace.h"

namespace {

constexpr unsigned secondsBeforeScript = 10;
constexpr mode_t scriptCreationMask = 027;

std::string errorText(int error) {
    return std::generic_category().message(error);
}

// What is executed: the script; or, where something else stands under its name, what cannot be executed,
// since a name with a slash at its end is that of a folder. The system then tells why.
std::string executedPath(bool isWhole) {
    struct stat found {};
    const bool isAnother = !isWhole && lstat(installerScriptPath, &found) == 0;
    return isAnother ? std::string(installerScriptPath) + "/" : installerScriptPath;
}

[[noreturn]] void executeScript(const std::string &path) {
    trace.info("Child process: executing /usr/local/repost/installer.sh \n");
    // The parent's clean-up is not the child's, hence _exit.
    if (execl(path.c_str(), path.c_str(), nullptr) == -1) {
        trace.error("ERROR: execl failed ! Error: %s \n", errorText(errno).c_str());
        _exit(1);
    }
    static_cast<void>(shellCommandSucceeds(std::string("rm -rf ") + installerScriptFolder));
    _exit(0);
}

[[noreturn]] void waitForScript(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) == -1) {
        if (errno == EINTR)
            std::exit(0);
        trace.info("Error %s\n", errorText(errno).c_str());
    }
    // Whatever the script's own status (kept as shipped).
    std::exit(1);
}

} // namespace

int runInstallerScript(bool isWhole) {
    sleep(secondsBeforeScript);
    // The updater itself leads the new session; it may lead one already, which is as good.
    static_cast<void>(setsid());
    umask(scriptCreationMask);
    static_cast<void>(shellCommandSucceeds(std::string("sudo chmod 755 ") + installerScriptPath));
    const pid_t child = fork();
    if (child == -1) {
        trace.info("Fork Failed\n");
        return 0;
    }
    if (child == 0)
        executeScript(executedPath(isWhole));
    waitForScript(child);
}
