// Lines about what happened, and below them one bar that is redrawn in place; in the background the lines
// alone.
#pragma once

#include <memory>
#include <string>

#include "Bar.h"
#include "Terminal.h"
#include "View.h"

class TerminalView : public View {
public:
    explicit TerminalView(std::unique_ptr<Terminal> terminal)
        : m_terminal(std::move(terminal)) {}

    void event(const Event &event) override;
    void figures(const Figures &figures) override;
    void retry(const Retry &retry) override;
    void end(const Ending &ending) override; // restores the terminal
    void resized() override { draw(); }
    void suspend() override;
    void resume() override { draw(); }

private:
    std::string bar() const;
    void draw();
    void line(const std::string &text); // above the bar

    std::unique_ptr<Terminal> m_terminal;
    Figures m_figures;
    std::string m_drawn;
};

// The bar, never wider than that many columns; in a narrow window it says less.
std::string barLine(const Figures &figures, int columns, const Glyphs &glyphs);
