// One line for each change, for files and pipes.
#pragma once

#include "Output.h"
#include "View.h"

class PlainView : public View {
public:
    explicit PlainView(Output &out)
        : m_out(out) {}

    void event(const Event &event) override;
    void figures(const Figures &figures) override; // a line for every further per cent
    void retry(const Retry &retry) override;
    void end(const Ending &ending) override;

private:
    void line(const std::string &text);

    Output &m_out;
    int m_percent = 0; // shown last
};
