#include "LiveLine.h"

void LiveLine::above(const std::string &line) {
    if (m_terminal->take())
        m_terminal->overwrite(line);
    else
        m_terminal->write(line);
    m_terminal->write("\n");
    draw();
}

void LiveLine::refresh() {
    if (m_text(*m_terminal) != m_drawn)
        draw();
}

void LiveLine::draw() {
    m_drawn.clear();
    if (!m_terminal->take())
        return;
    m_drawn = m_text(*m_terminal);
    m_terminal->overwrite(m_drawn);
}

void LiveLine::suspend() {
    if (m_terminal->take())
        m_terminal->overwrite("");
    m_terminal->restore();
}

void LiveLine::finish(const std::vector<std::string> &below) {
    if (m_terminal->take()) {
        m_terminal->overwrite(m_text(*m_terminal));
        m_terminal->write("\n");
    }
    for (const std::string &line : below)
        m_terminal->write(line + "\n");
    m_terminal->restore();
}
