// Lines about what happened, and below them the bar.
#pragma once

#include <memory>
#include <string>

#include "Bar.h"
#include "LiveLine.h"
#include "View.h"

class TerminalView : public View {
public:
    explicit TerminalView(std::unique_ptr<Terminal> terminal);

    void event(const Event &event) override;
    void figures(const Figures &figures) override;
    void retry(const Retry &retry) override;
    void end(const Ending &ending) override { m_bar.finish(ending.lines); } // restores the terminal
    void resized() override { m_bar.draw(); }
    void suspend() override { m_bar.suspend(); }
    void resume() override { m_bar.draw(); }

private:
    Figures m_figures;
    LiveLine m_bar;
};

// The bar, never wider than that many columns; in a narrow window it says less.
std::string barLine(const Figures &figures, int columns, const Glyphs &glyphs);
