// The engine and its tools write remarks of their own to the process's standard output and error, which would
// spoil a drawn terminal and JSON alike. While this object lives they go nowhere, and the real standard
// output is out().
#pragma once

class OwnStreams {
public:
    // Throws std::system_error.
    OwnStreams();
    ~OwnStreams();
    OwnStreams(const OwnStreams &) = delete;
    OwnStreams &operator=(const OwnStreams &) = delete;

    int out() const { return m_out; }

private:
    int m_out = -1;
    int m_error = -1;
};

// Opens standard streams that the caller closed, so that no file takes their places and is written into. To
// write to them still fails. Throws std::system_error.
void occupyClosedStreams();
