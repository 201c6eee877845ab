#include "HashBar.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include <unistd.h>

#include "Readable.h"

HashBar::HashBar(std::string words)
    : m_words(std::move(words))
    , m_output(STDERR_FILENO)
    , m_terminal(Terminal::open(m_output))
    , m_cleanUp([this] {
        clear();
        static_cast<void>(
            m_output.isWritten(std::chrono::seconds(1))); // a terminal that is stopped stays as it is
    }) {
}

void HashBar::show(const HashProgress &progress) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_terminal || !m_terminal->isInForeground())
        return;
    m_isDrawn = true;
    m_terminal->overwrite(hashBarLine(m_words, progress, m_terminal->width() - 1, glyphsFor(*m_terminal)));
}

void HashBar::clear() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_isDrawn && m_terminal->isInForeground())
        m_terminal->overwrite("");
}

std::string hashBarLine(const std::string &what, const HashProgress &progress, int columns,
                        const Glyphs &glyphs) {
    constexpr int longestBar = 40;
    constexpr double bytesPerKb = 1024;
    const auto share =
        static_cast<double>(progress.bytes) / static_cast<double>(std::max<std::uintmax_t>(progress.of, 1));
    const int percent = std::min(static_cast<int>(share * 100), 100); // a file may grow meanwhile
    const std::string words = what + "  ";
    const std::string figures = "  " + std::to_string(percent) + " %  " +
                                megabytes(static_cast<double>(progress.bytes) / bytesPerKb) + " of " +
                                megabytes(static_cast<double>(progress.of) / bytesPerKb) + " MB";
    const int room = columns - static_cast<int>(words.size() + figures.size());
    if (room > 0)
        return words + drawnBar(percent, std::min(room, longestBar), glyphs) + figures;
    return (words + std::to_string(percent) + " %").substr(0, static_cast<std::size_t>(std::max(columns, 0)));
}
