#include "Paper.h"

#include <algorithm>
#include <system_error>

#include <unistd.h>

#include "Readable.h"

namespace {

// The text in lines of that many bytes at most, but for words that are longer.
std::string wrapped(std::string text, std::size_t width, std::size_t indent) {
    std::string lines;
    while (text.size() > width) {
        const std::size_t firstWord = text.find_first_not_of(' ');
        std::size_t blank = text.rfind(' ', width);
        if (blank == std::string::npos || blank < firstWord)
            blank = text.find(' ', std::max(width, firstWord));
        if (blank == std::string::npos)
            break;
        lines += text.substr(0, blank) + "\n";
        text = std::string(indent, ' ') + text.substr(blank + 1);
        if (indent >= width)
            break;
    }
    return lines + text;
}

} // namespace

Paper::Paper()
    : m_output(STDOUT_FILENO)
    , m_terminal(Terminal::open(m_output)) {
}

void Paper::line(const std::string &text, std::size_t indent, std::optional<Colour> colour) {
    // What comes from catalogs must not command a terminal; a program gets it as it is.
    std::string shown = m_terminal ? printable(text) : text;
    if (m_terminal)
        shown = wrapped(std::move(shown), width(), indent);
    m_output.write((m_terminal && colour ? m_terminal->coloured(*colour, shown) : shown) + "\n");
}

std::size_t Paper::width() const {
    return m_terminal ? static_cast<std::size_t>(std::max(m_terminal->width(), 1)) : 0;
}

void Paper::finish() {
    while (!m_output.isWritten(std::chrono::seconds(1))) {
        // A slow reader is waited for.
    }
    if (m_output.error() != 0)
        throw std::system_error(m_output.error(), std::generic_category(), "standard output");
}
