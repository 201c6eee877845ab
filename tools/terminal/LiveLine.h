// Lines about what happened, and below them one that is redrawn in place; in the background the lines alone.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Terminal.h"

class LiveLine {
public:
    // What it says; no longer than a line of the terminal.
    using Text = std::function<std::string(const Terminal &)>;

    LiveLine(std::unique_ptr<Terminal> terminal, Text text)
        : m_terminal(std::move(terminal))
        , m_text(std::move(text)) {}

    const Terminal &terminal() const { return *m_terminal; }

    void above(const std::string &line);
    // Where it says something else than before.
    void refresh();
    void draw();
    // Clears it and restores the terminal, until it is drawn again.
    void suspend();
    // Leaves it as the last but these, and restores the terminal.
    void finish(const std::vector<std::string> &below);

private:
    std::unique_ptr<Terminal> m_terminal;
    Text m_text;
    std::string m_drawn;
};
