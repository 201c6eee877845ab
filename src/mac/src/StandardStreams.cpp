#include "StandardStreams.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <new>
#include <string>
#include <string_view>

#include <unistd.h>

#include "WriteSignalBlock.h"

namespace {

__attribute__((format(printf, 1, 0))) std::string formatted(const char *format, std::va_list arguments) {
    std::va_list measured;
    va_copy(measured, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, measured);
    va_end(measured);
    if (length < 0)
        return "";
    std::string text(static_cast<std::size_t>(length) + 1, '\0'); // the zero that ends it included
    static_cast<void>(std::vsnprintf(text.data(), text.size(), format, arguments)); // as long as measured
    text.pop_back();
    return text;
}

void writeDirectly(int descriptor, std::string_view text) noexcept {
    while (!text.empty()) {
        const ssize_t count = write(descriptor, text.data(), text.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return;
        text.remove_prefix(static_cast<std::size_t>(count));
    }
}

// Results are not looked at: there is nowhere else to tell a failure.
void print(std::FILE *stream, std::string_view text) noexcept {
    const WriteSignalBlock block;
    flockfile(stream);
    static_cast<void>(std::fflush(stream)); // what the host has printed comes first
    const int descriptor = fileno(stream);
    if (descriptor >= 0) {
        writeDirectly(descriptor, text);
    } else { // a stream of the host's own, into memory say
        static_cast<void>(std::fwrite(text.data(), 1, text.size(), stream));
        static_cast<void>(std::fflush(stream));
    }
    funlockfile(stream);
}

__attribute__((format(printf, 2, 0))) void print(std::FILE *stream, const char *format,
                                                 std::va_list arguments) noexcept {
    try {
        print(stream, formatted(format, arguments));
    } catch (const std::bad_alloc &) {
        return; // lost, like everything that cannot be printed
    }
}

} // namespace

void printError(const char *format, ...) noexcept {
    std::va_list arguments;
    va_start(arguments, format);
    print(stderr, format, arguments);
    va_end(arguments);
}

void printOutput(const char *format, ...) noexcept {
    std::va_list arguments;
    va_start(arguments, format);
    print(stdout, format, arguments);
    va_end(arguments);
}
