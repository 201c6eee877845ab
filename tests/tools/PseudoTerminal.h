// A program in a terminal of its own, as its user sees and steers it.
#pragma once

#include <string>
#include <vector>

#include <sys/types.h>
#include <termios.h>

class PseudoTerminal {
public:
    PseudoTerminal(const std::vector<std::string> &command, unsigned short columns);
    ~PseudoTerminal();
    PseudoTerminal(const PseudoTerminal &) = delete;
    PseudoTerminal &operator=(const PseudoTerminal &) = delete;

    // Reads what the program writes until that text has come since the last call that found one; false when
    // the program ends or half a minute passes before.
    bool shows(const std::string &text);
    // Everything that the program wrote so far.
    const std::string &output() const { return m_output; }

    void type(const std::string &keys);
    void resize(unsigned short columns);
    void send(int signal);
    bool echoes() const; // whether typed keys show

    void fill() const; // nothing more can be written before something is read
    int endsUnread();  // like end(), but reads nothing

    // Reads to the end; the exit status, or 128 and the signal's number.
    int end();

private:
    bool readMore();
    bool sendAgain();

    int m_master = -1;
    pid_t m_process = -1;
    int m_sent = 0; // the last signal, by a key too
    std::string m_output;
    std::size_t m_seen = 0;
};
