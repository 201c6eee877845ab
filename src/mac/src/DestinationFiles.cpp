#include "DestinationFiles.h"

#include <utility>

DestinationFiles::Use::Use(DestinationFiles &files, std::string file, Cancellation::Ticket ticket)
    : m_files(files)
    , m_file(std::move(file)) {
    MutexLock lock(m_files.m_mutex);
    while (!m_files.m_cancellation.isCancelled(ticket)) {
        m_begun = m_files.m_inUse.insert(m_file).second;
        if (m_begun)
            return;
        lock.wait(m_files.m_mayBegin);
    }
}

DestinationFiles::Use::~Use() {
    if (!m_begun)
        return;
    const MutexLock lock(m_files.m_mutex);
    m_files.m_inUse.erase(m_file);
    m_files.m_mayBegin.notify_all();
}

void DestinationFiles::Use::opened() {
    const MutexLock lock(m_files.m_mutex);
    m_files.m_states[m_file] = {};
}

void DestinationFiles::Use::mayBeOpened() {
    struct stat now {};
    const bool isThere = stat(m_file.c_str(), &now) == 0;
    const MutexLock lock(m_files.m_mutex);
    State &state = m_files.m_states[m_file];
    if (!isThere || now.st_size != state.size || now.st_mtime != state.modified)
        state = {};
}

void DestinationFiles::Use::checked() noexcept {
    struct stat now {};
    static_cast<void>(stat(m_file.c_str(), &now)); // of no size where it fails
    const MutexLock lock(m_files.m_mutex);
    m_files.m_states.find(m_file)->second = {true, now.st_size, now.st_mtime};
}

void DestinationFiles::wakeWaiting() {
    const MutexLock lock(m_mutex);
    m_mayBegin.notify_all();
}

bool DestinationFiles::isChecked(const std::string &file) const {
    const MutexLock lock(m_mutex);
    const auto state = m_states.find(file);
    return state != m_states.end() && state->second.isChecked;
}
