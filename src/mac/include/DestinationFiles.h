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
        // The same, unless the file is as its check left it.
        void mayBeOpened();
        // The file, opened before, has passed its check as it is now.
        void checked() noexcept;

    private:
        DestinationFiles &m_files;
        const std::string m_file;
        bool m_begun = false;
    };

    // Has waiting uses look at the cancel.
    void wakeWaiting();
    // Whether the file has passed its check and has not been opened for writing since.
    bool isChecked(const std::string &file) const;

private:
    struct State {
        bool isChecked = false;
        // What tells one content from another without reading it, as the check left it.
        off_t size = 0;
        time_t modified = 0;
    };

    const Cancellation &m_cancellation;
    mutable boost::mutex m_mutex;
    // Signalled when a use ends and when a cancel came.
    boost::condition_variable m_mayBegin;
    std::set<std::string> m_inUse GUARDED_BY(m_mutex);
    std::map<std::string, State> m_states GUARDED_BY(m_mutex);
};
