#pragma once

#include <cstddef>
#include <string>
#include <vector>

// A system that fails for a moment: while it lives, one of this program's calls that open, read, write or
// place a file fails. Suites that use it lead these calls here by the linker, which failingFileCalls names.
class FailingFileCall {
public:
    // Call 0 is the next one. It fails with this error, say EINTR, or with one that is usual for it.
    explicit FailingFileCall(std::size_t index, int error = 0) noexcept;
    ~FailingFileCall();
    FailingFileCall(const FailingFileCall &) = delete;
    FailingFileCall &operator=(const FailingFileCall &) = delete;

    // Whether the call was reached.
    bool happened() const noexcept;
};

// The names of these calls, in their order, since a test emptied it.
extern std::vector<std::string> &fileCalls;

// The index of the first of these names among them.
std::size_t firstFileCall(const std::string &name);
