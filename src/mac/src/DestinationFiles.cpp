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
    m_files.m_checked.erase(m_file);
}

void DestinationFiles::Use::checked() {
    State state{};
    if (!readState(m_file, state))
        return;
    const MutexLock lock(m_files.m_mutex);
    m_files.m_checked[m_file] = state;
}

void DestinationFiles::wakeWaiting() {
    const MutexLock lock(m_mutex);
    m_mayBegin.notify_all();
}

bool DestinationFiles::isChecked(const std::string &file) const {
    State now{};
    if (!readState(file, now))
        return false;
    const MutexLock lock(m_mutex);
    const auto checked = m_checked.find(file);
    return checked != m_checked.end() && checked->second == now;
}

bool DestinationFiles::readState(const std::string &file, State &state) noexcept {
    struct stat status {};
    if (stat(file.c_str(), &status) != 0)
        return false;
    state = {status.st_ino, status.st_size, status.st_mtime};
    return true;
}

bool DestinationFiles::State::operator==(const State &other) const noexcept {
    return inode == other.inode && size == other.size && modified == other.modified;
}
