#include "Cancellation.h"

Cancellation::Ticket Cancellation::drawTicket() const noexcept {
    return Ticket{m_cancelCount.load()};
}

Cancellation::Ticket Cancellation::ticketOfJob() const {
    const MutexLock lock(m_jobTicketMutex);
    return m_jobTicket.value_or(drawTicket());
}

bool Cancellation::isCancelled(Ticket ticket) const noexcept {
    return ticket != drawTicket();
}

void Cancellation::cancelAll() noexcept {
    ++m_cancelCount;
}

bool Cancellation::packagesAreOutstanding() const {
    const MutexLock lock(m_jobTicketMutex);
    return m_jobTicket.has_value();
}

void Cancellation::setJob(std::optional<Ticket> ticket) {
    const MutexLock lock(m_jobTicketMutex);
    m_jobTicket = ticket;
}

Cancellation::OutstandingPackages::OutstandingPackages(Cancellation &cancellation, Ticket ticket)
    : m_cancellation(cancellation) {
    m_cancellation.setJob(ticket);
}

Cancellation::OutstandingPackages::~OutstandingPackages() {
    m_cancellation.setJob(std::nullopt);
}
