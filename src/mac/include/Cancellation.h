#pragma once

#include <atomic>
#include <optional>

#include "ThreadSafety.h"

// Which downloads a cancel ends: all whose ticket was drawn before it, those included that have not begun.
//
// Threads: every operation may be called by any thread.
class Cancellation {
public:
    // The moment from which cancels count for a download.
    enum class Ticket : unsigned {};

    Ticket drawTicket() const noexcept;
    // The ticket of the job that has packages left to download; without one a new ticket.
    Ticket ticketOfJob() const;
    bool isCancelled(Ticket ticket) const noexcept;
    void cancelAll() noexcept;

    // A job that has not downloaded its packages yet, while it lives: a cancel since its ticket was drawn
    // holds for all downloads that the job would still start.
    class OutstandingPackages {
    public:
        OutstandingPackages(Cancellation &cancellation, Ticket ticket);
        ~OutstandingPackages();
        OutstandingPackages(const OutstandingPackages &) = delete;
        OutstandingPackages &operator=(const OutstandingPackages &) = delete;

    private:
        Cancellation &m_cancellation;
    };
    bool packagesAreOutstanding() const;

private:
    void setJob(std::optional<Ticket> ticket);

    std::atomic<unsigned> m_cancelCount{0};
    mutable boost::mutex m_jobTicketMutex;
    std::optional<Ticket> m_jobTicket GUARDED_BY(m_jobTicketMutex);
};
