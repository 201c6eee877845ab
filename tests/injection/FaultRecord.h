// What the fault injector and the program that uses it share: a file that both have mapped.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

// What fails. The names of faultKinds are in this order.
enum class FaultKind : std::uint8_t { memory, files, processes, threads, network, curl, xml, plist };
constexpr std::array<const char *, 8> faultKinds = {"memory",  "files", "processes", "threads",
                                                    "network", "curl",  "xml",       "plist"};

// A call that can fail, as a run made it.
struct FallibleCall {
    std::uint64_t site;       // the call's whole stack
    std::uint64_t group;      // the engine's part of that stack
    std::uint32_t pageOffset; // of the address that it returns to: tells most others apart at little cost
    FaultKind kind;
    std::array<char, 35> name;
};

// The call that shall fail: one of a site.
struct FaultPoint {
    std::uint64_t site = 0;
    std::uint32_t pageOffset = 0;
    std::uint32_t occurrence = 0; // from 0
    FaultKind kind = FaultKind::memory;
};

struct StackFrame {
    std::array<char, 120> module;
    std::uint64_t offset;
};

struct FaultRecord {
    static constexpr std::size_t maxCalls = 400000;
    static constexpr std::size_t maxFrames = 48;

    // Set before the run. Without a point it only takes down the calls.
    bool hasPoint;
    FaultPoint point;

    // Set by the run.
    std::atomic<std::uint32_t> occurrences; // of the point's site
    std::atomic<std::uint32_t> hasFailed;
    std::uint32_t frameCount;
    std::array<char, 35> failedCall;
    std::array<StackFrame, maxFrames> frames; // of the call that failed, the innermost first
    std::uint32_t hasEnded;                   // by exit() or by leaving main
    std::array<char, 8192> openFiles;         // at that end: one a line, without the standard streams
    std::atomic<std::uint32_t> callCount;
    std::array<FallibleCall, maxCalls> calls;
};
