// What a command writes to standard output for people or programs: text for the width and in the colours of
// the terminal where there is one, and nothing but text elsewhere.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "Output.h"
#include "Terminal.h"

class Paper {
public:
    Paper();

    // One line. What does not fit a terminal's line goes on below, indented by that many columns.
    void line(const std::string &text, std::size_t indent = 0, std::optional<Colour> colour = std::nullopt);
    // Columns of a terminal's line; 0 where there is none.
    std::size_t width() const;
    // As it is.
    void verbatim(const std::string &text) { m_output.write(text); }

    // Waits until everything is written. Throws std::system_error when it could not be.
    void finish();

private:
    Output m_output;
    std::unique_ptr<Terminal> m_terminal; // null where there is none
};
