#include "TerminalView.h"

#include <algorithm>
#include <utility>
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

// The last column stays free: a full line makes some terminals go on to the next.
TerminalView::TerminalView(std::unique_ptr<Terminal> terminal)
    : m_bar(std::move(terminal), [this](const Terminal &drawnUpon) {
        return barLine(m_figures, drawnUpon.width() - 1, glyphsFor(drawnUpon));
    }) {
}

void TerminalView::event(const Event &event) {
    // The bar names the phase.
    if (event.kind != Event::Kind::phaseBegan)
        m_bar.above(inWords(event));
}

void TerminalView::figures(const Figures &figures) {
    m_figures = figures;
    m_bar.refresh();
}

void TerminalView::retry(const Retry &retry) {
    m_bar.above(inWords(retry));
}
