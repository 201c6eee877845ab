// One run of a program under the fault injector, and how it ended.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "FaultRecord.h"
#include "Program.h"

struct FaultedEnd {
    Ended ended;         // 128 and the signal's number when it was killed, also for taking too long
    bool hung = false;   // it had to be killed
    bool reached = true; // the point was met and failed
    std::string failedCall;
    std::vector<std::string> stack;         // of the call that failed, the innermost first: "module+0x12"
    std::vector<std::string> openFiles;     // at its end, sorted; none when it aborted
    bool hasEnded = false;                  // by exit() or by leaving main
    std::vector<std::string> leftProcesses; // that outlived it; they are gone now
};

// Owns the shared record. One run at a time.
class FaultInjection {
public:
    // `sanitizer` is preloaded before the injector, whose own calls it makes; "" for none.
    explicit FaultInjection(std::string sanitizer);
    ~FaultInjection();
    FaultInjection(const FaultInjection &) = delete;
    FaultInjection &operator=(const FaultInjection &) = delete;

    // Every call that can fail of a run in which none does.
    std::vector<FallibleCall> takeDown(const std::vector<std::string> &command, FaultedEnd &end);
    FaultedEnd run(const std::vector<std::string> &command, const FaultPoint &point);

private:
    FaultedEnd run(const std::vector<std::string> &command);

    std::string m_preload;
    FaultRecord *m_record = nullptr;
};

// What the debugger's information tells of a stack's calls within the engine, the innermost first.
std::string engineCalls(const std::vector<std::string> &stack);
