#include "InstallerScriptFile.h"

#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

#include "Paths.h"
#include "WriteSignalBlock.h"

namespace {

// A new file and never one that stands or that a link names; not for the programs that are started meanwhile,
// since a file that anybody holds open for writing cannot be executed.
std::FILE *createNewScript() noexcept {
    const int descriptor = open(newInstallerScriptPath, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor == -1)
        return nullptr;
    std::FILE *stream = fdopen(descriptor, "w");
    if (stream == nullptr) {
        static_cast<void>(close(descriptor)); // empty, so that nothing can be lost
        static_cast<void>(unlink(newInstallerScriptPath));
    }
    return stream;
}

} // namespace

void InstallerScriptFile::begin() noexcept {
    // What cannot be removed shows by what follows: the new file cannot be made or not take its name.
    static_cast<void>(unlink(newInstallerScriptPath));
    static_cast<void>(unlink(installerScriptPath));
    m_stream.reset(createNewScript());
    m_isWhole = m_stream != nullptr;
}

void InstallerScriptFile::write(const std::string &text) noexcept {
    const WriteSignalBlock block;
    if (m_stream && std::fwrite(text.data(), 1, text.size(), m_stream.get()) != text.size())
        m_isWhole = false;
}

bool InstallerScriptFile::finish() noexcept {
    const WriteSignalBlock block; // closing writes what could not be written before once more
    const bool isPlaced =
        m_stream && putOnDisk() && std::rename(newInstallerScriptPath, installerScriptPath) == 0;
    if (!isPlaced)
        discard();
    m_stream.reset();
    return isPlaced;
}

void InstallerScriptFile::discard() noexcept {
    if (!m_stream)
        return;
    const WriteSignalBlock block;
    static_cast<void>(unlink(newInstallerScriptPath)); // what stays is removed by the next run
    m_stream.reset();
}

// A disk may say only when it is asked to that it was full.
bool InstallerScriptFile::putOnDisk() noexcept {
    return m_isWhole && std::fflush(m_stream.get()) == 0 && fsync(fileno(m_stream.get())) == 0;
}
