// A terminal that can be drawn upon, by what the terminfo library knows of it. While it is taken its cursor
// is hidden and typed keys don't show; that ends with restore(), at the latest in the destructor.
#pragma once

#include <memory>
#include <string>

#include <termios.h>

#include "Output.h"

enum class Colour { red, green, yellow };

class Terminal {
public:
    // Null when the stream is no terminal, or one that can't clear a line.
    static std::unique_ptr<Terminal> open(Output &out);

    ~Terminal();
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;

    // Before anything is drawn. False while the shell has the process in the background: the terminal is
    // somebody else's then, and touching its modes would stop the process.
    bool take() noexcept;
    void restore() noexcept;

    // False while the shell has the process in the background.
    bool isInForeground() const noexcept;
    int width() const;
    bool showsUtf8() const { return m_utf8; }
    // The text as it is where the terminal has no colours, or its user wants none (NO_COLOR).
    std::string coloured(Colour colour, const std::string &text) const;
    // Clears everything from the line with the cursor on, writes the text there, and leaves the cursor at its
    // beginning: there a terminal that rearranges its lines for another width keeps it.
    void overwrite(const std::string &text);
    void write(const std::string &text) { m_out.write(text); }

private:
    explicit Terminal(Output &out);

    Output &m_out;
    bool m_utf8 = false;
    bool m_taken = false;
    termios m_modes{}; // as found
    std::string m_clearLine, m_clearToEnd, m_hideCursor, m_showCursor, m_plain;
};
