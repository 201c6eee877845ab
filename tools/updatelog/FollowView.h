// Where a log that grows is told: in a terminal lines with one below that says where its run is, elsewhere
// the lines alone.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "LiveLine.h"
#include "Output.h"
#include "Telling.h"

class FollowView {
public:
    // The output must stay as long as the view.
    explicit FollowView(Output &output);

    void line(const TellingLine &line);
    // What the lowest line says, the most important first: as much as fits.
    void status(std::vector<std::string> words);

    // The terminal's window has another size, or the process stops or ends, and goes on.
    void draw();
    void suspend();

private:
    Output &m_output;
    std::vector<std::string> m_words;
    std::optional<LiveLine> m_terminal; // none where there is none
};
