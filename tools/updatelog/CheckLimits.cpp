// The limits that a run started from here would have.
#include <cerrno>
#include <string>
#include <system_error>

#include <sys/resource.h>

#include "CheckTheme.h"
#include "OpenFileLimit.h"

namespace {

constexpr CheckRule openFiles = {
    "open-file-limit",
    "Packages are fetched side by side, each with a file and a connection of its own: a "
    "release of many fails, or is fetched in part.",
    "Raise the limit of open files of whoever starts the engine (ulimit -n).", CheckDocument::faults,
    "LimitFault.TooFewDescriptorsForManyPackages"};
constexpr CheckRule fileSize = {
    "file-size-limit", "A package, or the log, that reaches it is cut, as on a full disk.",
    "Take the limit of file sizes from whoever starts the engine (ulimit -f unlimited).",
    CheckDocument::faults, "DiskFault.PackageLargerThanAFileMayBe"};

constexpr CheckRule memory = {
    "memory-limit", "A run that needs more memory ends before it is complete.",
    "Start runs without a limit of memory, or with a gigabyte at least (ulimit -v unlimited).",
    CheckDocument::faults, "LittleMemory.EndsCompleteOrSaysWhy"};
constexpr CheckRule processorTime = {"time-limit",
                                     "A run is ended when it has used up its time on the processor.",
                                     "Start runs without a limit of processor time (ulimit -t unlimited).",
                                     CheckDocument::faults, "EndedBySignal.TimeLimit"};

constexpr rlim_t enoughMemory = rlim_t(1) << 30U;
constexpr rlim_t enoughOpenFiles = 256; // some eighty packages at once

// What a process may use.
rlim_t limitOf(decltype(RLIMIT_NOFILE) resource) {
    rlimit limit{};
    if (getrlimit(resource, &limit) != 0)
        throw std::system_error(errno, std::generic_category(), "getrlimit");
    return limit.rlim_cur;
}

void lookAtOpenFiles(const TellCheck &tell) {
    const rlim_t starters = limitOf(RLIMIT_NOFILE);
    raiseOpenFileLimit(); // of this process alone, as a check does it
    const rlim_t raised = limitOf(RLIMIT_NOFILE);
    if (raised < enoughOpenFiles)
        tell(openFiles, "a run may have only " + std::to_string(raised) + " files open");
    else if (starters < enoughOpenFiles)
        tell(openFiles, "a fresh installation may have only " + std::to_string(starters) +
                            " files open; a check raises that limit");
}

void look(const TellCheck &tell) {
    lookAtOpenFiles(tell);
    const rlim_t memoryBytes = limitOf(RLIMIT_AS);
    if (memoryBytes < enoughMemory) // no limit is more than any
        tell(memory, "a run may have only " + std::to_string(memoryBytes) + " bytes of memory");
    const rlim_t seconds = limitOf(RLIMIT_CPU);
    if (seconds != RLIM_INFINITY)
        tell(processorTime, "a run may use the processor for " + std::to_string(seconds) + " seconds only");
    const rlim_t size = limitOf(RLIMIT_FSIZE);
    if (size != RLIM_INFINITY)
        tell(fileSize, "no file may have more than " + std::to_string(size) + " bytes");
}

} // namespace

CheckTheme checkedLimits() {
    return {{&openFiles, &fileSize, &memory, &processorTime}, look};
}
