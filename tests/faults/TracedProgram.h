// A program whose system calls are watched, so that it can be ended at any one of them: every run meets the
// same moments, whatever the machine's speed.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

// Of the program's own threads, in the order in which they came; what it starts is not watched.
enum class Calls {
    any,
    fileChanges, // what makes, cuts, renames, links or removes a file or a folder
};

// The program gets SIGKILL when it makes this call, counted from 1: before the system carries it out or
// after.
struct KillAt {
    Calls calls;
    std::size_t number;
    bool after;
};

struct TracedEnd {
    int status = -1; // as of Ended
    bool wasKilledThere = false;
    std::size_t calls = 0;
    std::vector<std::string> fileChanges; // "rename /tmp/new", the last one being where it was killed
};

// Its output is dropped. There may be no other child of the caller meanwhile.
TracedEnd runTraced(const std::vector<std::string> &command,
                    const std::optional<KillAt> &killAt = std::nullopt);

// Why programs cannot be watched here; "" when they can.
std::string whyNotTraceable();
