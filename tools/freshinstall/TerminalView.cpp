#include "TerminalView.h"

#include <algorithm>
#include <vector>

#include "Readable.h"
#include "Words.h"

namespace {

constexpr int shortestBar = 10;
constexpr int longestBar = 40;

// What stands behind the bar, the most important first.
std::vector<std::string> details(const Figures &figures) {
    std::vector<std::string> texts = {std::to_string(figures.percent) + " %"};
    if (figures.totalKb > 0)
        texts.push_back(megabytes(figures.presentKb) + " of " + megabytes(figures.totalKb) + " MB");
    if (!figures.waitsFor.empty())
        texts.push_back("waiting " + duration(figures.waits));
    else if (figures.kbPerSecond > 0)
        texts.push_back(megabytes(figures.kbPerSecond) + " MB/s");
    if (figures.waitsFor.empty() && figures.left)
        texts.push_back(duration(*figures.left) + " left");
    return texts;
}

} // namespace

std::string barLine(const Figures &figures, int columns, const Glyphs &glyphs) {
    const std::string phase = nameOf(figures.phase);
    std::vector<std::string> texts = details(figures);
    const std::string percent = texts.front();
    while (!texts.empty()) {
        std::string behind;
        for (const std::string &text : texts)
            behind.append("  ").append(text);
        const int room = columns - static_cast<int>(phase.size() + 2 + behind.size());
        if (room >= shortestBar)
            return phase + "  " +
                   drawnBar(figures.percent, std::min(room, longestBar), glyphs).append(behind);
        texts.pop_back();
    }
    const std::string words = phase + "  " + percent;
    const std::string &text = static_cast<int>(words.size()) <= columns ? words : percent;
    return text.substr(0, static_cast<std::size_t>(std::max(columns, 0)));
}

void TerminalView::event(const Event &event) {
    // The bar names the phase.
    if (event.kind != Event::Kind::phaseBegan)
        line(inWords(event));
}

void TerminalView::figures(const Figures &figures) {
    m_figures = figures;
    if (bar() != m_drawn)
        draw();
}

void TerminalView::retry(const Retry &retry) {
    line(inWords(retry));
}

void TerminalView::end(const Ending &ending) {
    if (m_terminal->take()) {
        m_terminal->overwrite(bar());
        m_terminal->write("\n");
    }
    for (const std::string &text : ending.lines)
        m_terminal->write(text + "\n");
    m_terminal->restore();
}

void TerminalView::suspend() {
    if (m_terminal->take())
        m_terminal->overwrite("");
    m_terminal->restore();
}

// The last column stays free: a full line makes some terminals go on to the next.
std::string TerminalView::bar() const {
    return barLine(m_figures, m_terminal->width() - 1, glyphsFor(*m_terminal));
}

void TerminalView::draw() {
    m_drawn.clear();
    if (!m_terminal->take())
        return;
    m_drawn = bar();
    m_terminal->overwrite(m_drawn);
}

void TerminalView::line(const std::string &text) {
    if (m_terminal->take())
        m_terminal->overwrite(text);
    else
        m_terminal->write(text);
    m_terminal->write("\n");
    draw();
}
