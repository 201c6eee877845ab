#include "FollowView.h"

#include <algorithm>
#include <utility>

#include "Readable.h"

namespace {

// The last column stays free: a full line makes some terminals go on to the next.
std::string fitting(const std::vector<std::string> &words, const Terminal &terminal) {
    const auto columns = static_cast<std::size_t>(std::max(terminal.width() - 1, 0));
    std::string text;
    for (const std::string &each : words) {
        std::string longer = text;
        longer.append(text.empty() ? "" : "  ").append(each);
        if (!text.empty() && longer.size() > columns)
            break;
        text = std::move(longer);
    }
    return printable(text.substr(0, columns));
}

} // namespace

FollowView::FollowView(Output &output)
    : m_output(output) {
    if (std::unique_ptr<Terminal> terminal = Terminal::open(output))
        m_terminal.emplace(std::move(terminal),
                           [this](const Terminal &drawnUpon) { return fitting(m_words, drawnUpon); });
}

void FollowView::line(const TellingLine &line) {
    if (!m_terminal)
        return m_output.write(line.text + "\n");
    const std::optional<Colour> colour = colourOf(line.tone);
    const std::string text = printable(line.text);
    m_terminal->above(colour ? m_terminal->terminal().coloured(*colour, text) : text);
}

void FollowView::status(std::vector<std::string> words) {
    m_words = std::move(words);
    if (m_terminal)
        m_terminal->refresh();
}

void FollowView::draw() {
    if (m_terminal)
        m_terminal->draw();
}

void FollowView::suspend() {
    if (m_terminal)
        m_terminal->suspend();
}
