#include "PlainView.h"

#include "Words.h"

void PlainView::event(const Event &event) {
    line(inWords(event));
}

void PlainView::figures(const Figures &figures) {
    if (figures.percent == m_percent)
        return;
    m_percent = figures.percent;
    line(std::to_string(figures.percent) + " %, " + megabytes(figures.presentKb) + " of " +
         megabytes(figures.totalKb) + " MB" +
         (figures.left ? ", " + megabytes(figures.kbPerSecond) + " MB/s, " + duration(*figures.left) + " left"
                       : ""));
}

void PlainView::retry(unsigned attempt, unsigned attempts) {
    line(retryInWords(attempt, attempts));
}

void PlainView::end(const Ending &ending) {
    for (const std::string &text : ending.lines)
        line(text);
}

void PlainView::line(const std::string &text) {
    // A reader that went away ends the program by its signal; a full disk can't be told anywhere.
    static_cast<void>(std::fprintf(m_out, "%s\n", text.c_str()));
    static_cast<void>(std::fflush(m_out));
}
