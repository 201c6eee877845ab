// Damages logs as they come to harm on their way, and tells what of them is still whole.
#pragma once

#include <string>
#include <vector>

#include "Chance.h"
#include "ProducedLog.h"

struct DamagedLog {
    std::string text;
    // Of the log's parts, whether every byte of it is still there, in its order.
    std::vector<bool> isWhole;
    // Lines of others that now stand in it.
    std::vector<std::string> foreign;
};

using Damage = DamagedLog (*)(const ProducedLog &log, Chance &chance);

struct NamedDamage {
    const char *name;
    Damage damage;
};

// Whatever happens to one log.
const std::vector<NamedDamage> &damages();

// The runs of both, each whole, those of each log in their order; the log has their parts.
ProducedLog takenTogether(const ProducedLog &one, const ProducedLog &other, Chance &chance);

// The lines of both, each log's in their order.
std::string mixedByLines(const ProducedLog &one, const ProducedLog &other, Chance &chance);

// A run that holds the lock, and a check that is begun meanwhile and waits for it; nothing where there are no
// such two.
struct MeetingRuns {
    std::string text;
    KnownRun first;
    KnownRun second;
};
std::vector<MeetingRuns> meetings(const ProducedLog &one, const ProducedLog &other, Chance &chance);
