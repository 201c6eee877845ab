// The text of a log that still grows, for a reader: it ends before what may be only half of a message.
#pragma once

#include <cstddef>
#include <streambuf>
#include <string>

class GrowingLog : public std::streambuf {
public:
    // So much is held back at most.
    static constexpr std::size_t most = std::size_t(1) << 20;

    void add(const std::string &text);
    // Nothing has come for a while: then the last message has all its lines, but may still lack the last
    // one's end.
    void settle();
    // Nothing more comes.
    void finish();

protected:
    int_type underflow() override;

private:
    void release(std::size_t length);

    std::string m_held;
    std::string m_given; // to the reader, from gptr() on
};
