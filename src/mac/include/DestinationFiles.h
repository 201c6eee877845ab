#pragma once

#include <map>
#include <set>
#include <string>

#include <sys/stat.h>

#include "Cancellation.h"
#include "ThreadSafety.h"

// The files that downloads write: each is written by one download at a time, and it is known which of them
// are as their check left them.
//
// Threads: every operation may be called by any thread. Only the beginning of a use waits.
class DestinationFiles {
public:
    explicit DestinationFiles(const Cancellation &cancellation)
        : m_cancellation(cancellation) {}
    ~DestinationFiles() = default;
    DestinationFiles(const DestinationFiles &) = delete;
    DestinationFiles &operator=(const DestinationFiles &) = delete;

    // The only use of a file, while it lives. Replies that repeat a catalog bring the same file twice: the
    // second download waits for the first, or the two would write over each other. A cancel ends the wait.
    class Use {
    public:
        Use(DestinationFiles &files, std::string file, Cancellation::Ticket ticket);
        ~Use();
        Use(const Use &) = delete;
        Use &operator=(const Use &) = delete;

        // False when a cancel came first: the file is not to be touched then.
        bool hasBegun() const noexcept { return m_begun; }
        // The file has been opened for writing: whatever was checked before is gone.
        void opened();
        // The file as it is now has passed its check.
        void checked();

    private:
        DestinationFiles &m_files;
        const std::string m_file;
        bool m_begun = false;
    };

    // Has waiting uses look at the cancel.
    void wakeWaiting();
    // Whether the file is the one that passed its check last.
    bool isChecked(const std::string &file) const;

private:
    // What tells one content of a file from another without reading it.
    struct State {
        ino_t inode;
        off_t size;
        time_t modified;
        bool operator==(const State &other) const noexcept;
    };
    static bool readState(const std::string &file, State &state) noexcept;

    const Cancellation &m_cancellation;
    mutable boost::mutex m_mutex;
    // Signalled when a use ends and when a cancel came.
    boost::condition_variable m_mayBegin;
    std::set<std::string> m_inUse GUARDED_BY(m_mutex);
    std::map<std::string, State> m_checked GUARDED_BY(m_mutex);
};
