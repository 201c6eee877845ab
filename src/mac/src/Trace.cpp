#include "Trace.h"

#include <ctime>

#include <fcntl.h>

#include "Paths.h"
#include "WriteSignalBlock.h"

std::FILE *logFilePtr = nullptr;
int traceInited = 0;
std::int32_t downloadManagerTraceFlagvalue = 5;
std::int32_t catalogparserflagvalue = 5;

namespace {

// Results are not looked at: a trace that cannot be written must not change what the engine does.
__attribute__((format(printf, 1, 0))) void writeLine(const char *format, std::va_list arguments) noexcept {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    char stamp[80] = "";
    if (localtime_r(&now, &local) != nullptr)
        static_cast<void>(std::strftime(stamp, sizeof stamp, "%Y-%m-%d.%X : ", &local));

    const WriteSignalBlock block;
    // Held over both writes, so that the lines of different threads do not mix.
    flockfile(logFilePtr);
    static_cast<void>(std::fputs(stamp, logFilePtr));
    static_cast<void>(std::vfprintf(logFilePtr, format, arguments));
    static_cast<void>(std::fflush(logFilePtr));
    funlockfile(logFilePtr);
}

// Nothing is lost when one of these fails.
void restrictTrace(int descriptor) noexcept {
    // Programs that the engine or its host starts have no business with it.
    static_cast<void>(fcntl(descriptor, F_SETFD, FD_CLOEXEC));
    // What stands in its place, say a pipe that nobody reads, must not hold up a job when it takes no more.
    static_cast<void>(fcntl(descriptor, F_SETFL, O_APPEND | O_NONBLOCK));
}

} // namespace

void openTrace() noexcept {
    if (traceInited != 0)
        return;
    logFilePtr = std::fopen(traceLogPath, "a+");
    if (logFilePtr != nullptr)
        restrictTrace(fileno(logFilePtr));
    traceInited = 1;
}

void Trace::writeIfGoverned(int level, const char *format, std::va_list arguments) const noexcept {
    // Before anything is formatted.
    if (m_governingLevel < level || traceInited == 0 || logFilePtr == nullptr)
        return;
    writeLine(format, arguments);
}

void Trace::write(int level, const char *format, ...) const noexcept {
    std::va_list arguments;
    va_start(arguments, format);
    writeIfGoverned(level, format, arguments);
    va_end(arguments);
}

void Trace::error(const char *format, ...) const noexcept {
    std::va_list arguments;
    va_start(arguments, format);
    writeIfGoverned(errorLevel, format, arguments);
    va_end(arguments);
}

void Trace::info(const char *format, ...) const noexcept {
    std::va_list arguments;
    va_start(arguments, format);
    writeIfGoverned(infoLevel, format, arguments);
    va_end(arguments);
}
