// Logs that the engine wrote, each with what is known of its runs.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "Chance.h"
#include "Customer.h"
#include "KnownRun.h"

// What one run wrote, or several of which one waited for another.
struct LogPart {
    std::size_t begin = 0; // its first byte in the log
    std::size_t end = 0;
    std::vector<KnownRun> runs;
    bool holdsLock = false; // it has no other run beside it, and another one would have to wait for it
};

struct ProducedLog {
    std::string text;
    std::vector<LogPart> parts;
};

// Which scenarios were drawn, and how often.
using Drawn = std::map<std::string, std::size_t>;

// Draws what happens to a customer, one to four runs of it, and has it happen.
class LogProducer {
public:
    LogProducer(const Customer &customer, unsigned seed)
        : m_customer(customer)
        , m_chance(seed) {}

    // With what takes longer than a moment, such as a host that tries again, or without.
    ProducedLog produce(bool isLong);
    const Drawn &drawn() const { return m_drawn; }
    // The names of all scenarios that can be drawn.
    static std::vector<std::string> scenarios();

private:
    std::vector<KnownRun> drawRuns(bool isLong);
    std::vector<KnownRun> drawDownload(bool isLong);
    PlannedDownload drawPackages();
    KnownRun drawInstallation();

    const Customer &m_customer;
    Chance m_chance;
    Drawn m_drawn;
};
