#pragma once

#include <string>

#include "File.h"

// The installer script while it is written, under a name that nobody executes; it takes its own name once it
// is on the disk as a whole, so that half a script is never there to be run. Used by one thread.
class InstallerScriptFile {
public:
    InstallerScriptFile() = default;
    ~InstallerScriptFile() { discard(); }
    InstallerScriptFile(const InstallerScriptFile &) = delete;
    InstallerScriptFile &operator=(const InstallerScriptFile &) = delete;

    // Removes what an earlier run left and begins an empty script. A failure is told by finish.
    void begin() noexcept;
    // Does nothing where no script has begun.
    void write(const std::string &text) noexcept;
    // Whether all that was written since begin now stands under the script's name. Nothing is left otherwise,
    // unless an earlier script could not be removed.
    bool finish() noexcept;
    // Removes a script that is not finished.
    void discard() noexcept;

private:
    bool putOnDisk() noexcept;

    File m_stream;
    bool m_isWhole = false;
};
