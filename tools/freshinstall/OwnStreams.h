// The engine and its tools write remarks of their own to the process's standard output and error, which would
// spoil a drawn terminal and JSON alike. While this object lives they go nowhere, and the real standard
// output is in out().
#pragma once

#include <cstdio>
#include <memory>

class OwnStreams {
public:
    // Throws std::system_error.
    OwnStreams();
    ~OwnStreams();
    OwnStreams(const OwnStreams &) = delete;
    OwnStreams &operator=(const OwnStreams &) = delete;

    std::FILE *out() const { return m_out.get(); }

private:
    struct Closer {
        // Everything was flushed when it was written.
        void operator()(std::FILE *file) const noexcept { static_cast<void>(std::fclose(file)); }
    };
    int m_error = -1;
    std::unique_ptr<std::FILE, Closer> m_out;
};
