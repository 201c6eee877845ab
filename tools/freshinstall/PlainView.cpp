#include "PlainView.h"

#include "Readable.h"
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

void PlainView::retry(const Retry &retry) {
    line(inWords(retry));
}

void PlainView::end(const Ending &ending) {
    for (const std::string &text : ending.lines)
        line(text);
}

void PlainView::line(const std::string &text) {
    m_out.write(text + "\n");
}
